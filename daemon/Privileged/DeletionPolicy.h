#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::daemon {

// The rules a path must pass before the daemon tries to remove it at all. The kernel's own
// permission checks, made with the caller's identity, come after these.
class DeletionPolicy {
public:
    // `home` is the caller's home folder, which is never removed itself.
    explicit DeletionPolicy(std::filesystem::path home);

    // Why the path is refused, or nullopt when it may be tried.
    std::optional<std::string> refusal(const std::string& path) const;

    // The folders where a removal's walk may pass into another file system: the places a
    // machine is commonly split at, and the caller's home folder with the folders above it.
    // Every other mount point on the way refuses the path.
    std::vector<std::string> crossableMounts() const;

    // Locations an administrator may clear with the daemon's rights.
    static bool isAdministrativeLocation(const std::filesystem::path& path);

private:
    std::filesystem::path home_;
};

} // namespace tarnel::daemon
