#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace tarnel {

// What the target choice asks of the file system.
class FileSystemProbe {
public:
    virtual ~FileSystemProbe() = default;
    // A directory this user may make entries in, on a file system mounted read-write.
    virtual bool isWritableDirectory(const std::filesystem::path& path) const = 0;
    // Both paths exist and lie on one file system.
    virtual bool sameFileSystem(const std::filesystem::path& a, const std::filesystem::path& b) const = 0;
    // NFS, SMB, SSHFS and the like: their speed is the network's, not a drive's.
    virtual bool isNetworkFileSystem(const std::filesystem::path& path) const = 0;
};

// The real file system of this machine.
class LocalFileSystemProbe final : public FileSystemProbe {
public:
    bool isWritableDirectory(const std::filesystem::path& path) const override;
    bool sameFileSystem(const std::filesystem::path& a, const std::filesystem::path& b) const override;
    bool isNetworkFileSystem(const std::filesystem::path& path) const override;
};

// Strictly more than this many bytes must be free on a volume chosen without asking.
inline constexpr std::uint64_t benchmarkMinimumFreeBytes = 5'000'000'000;

// Where a run on `drive` goes without asking: the first writable folder, on the volume's own
// file system, of the first volume (the drive itself, then its descendants breadth first) that
// is writable, mounted, not networked and has more than 5 GB free. Folders of a volume, in
// order: its var/tmp and tmp, the user's cache and home folders when they lie on it, its root.
std::optional<std::filesystem::path> automaticTarget(const HardwareStorageCatalog& catalog,
                                                     const HardwareDiskCatalogItem& drive, const FileSystemProbe& probe,
                                                     const std::vector<std::filesystem::path>& userFolders);

// A folder the user picked: itself when writable, else its tmp; no free-space test.
std::optional<std::filesystem::path> chosenTarget(const std::filesystem::path& chosen, const FileSystemProbe& probe);

// The user's cache and home folders, as the target choice tries them.
std::vector<std::filesystem::path> defaultUserFolders();

} // namespace tarnel
