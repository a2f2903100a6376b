#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace tarnel::daemon {

// Whose rights a removal runs with.
struct FileSystemIdentity {
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
    // With the daemon's own rights instead (an administrator clearing logs or caches).
    bool daemonRights = false;
};

struct RemovalResult {
    bool removed = false;
    std::string cause; // why not, for the log
};

// Removes one absolute path, and a folder with everything in it, without following a
// symbolic link anywhere on the way and without crossing into another mount: every step is
// taken relative to a directory descriptor that was opened with O_NOFOLLOW. The work runs
// on a thread of its own whose file-system identity is the caller's, so the kernel checks
// the caller's rights and nothing more.
class SecureRemover {
public:
    static RemovalResult remove(const std::string& absolutePath, const FileSystemIdentity& identity);
};

} // namespace tarnel::daemon
