#include "Fixtures.h"
#include "Platform/Statistics/DiskRates.h"
#include "Platform/Statistics/StorageVolumeReader.h"

#include <gtest/gtest.h>

#include <map>

using namespace tarnel::platform;
using tarnel::testing::fixtureMachine;

namespace {

// Figures by mount point, as a test says them; unknown mount points cannot be asked.
class FakeFileSystemStatistics final : public FileSystemStatistics {
public:
    std::map<std::string, FileSystemFigures> figuresByMountPoint;
    mutable std::vector<std::string> asked;

    std::optional<FileSystemFigures> figures(const std::string& mountPoint) const override
    {
        asked.push_back(mountPoint);
        auto found = figuresByMountPoint.find(mountPoint);
        if (found == figuresByMountPoint.end())
            return std::nullopt;
        return found->second;
    }
};

DiskCounters disk(const char* name, std::uint64_t reads, std::uint64_t sectors, std::uint64_t readMs,
    std::uint64_t writes = 0, std::uint64_t writeMs = 0)
{
    DiskCounters counters;
    counters.major = 8;
    counters.name = name;
    counters.readsCompleted = reads;
    counters.sectorsRead = sectors;
    counters.readMilliseconds = readMs;
    counters.writesCompleted = writes;
    counters.writeMilliseconds = writeMs;
    return counters;
}

} // namespace

TEST(MountInfo, ParsesOptionalFieldsOctalEscapesAndSkipsBrokenLines)
{
    auto mounts = MountInfoReader(fixtureMachine("laptop")).read();
    ASSERT_EQ(mounts.size(), 12u); // the last line is cut short
    EXPECT_EQ(mounts[0].root, "/@");
    EXPECT_EQ(mounts[0].fileSystemType, "btrfs");
    EXPECT_EQ(mounts[0].source, "/dev/nvme0n1p2");
    EXPECT_EQ(mounts[10].mountPoint, "/media/alex/My Passport");
    EXPECT_EQ(mounts[10].major, 8u);
    EXPECT_EQ(mounts[10].minor, 1u);

    EXPECT_EQ(MountInfoReader::decode(R"(/a\040b\011c\012d\134e)"), "/a b\tc\nd\\e");
    EXPECT_EQ(MountInfoReader::decode(R"(/x\04)"), R"(/x\04)"); // an escape cut short stays as written
    EXPECT_EQ(MountInfoReader::decode(R"(/x\9999)"), R"(/x\9999)");
    EXPECT_TRUE(MountInfoReader::parse("1 2 8:x / /mnt rw - ext4 /dev/sda rw\n").empty());
    EXPECT_THROW(MountInfoReader(fixtureMachine("no-such-machine")).read(), ReadError);
}

TEST(StorageVolumes, OneVolumePerLocalDeviceWithItsDriveKind)
{
    auto statistics = std::make_shared<FakeFileSystemStatistics>();
    statistics->figuresByMountPoint = {{"/", {500'000'000'000, 200'000'000'000, 180'000'000'000}},
        {"/home", {500'000'000'000, 200'000'000'000, 180'000'000'000}}, {"/boot/efi", {536'870'912, 500'000'000, 500'000'000}},
        {"/media/alex/My Passport", {2'000'000'000'000, 1'000'000'000'000, 1'000'000'000'000}}};
    auto volumes = StorageVolumeReader(fixtureMachine("laptop"), statistics).read();
    ASSERT_EQ(volumes.size(), 3u);
    // btrfs subvolumes share a device: the shortest mount point stands for it. The snap image, the
    // tmpfs, the portal and the NFS share are no local storage and are never asked.
    EXPECT_EQ(volumes[0].mountPoint, "/");
    ASSERT_TRUE(volumes[0].device);
    EXPECT_EQ(volumes[0].device->name, "nvme0n1p2");
    EXPECT_EQ(volumes[0].device->disks, std::vector<std::string>{"nvme0n1"});
    EXPECT_EQ(volumes[0].device->driveKind, DriveKind::solidState);
    EXPECT_EQ(volumes[0].figures.usedBytes(), 300'000'000'000u);
    EXPECT_EQ(volumes[1].mountPoint, "/boot/efi");
    EXPECT_EQ(volumes[2].device->driveKind, DriveKind::rotational);
    for (const auto& mountPoint : statistics->asked) {
        EXPECT_NE(mountPoint, "/snap/firefox/4173");
        EXPECT_NE(mountPoint, "/home/alex/nas");
        EXPECT_NE(mountPoint, "/home");
    }

    // The desktop: LVM on a SATA SSD partition, and a data disk that spins, also bind-mounted.
    statistics->figuresByMountPoint = {{"/", {100, 40, 30}}, {"/data", {4000, 1000, 1000}}, {"/srv/shared", {4000, 1000, 1000}}};
    volumes = StorageVolumeReader(fixtureMachine("desktop"), statistics).read();
    ASSERT_EQ(volumes.size(), 2u); // /boot cannot be asked and is left out
    EXPECT_EQ(volumes[0].device->name, "dm-0");
    EXPECT_EQ(volumes[0].device->disks, std::vector<std::string>{"sda"});
    EXPECT_EQ(volumes[0].device->driveKind, DriveKind::solidState);
    EXPECT_EQ(volumes[1].mountPoint, "/data");
    EXPECT_EQ(volumes[1].device->disks, std::vector<std::string>{"sdb"});
    EXPECT_EQ(volumes[1].device->driveKind, DriveKind::rotational);
}

TEST(BlockDevices, ResolvesPartitionsMappedVolumesAndUnknownDevices)
{
    BlockDeviceResolver desktop(fixtureMachine("desktop"));
    EXPECT_EQ(desktop.resolve(8, 1)->disks, std::vector<std::string>{"sda"});
    EXPECT_EQ(desktop.resolve(8, 16)->disks, std::vector<std::string>{"sdb"});
    // Through the mapper name when the number is anonymous.
    auto mapped = desktop.resolve(0, 99, "/dev/mapper/vg0-root");
    ASSERT_TRUE(mapped);
    EXPECT_EQ(mapped->name, "dm-0");
    EXPECT_EQ(mapped->disks, std::vector<std::string>{"sda"});
    EXPECT_FALSE(desktop.resolve(0, 99, "/dev/mapper/missing"));
    EXPECT_FALSE(desktop.resolve(9, 9));
    EXPECT_FALSE(desktop.resolveName("../sda"));
    EXPECT_FALSE(desktop.driveKindOfDisk("sdz"));
}

TEST(DiskStats, ReadsDrivesOnlyAndTurnsDeltasIntoRates)
{
    auto all = DiskStatsReader(fixtureMachine("laptop")).read();
    EXPECT_EQ(all.size(), 6u);
    auto drives = DiskStatsReader(fixtureMachine("laptop")).readDrives();
    ASSERT_EQ(drives.size(), 2u); // partitions and the loop device are no drives
    EXPECT_EQ(drives[0].name, "nvme0n1");
    EXPECT_EQ(drives[0].sectorsWritten, 98765432u);
    EXPECT_EQ(drives[1].name, "sda");
    EXPECT_EQ(DiskStatsReader(fixtureMachine("desktop")).readDrives().size(), 2u); // dm-0 is virtual
    EXPECT_TRUE(DiskStatsReader::parse("8 0 sda 1 2 3\n8 1 sda1 1 2 3 4 5 6 7 8 9 10 eleven\n").empty());

    std::vector<DiskCounters> earlier{disk("sda", 100, 1000, 50, 10, 40), disk("sdb", 500, 0, 0), disk("sdc", 1, 1, 1)};
    std::vector<DiskCounters> later{disk("sda", 300, 5000, 250, 10, 40), disk("sdb", 20, 0, 0), disk("sdd", 1, 1, 1)};
    auto rates = diskRatesBetween(earlier, later, 2.0);
    ASSERT_EQ(rates.size(), 1u); // sdb went back (re-attached); sdd is new
    EXPECT_DOUBLE_EQ(rates[0].readOperations, 100.0);
    EXPECT_DOUBLE_EQ(rates[0].readBytes, 4000.0 * 512 / 2);
    EXPECT_DOUBLE_EQ(*rates[0].readLatency, 0.2 / 200);
    EXPECT_DOUBLE_EQ(rates[0].readTotalTime, 0.1);
    EXPECT_EQ(rates[0].writeOperations, 0.0);
    EXPECT_FALSE(rates[0].writeLatency); // nothing completed, so no time per operation
    EXPECT_FALSE(rates[0].readErrors);
    EXPECT_FALSE(rates[0].writeRetries);
    EXPECT_TRUE(diskRatesBetween(earlier, later, 0).empty());
}

TEST(StorageVolumes, RecordedBuildMachine)
{
    auto statistics = std::make_shared<FakeFileSystemStatistics>();
    statistics->figuresByMountPoint = {{"/", {1000, 400, 300}}, {"/dev/shm", {10, 10, 10}}};
    auto volumes = StorageVolumeReader(fixtureMachine("build-vm"), statistics).read();
    ASSERT_EQ(volumes.size(), 1u); // everything else is tmpfs, cgroup and other pseudo file systems
    EXPECT_EQ(volumes[0].source, "/dev/vda");
    EXPECT_EQ(volumes[0].device->disks, std::vector<std::string>{"vda"});
    EXPECT_EQ(volumes[0].device->driveKind, DriveKind::rotational); // virtio reports a spinning disk
    auto drives = DiskStatsReader(fixtureMachine("build-vm")).readDrives();
    ASSERT_EQ(drives.size(), 1u); // loops and zram are virtual
    EXPECT_EQ(drives[0].name, "vda");
}
