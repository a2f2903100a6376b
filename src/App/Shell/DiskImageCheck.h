#pragma once

#include "Platform/Statistics/MountInfoReader.h"

#include <filesystem>
#include <vector>

namespace tarnel {

// Whether `file` lies on a read-only image mount (squashfs, ISO 9660, UDF, or an AppImage's
// FUSE mount): an application run from there was never installed. Decided by the mount that
// holds the file's folder, the longest mount point that contains it.
bool isOnDiskImage(const std::filesystem::path& file, const std::vector<platform::MountEntry>& mounts);
// The same for this process's mounts; any failure answers false with a warning.
bool isOnDiskImage(const std::filesystem::path& file);

} // namespace tarnel
