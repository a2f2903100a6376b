#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <string>
#include <vector>

namespace tarnel::platform {

// One line of /proc/<pid>/mountinfo with its paths decoded.
struct MountEntry {
    int mountId = 0;
    int parentId = 0;
    unsigned major = 0;
    unsigned minor = 0;
    std::string root;       // the part of the file system mounted here ("/" for the whole)
    std::string mountPoint;
    std::string fileSystemType; // "fuse.sshfs" style types keep their subtype
    std::string source;
    std::string options;
};

// /proc/self/mountinfo. Malformed lines are skipped; a missing file is a ReadError.
class MountInfoReader {
public:
    explicit MountInfoReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::vector<MountEntry> read() const;
    static std::vector<MountEntry> parse(std::string_view text);
    // The kernel writes space, tab, newline and backslash in paths as \ooo octal escapes.
    static std::string decode(std::string_view field);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
