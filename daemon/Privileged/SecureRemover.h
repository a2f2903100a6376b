#pragma once

#include <functional>
#include <optional>
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
    // `crossable` names the folders on the way (absolute, no trailing slash) that may be the
    // root of another file system; any other mount point on the way refuses the path.
    static RemovalResult remove(const std::string& absolutePath, const FileSystemIdentity& identity,
                                const std::vector<std::string>& crossable = {});
    // Runs `work` on a thread of its own with `identity`'s file-system rights. Returns why not,
    // without running it, when the identity cannot be taken.
    static std::optional<std::string> runAs(const FileSystemIdentity& identity, const std::function<void()>& work);
};

} // namespace tarnel::daemon
