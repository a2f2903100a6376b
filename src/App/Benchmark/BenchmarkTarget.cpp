#include "App/Benchmark/BenchmarkTarget.h"

#include <array>
#include <cstdlib>
#include <string_view>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

bool isNetworkName(const std::optional<std::string>& name)
{
    if (!name)
        return false;
    static constexpr std::array<std::string_view, 12> network{"nfs",       "nfs4", "cifs", "smb3",       "smbfs", "sshfs",
                                                              "fuse.sshfs", "9p",   "afs",  "ceph", "glusterfs", "davfs"};
    for (auto n : network)
        if (*name == n)
            return true;
    return name->starts_with("fuse.davfs") || name->starts_with("fuse.rclone");
}

bool qualifies(const HardwareDiskCatalogItem& item)
{
    return item.isWritable && item.mountPoint && !item.mountPoint->empty() && item.freeBytes &&
           *item.freeBytes > benchmarkMinimumFreeBytes && !isNetworkName(item.filesystemName);
}

} // namespace

bool LocalFileSystemProbe::isWritableDirectory(const fs::path& path) const
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return false;
    struct statvfs volume {};
    if (::statvfs(path.c_str(), &volume) != 0 || (volume.f_flag & ST_RDONLY))
        return false;
    return ::access(path.c_str(), W_OK | X_OK) == 0;
}

bool LocalFileSystemProbe::sameFileSystem(const fs::path& a, const fs::path& b) const
{
    struct stat first {}, second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev;
}

bool LocalFileSystemProbe::isNetworkFileSystem(const fs::path& path) const
{
    struct statfs info {};
    if (::statfs(path.c_str(), &info) != 0)
        return false;
    // NFS, SMB2, CIFS, 9p, Ceph, AFS, FUSE (sshfs and its kin).
    constexpr std::array<unsigned long, 8> network{0x6969, 0xFE534D42, 0xFF534D42, 0x01021997,
                                                   0x00C36400, 0x5346414F, 0x65735546, 0x517B};
    for (auto magic : network)
        if (static_cast<unsigned long>(info.f_type) == magic)
            return true;
    return false;
}

std::optional<fs::path> automaticTarget(const HardwareStorageCatalog& catalog, const HardwareDiskCatalogItem& drive,
                                        const FileSystemProbe& probe, const std::vector<fs::path>& userFolders)
{
    std::vector<HardwareDiskCatalogItem> volumes{drive};
    for (auto& item : catalog.descendants(drive))
        volumes.push_back(std::move(item));
    for (const auto& volume : volumes) {
        if (!qualifies(volume))
            continue;
        const fs::path root = *volume.mountPoint;
        if (probe.isNetworkFileSystem(root))
            continue;
        std::vector<fs::path> folders{root / "var/tmp", root / "tmp"};
        folders.insert(folders.end(), userFolders.begin(), userFolders.end());
        folders.push_back(root);
        for (const auto& folder : folders)
            if (probe.sameFileSystem(folder, root) && probe.isWritableDirectory(folder))
                return folder;
    }
    return std::nullopt;
}

std::optional<fs::path> chosenTarget(const fs::path& chosen, const FileSystemProbe& probe)
{
    if (chosen.empty() || probe.isNetworkFileSystem(chosen))
        return std::nullopt;
    if (probe.isWritableDirectory(chosen))
        return chosen;
    if (probe.isWritableDirectory(chosen / "tmp"))
        return chosen / "tmp";
    return std::nullopt;
}

std::vector<fs::path> defaultUserFolders()
{
    std::vector<fs::path> folders;
    const char* home = std::getenv("HOME");
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && *cache)
        folders.emplace_back(cache);
    else if (home && *home)
        folders.push_back(fs::path(home) / ".cache");
    if (home && *home)
        folders.emplace_back(home);
    return folders;
}

} // namespace tarnel
