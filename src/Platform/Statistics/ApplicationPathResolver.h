#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace tarnel::platform {

// The root of the application an executable belongs to: the AppImage file, the Flatpak deployment,
// the Snap, or the folder under /opt. Absent for an executable that is part of the system.
class ApplicationPathResolver {
public:
    explicit ApplicationPathResolver(SystemRoot root = {}) : root_(std::move(root)) {}
    std::optional<std::string> resolve(pid_t pid, const std::string& executablePath) const;

private:
    std::optional<std::string> appImage(pid_t pid) const;
    std::optional<std::string> flatpakSandbox(pid_t pid) const;

    SystemRoot root_;
};

} // namespace tarnel::platform
