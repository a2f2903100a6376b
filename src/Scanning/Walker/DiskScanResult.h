#pragma once

#include "Scanning/Walker/FileNode.h"

#include <cstdint>
#include <memory>

namespace tarnel {

struct DiskScanResult {
    // Absent in the result of a group of walks.
    std::shared_ptr<FileNode> root;
    // Seconds from the start of the walk to its end.
    double elapsed = 0;
    // Nodes created: files and directories.
    std::int64_t totalFilesScanned = 0;
};

} // namespace tarnel
