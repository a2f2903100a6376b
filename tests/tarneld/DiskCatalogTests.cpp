#include "Catalog/DiskCatalogCollector.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::daemon;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

namespace {

struct Figures : platform::FileSystemStatistics {
    std::optional<platform::FileSystemFigures> figures(const std::string& mountPoint) const override
    {
        if (mountPoint == "/")
            return platform::FileSystemFigures{100, 40, 30};
        return std::nullopt;
    }
};

const HardwareDiskCatalogItem& item(const HardwareStorageCatalog& catalog, const std::string& id)
{
    auto* found = catalog.disk(id);
    if (!found)
        throw std::runtime_error("no item " + id);
    return *found;
}

} // namespace

TEST(DiskCatalog, ALaptopWithLuksOnNvmeAUsbStickAndAnImage)
{
    TemporaryDirectory tree;
    const auto r = tree.path();
    const auto nvme = r / "sys/devices/pci0000:00/nvme/nvme0/nvme0n1";
    writeFile(nvme / "dev", "259:0\n");
    writeFile(nvme / "size", "2000409264\n");
    writeFile(nvme / "removable", "0\n");
    writeFile(nvme / "queue/rotational", "0\n");
    writeFile(nvme / "queue/logical_block_size", "512\n");
    writeFile(nvme / "device/model", "Samsung SSD 980 PRO 1TB\n");
    writeFile(nvme / "device/serial", "S5GXNX0R123456\n");
    writeFile(nvme / "device/firmware_rev", "5B2QGXA7\n");
    for (int p : {1, 2}) {
        const auto part = nvme / ("nvme0n1p" + std::to_string(p));
        writeFile(part / "dev", "259:" + std::to_string(p) + "\n");
        writeFile(part / "partition", std::to_string(p) + "\n");
        writeFile(part / "size", "1000\n");
    }
    const auto dm = r / "sys/devices/virtual/block/dm-0";
    writeFile(dm / "dev", "254:0\n");
    writeFile(dm / "dm/name", "luks-root\n");
    writeFile(dm / "dm/uuid", "CRYPT-LUKS2-abc-luks-root\n");
    std::filesystem::create_directories(dm / "slaves");
    std::filesystem::create_directory_symlink("../../../pci0000:00/nvme/nvme0/nvme0n1/nvme0n1p2", dm / "slaves/nvme0n1p2");
    const auto usb = r / "sys/devices/pci0000:00/usb2/2-1/host0/block/sda";
    writeFile(usb / "dev", "8:0\n");
    writeFile(usb / "removable", "1\n");
    writeFile(usb / "queue/rotational", "1\n");
    writeFile(usb / "device/vendor", "SanDisk\n");
    const auto loop = r / "sys/devices/virtual/block/loop0";
    writeFile(loop / "dev", "7:0\n");
    writeFile(loop / "loop/backing_file", "/home/ada/Downloads/debian.iso\n");
    std::filesystem::create_directories(r / "sys/devices/virtual/block/loop1");
    std::filesystem::create_directories(r / "sys/devices/virtual/block/zram0");
    std::filesystem::create_directories(r / "sys/block");
    for (auto [name, target] : std::vector<std::pair<std::string, std::string>>{
             {"nvme0n1", "../devices/pci0000:00/nvme/nvme0/nvme0n1"},
             {"dm-0", "../devices/virtual/block/dm-0"},
             {"sda", "../devices/pci0000:00/usb2/2-1/host0/block/sda"},
             {"loop0", "../devices/virtual/block/loop0"},
             {"loop1", "../devices/virtual/block/loop1"},
             {"zram0", "../devices/virtual/block/zram0"}})
        std::filesystem::create_directory_symlink(target, r / "sys/block" / name);
    writeFile(r / "proc/self/mountinfo", "25 1 254:0 / / rw,relatime - ext4 /dev/mapper/luks-root rw\n"
                                         "26 25 259:1 / /boot/efi rw - vfat /dev/nvme0n1p1 rw\n"
                                         "27 25 254:0 /home /home rw - ext4 /dev/mapper/luks-root rw\n");

    auto catalog = DiskCatalogCollector(platform::SystemRoot(r), std::make_shared<Figures>()).collect();
    const auto& drive = item(catalog, "nvme0n1");
    EXPECT_EQ(drive.kind, HardwareDiskKind::drive);
    EXPECT_EQ(drive.protocolName, "NVMe");
    EXPECT_EQ(drive.name, "Samsung SSD 980 PRO 1TB");
    EXPECT_EQ(drive.sizeBytes, 2000409264ULL * 512);
    EXPECT_EQ(drive.driveKind, HardwareDriveKind::solidState);
    EXPECT_TRUE(drive.isInternal);
    EXPECT_TRUE(drive.smartCapable);
    EXPECT_EQ(drive.childIdentifiers, (std::vector<std::string>{"nvme0n1p1", "nvme0n1p2"}));
    EXPECT_EQ(item(catalog, "nvme0n1p1").mountPoint, "/boot/efi");

    const auto& luks = item(catalog, "dm-0");
    EXPECT_EQ(luks.kind, HardwareDiskKind::container);
    EXPECT_EQ(luks.parentIdentifier, "nvme0n1p2");
    EXPECT_EQ(luks.mountPoint, "/") << "the first mount of a device is its mount point";
    EXPECT_EQ(luks.freeBytes, 30u);
    EXPECT_EQ(luks.usedBytes, 60u);
    EXPECT_EQ(item(catalog, "nvme0n1p2").childIdentifiers, std::vector<std::string>{"dm-0"});
    ASSERT_NE(catalog.physicalDrive(luks), nullptr);
    EXPECT_EQ(catalog.physicalDrive(luks)->identifier, "nvme0n1");

    const auto& stick = item(catalog, "sda");
    EXPECT_EQ(stick.protocolName, "USB");
    EXPECT_TRUE(stick.isRemovable);
    EXPECT_FALSE(stick.isInternal);
    EXPECT_EQ(stick.driveKind, HardwareDriveKind::rotational);

    EXPECT_EQ(item(catalog, "loop0").kind, HardwareDiskKind::diskImage);
    EXPECT_EQ(item(catalog, "loop0").name, "debian.iso");
    EXPECT_EQ(catalog.disk("loop1"), nullptr) << "an unused loop device is no disk";
    EXPECT_EQ(catalog.disk("zram0"), nullptr) << "memory is no storage";
    EXPECT_EQ(catalog.physicalDrives().size(), 2u);
}

TEST(DiskCatalog, ThisMachine)
{
    auto catalog = DiskCatalogCollector({}, std::make_shared<platform::StatvfsFileSystemStatistics>()).collect();
    ASSERT_FALSE(catalog.physicalDrives().empty());
    bool rootMounted = false;
    for (const auto& d : catalog.disks)
        rootMounted = rootMounted || d.mountPoint == "/";
    EXPECT_TRUE(rootMounted || std::filesystem::exists("/.dockerenv")) << "the root file system sits on a listed device";
}
