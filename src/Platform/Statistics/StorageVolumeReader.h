#pragma once

#include "Platform/Statistics/BlockDeviceResolver.h"
#include "Platform/Statistics/FileSystemStatistics.h"
#include "Platform/Statistics/MountInfoReader.h"

#include <memory>

namespace tarnel::platform {

struct StorageVolume {
    std::string mountPoint;
    std::string fileSystemType;
    std::string source;          // as mounted: "/dev/sda2", "/dev/mapper/vg-home"
    unsigned major = 0;
    unsigned minor = 0;
    std::optional<BlockDevice> device; // absent when /sys does not know the device
    FileSystemFigures figures;
};

// One volume per mounted local file system on a device. Pseudo and virtual file systems, read-only
// images (squashfs: snaps and AppImages), overlays and network shares (whose statvfs can hang the
// sampler on a lost server) are left out. Of several mounts of one device (bind mounts, btrfs
// subvolumes) the one with the shortest mount point stands for it. A file system that cannot be
// asked for its figures is left out rather than shown empty. Figures are asked by the mount point as
// this process sees it; the root only moves the /proc and /sys files.
class StorageVolumeReader {
public:
    StorageVolumeReader(SystemRoot root, std::shared_ptr<const FileSystemStatistics> statistics);
    StorageVolumeReader();

    std::vector<StorageVolume> read() const;
    std::vector<StorageVolume> volumesOf(const std::vector<MountEntry>& mounts) const;
    static bool isLocalStorage(const MountEntry& mount);

private:
    SystemRoot root_;
    std::shared_ptr<const FileSystemStatistics> statistics_;
};

} // namespace tarnel::platform
