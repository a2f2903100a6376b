#include "Platform/Statistics/FileSystemStatistics.h"

#include <sys/statvfs.h>

namespace tarnel::platform {

std::optional<FileSystemFigures> StatvfsFileSystemStatistics::figures(const std::string& mountPoint) const
{
    struct statvfs info {};
    if (::statvfs(mountPoint.c_str(), &info) != 0)
        return std::nullopt;
    std::uint64_t unit = info.f_frsize != 0 ? info.f_frsize : info.f_bsize;
    FileSystemFigures figures;
    figures.totalBytes = static_cast<std::uint64_t>(info.f_blocks) * unit;
    figures.freeBytes = static_cast<std::uint64_t>(info.f_bfree) * unit;
    figures.availableBytes = static_cast<std::uint64_t>(info.f_bavail) * unit;
    return figures;
}

} // namespace tarnel::platform
