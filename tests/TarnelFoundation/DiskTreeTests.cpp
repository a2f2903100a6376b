#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include <gtest/gtest.h>

using namespace tarnel;

namespace {

HardwareDiskCatalogItem disk(std::string id, HardwareDiskKind kind, std::optional<std::string> parent = std::nullopt,
                             std::vector<std::string> children = {}, std::int64_t index = 0)
{
    HardwareDiskCatalogItem d;
    d.identifier = std::move(id);
    d.name = d.identifier;
    d.kind = kind;
    d.parentIdentifier = std::move(parent);
    d.childIdentifiers = std::move(children);
    d.index = index;
    return d;
}

std::vector<std::string> ids(const std::vector<HardwareDiskCatalogItem>& items)
{
    std::vector<std::string> out;
    for (const auto& i : items)
        out.push_back(i.identifier);
    return out;
}

} // namespace

TEST(DiskTree, NaturalSortAndTheWalksOfALinuxLaptop)
{
    EXPECT_LT(HardwareStorageCatalog::naturalCompare("disk2", "disk10"), 0);
    EXPECT_LT(HardwareStorageCatalog::naturalCompare("nvme0n1p2", "nvme0n1p10"), 0);
    EXPECT_EQ(HardwareStorageCatalog::naturalCompare("sda01", "sda1"), 0);
    EXPECT_GT(HardwareStorageCatalog::naturalCompare("sdb", "sda9"), 0);

    HardwareStorageCatalog catalog;
    catalog.disks = {
        disk("nvme0n1", HardwareDiskKind::drive, {}, {"nvme0n1p10", "nvme0n1p2", "nvme0n1p1"}),
        disk("nvme0n1p1", HardwareDiskKind::partition, "nvme0n1"),
        disk("nvme0n1p2", HardwareDiskKind::partition, "nvme0n1", {"dm-0"}),
        disk("nvme0n1p10", HardwareDiskKind::partition, "nvme0n1"),
        disk("dm-0", HardwareDiskKind::container, "nvme0n1p2", {"dm-2", "dm-1", "ghost"}, 1),
        disk("dm-1", HardwareDiskKind::volume, "dm-0", {}, 2),
        disk("dm-2", HardwareDiskKind::volume, "dm-0", {}, 2),
        disk("sdb", HardwareDiskKind::drive),
        disk("loop0", HardwareDiskKind::diskImage, {}, {}, 5),
    };
    catalog.disks[5].mountPoint = "/home/";
    catalog.disks[6].name = "Data";

    EXPECT_EQ(ids(catalog.children(catalog.disks[0])), (std::vector<std::string>{"nvme0n1p1", "nvme0n1p2", "nvme0n1p10"}));
    EXPECT_EQ(ids(catalog.descendants(catalog.disks[0])),
              (std::vector<std::string>{"nvme0n1p1", "nvme0n1p2", "nvme0n1p10", "dm-0", "dm-1", "dm-2"}))
        << "breadth first, sorted on each level";
    auto below = catalog.descendantIdentifiers("nvme0n1p2");
    EXPECT_EQ(below, (std::set<std::string>{"dm-0", "dm-1", "dm-2", "ghost"})) << "a missing child stays in the identifiers";
    EXPECT_EQ(ids(catalog.children(catalog.disks[4])), (std::vector<std::string>{"dm-1", "dm-2"}));
    EXPECT_EQ(ids(catalog.rootDisks()), (std::vector<std::string>{"nvme0n1", "sdb", "loop0"}));
    EXPECT_EQ(ids(catalog.physicalDrives()), (std::vector<std::string>{"nvme0n1", "sdb"}));

    ASSERT_NE(catalog.physicalDrive(catalog.disks[6]), nullptr);
    EXPECT_EQ(catalog.physicalDrive(catalog.disks[6])->identifier, "nvme0n1");
    EXPECT_EQ(catalog.physicalDrive(catalog.disks[8]), nullptr);

    EXPECT_EQ(catalog.sharedVolumeCount(catalog.disks[4]), 2);
    EXPECT_EQ(catalog.sharedVolumeCount(catalog.disks[5]), 2);
    EXPECT_EQ(catalog.sharedVolumeCount(catalog.disks[1]), std::nullopt);

    ASSERT_NE(catalog.disk("/home", std::nullopt), nullptr);
    EXPECT_EQ(catalog.disk("/home", std::nullopt)->identifier, "dm-1") << "both sides are standardised";
    EXPECT_EQ(catalog.disk("/home/./", std::nullopt)->identifier, "dm-1");
    EXPECT_EQ(catalog.disk("dm-0", std::nullopt)->identifier, "dm-0");
    EXPECT_EQ(catalog.disk("/srv", std::string("Data"))->identifier, "dm-2");
    EXPECT_EQ(catalog.disk("/srv", std::string("nvme0n1p1")), nullptr) << "only volumes match by name";

    // A container with a single volume shares nothing.
    catalog.disks[4].childIdentifiers = {"dm-1"};
    EXPECT_EQ(catalog.sharedVolumeCount(catalog.disks[4]), std::nullopt);
}

TEST(DiskTree, RaidSetsAndMalformedCatalogues)
{
    HardwareStorageCatalog raid;
    raid.disks = {
        disk("md0", HardwareDiskKind::drive, {}, {"md0p1"}),
        disk("md0p1", HardwareDiskKind::volume, "md0"),
        disk("sda", HardwareDiskKind::drive, {}, {"sda1"}),
        disk("sda1", HardwareDiskKind::partition, "sda"),
        disk("sdb", HardwareDiskKind::drive, {}, {"sdb1"}),
        disk("sdb1", HardwareDiskKind::partition, "sdb"),
        disk("nvme0n1", HardwareDiskKind::drive),
    };
    raid.disks[0].protocolName = "Linux Software RAID";
    raid.disks[3].content = "52414944-0000-11AA-AA11-00306543ECAC";
    raid.disks[5].filesystemName = "linux_raid_member";
    EXPECT_EQ(ids(raid.physicalDrives()), (std::vector<std::string>{"md0", "nvme0n1"}))
        << "the set stays, its members and not the others drop out";

    // Without RAID text on a root drive, RAID text deep below has no effect.
    raid.disks[0].protocolName = "NVMe";
    EXPECT_EQ(ids(raid.physicalDrives()), (std::vector<std::string>{"md0", "nvme0n1", "sda", "sdb"}));

    // Parent links that form a cycle end every walk.
    HardwareStorageCatalog cycle;
    cycle.disks = {
        disk("a", HardwareDiskKind::partition, "b", {"b"}),
        disk("b", HardwareDiskKind::partition, "a", {"a"}),
    };
    EXPECT_EQ(cycle.physicalDrive(cycle.disks[0]), nullptr);
    EXPECT_EQ(cycle.descendantIdentifiers("a"), (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(ids(cycle.descendants(cycle.disks[0])), (std::vector<std::string>{"b"}));
    EXPECT_TRUE(cycle.physicalDrives().empty());
}
