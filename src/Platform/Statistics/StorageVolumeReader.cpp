#include "Platform/Statistics/StorageVolumeReader.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

namespace tarnel::platform {

namespace {

// Device-backed file systems that are no storage of their own.
constexpr std::array<std::string_view, 5> imageFileSystems{"squashfs", "erofs", "overlay", "cramfs", "fuse.squashfuse"};
// File systems that mount with an anonymous device number yet live on local disks.
constexpr std::array<std::string_view, 3> anonymousLocalFileSystems{"btrfs", "zfs", "bcachefs"};

bool contains(const auto& list, std::string_view value)
{
    return std::find(list.begin(), list.end(), value) != list.end();
}

} // namespace

StorageVolumeReader::StorageVolumeReader(SystemRoot root, std::shared_ptr<const FileSystemStatistics> statistics)
    : root_(std::move(root)), statistics_(std::move(statistics))
{
}

StorageVolumeReader::StorageVolumeReader() : StorageVolumeReader(SystemRoot(), std::make_shared<StatvfsFileSystemStatistics>()) {}

bool StorageVolumeReader::isLocalStorage(const MountEntry& mount)
{
    if (contains(imageFileSystems, mount.fileSystemType))
        return false;
    // Block-device majors are never 0; pseudo file systems, tmpfs and network shares all have 0.
    if (mount.major != 0)
        return true;
    return contains(anonymousLocalFileSystems, mount.fileSystemType);
}

std::vector<StorageVolume> StorageVolumeReader::read() const
{
    return volumesOf(MountInfoReader(root_).read());
}

std::vector<StorageVolume> StorageVolumeReader::volumesOf(const std::vector<MountEntry>& mounts) const
{
    // Keyed by device number, or by source for anonymous numbers (each btrfs mount of one file system
    // shares the number, but so do unrelated zfs datasets, which differ by source).
    std::map<std::string, const MountEntry*> chosen;
    for (const auto& mount : mounts) {
        if (!isLocalStorage(mount))
            continue;
        std::string key = mount.major != 0 ? std::to_string(mount.major) + ":" + std::to_string(mount.minor)
                                           : std::to_string(mount.minor) + ":" + mount.source;
        auto [place, inserted] = chosen.emplace(key, &mount);
        if (!inserted && mount.mountPoint.size() < place->second->mountPoint.size())
            place->second = &mount;
    }
    std::vector<const MountEntry*> ordered;
    for (const auto& [key, mount] : chosen)
        ordered.push_back(mount);
    std::sort(ordered.begin(), ordered.end(), [](const MountEntry* a, const MountEntry* b) {
        return a->mountPoint.size() != b->mountPoint.size() ? a->mountPoint.size() < b->mountPoint.size()
                                                            : a->mountPoint < b->mountPoint;
    });

    BlockDeviceResolver resolver(root_);
    std::vector<StorageVolume> volumes;
    for (const auto* mount : ordered) {
        auto figures = statistics_->figures(mount->mountPoint);
        if (!figures || figures->totalBytes == 0)
            continue;
        StorageVolume volume;
        volume.mountPoint = mount->mountPoint;
        volume.fileSystemType = mount->fileSystemType;
        volume.source = mount->source;
        volume.major = mount->major;
        volume.minor = mount->minor;
        volume.device = resolver.resolve(mount->major, mount->minor, mount->source);
        volume.figures = *figures;
        volumes.push_back(std::move(volume));
    }
    return volumes;
}

} // namespace tarnel::platform
