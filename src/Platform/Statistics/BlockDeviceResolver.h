#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

enum class DriveKind { solidState, rotational };

// A block device traced down to the whole disks that hold it.
struct BlockDevice {
    std::string name;               // the kernel's name of the device itself: "sda2", "dm-0", "nvme0n1p3"
    std::vector<std::string> disks; // whole disks under it: one for a partition, several under RAID or LVM
    std::optional<DriveKind> driveKind; // rotational when any disk under it spins; absent when no disk says
};

// Walks /sys: a partition to its disk, a device-mapper or md volume through its "slaves" to theirs.
class BlockDeviceResolver {
public:
    explicit BlockDeviceResolver(SystemRoot root = {}) : root_(std::move(root)) {}
    // By device number, falling back to the device path for file systems with an anonymous number (btrfs).
    std::optional<BlockDevice> resolve(unsigned major, unsigned minor, const std::string& source = {}) const;
    std::optional<BlockDevice> resolveName(const std::string& name) const;
    std::optional<DriveKind> driveKindOfDisk(const std::string& disk) const;

private:
    std::optional<BlockDevice> resolveDirectory(const std::filesystem::path& directory) const;
    std::optional<std::string> nameOfMappedDevice(const std::string& mapperName) const;
    void collectDisks(const std::filesystem::path& directory, int depth, std::vector<std::filesystem::path>& disks) const;

    SystemRoot root_;
};

} // namespace tarnel::platform
