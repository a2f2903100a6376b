#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarnel::platform {

struct FileSystemFigures {
    std::uint64_t totalBytes = 0;
    std::uint64_t freeBytes = 0;      // including the blocks kept for the superuser
    std::uint64_t availableBytes = 0; // what an ordinary user may still write

    std::uint64_t usedBytes() const { return totalBytes > freeBytes ? totalBytes - freeBytes : 0; }
};

// Capacity figures of a mounted file system, behind an interface so tests give their own.
class FileSystemStatistics {
public:
    virtual ~FileSystemStatistics() = default;
    // Absent when the mount point cannot be asked (gone, no permission, a hung network mount).
    virtual std::optional<FileSystemFigures> figures(const std::string& mountPoint) const = 0;
};

// statvfs(3).
class StatvfsFileSystemStatistics final : public FileSystemStatistics {
public:
    std::optional<FileSystemFigures> figures(const std::string& mountPoint) const override;
};

} // namespace tarnel::platform
