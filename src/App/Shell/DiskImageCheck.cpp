#include "App/Shell/DiskImageCheck.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <algorithm>

namespace tarnel {

namespace {

bool contains(const std::string& mountPoint, const std::string& path)
{
    if (mountPoint == "/")
        return true;
    return path == mountPoint || (path.starts_with(mountPoint) && path[mountPoint.size()] == '/');
}

bool isImageMount(const platform::MountEntry& mount)
{
    const auto& type = mount.fileSystemType;
    if (type == "squashfs" || type == "iso9660" || type == "udf")
        return true;
    // An AppImage mounts itself through FUSE, named after the image.
    auto lower = type + " " + mount.source;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return type.starts_with("fuse") && lower.find("appimage") != std::string::npos;
}

} // namespace

bool isOnDiskImage(const std::filesystem::path& file, const std::vector<platform::MountEntry>& mounts)
{
    const auto folder = file.parent_path().lexically_normal().string();
    if (folder.empty()) {
        quendal::AppLogger::warning("isOnDiskImage: Failed to get containing path.");
        return false;
    }
    const platform::MountEntry* holder = nullptr;
    for (const auto& mount : mounts)
        if (contains(mount.mountPoint, folder) && (!holder || mount.mountPoint.size() >= holder->mountPoint.size()))
            holder = &mount;
    if (!holder) {
        quendal::AppLogger::warning("isOnDiskImage: Failed to get file system stats: no mount holds " + folder);
        return false;
    }
    quendal::AppLogger::info("isOnDiskImage media type: " + holder->fileSystemType);
    quendal::AppLogger::info("isOnDiskImage model: " + holder->source);
    return isImageMount(*holder);
}

bool isOnDiskImage(const std::filesystem::path& file)
{
    try {
        return isOnDiskImage(file, platform::MountInfoReader().read());
    } catch (const std::exception& e) {
        quendal::AppLogger::warning(std::string("isOnDiskImage: Failed to get file system stats: ") + e.what());
        return false;
    }
}

} // namespace tarnel
