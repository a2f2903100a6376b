#pragma once

#include "Privileged/CommandRunner.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace tarnel::daemon {

struct SystemdError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Enables, disables and reads units through systemctl.
class SystemdControl {
public:
    explicit SystemdControl(std::shared_ptr<CommandRunner> runner = std::make_shared<CommandRunner>(),
                            std::filesystem::path runtimeMarker = "/run/systemd/system");

    // Whether systemd manages this machine.
    bool isAvailable() const;

    // `user` set: the unit of that user's manager (`--user --machine=<user>@`).
    bool isEnabled(const std::string& unit, const std::optional<std::string>& user = std::nullopt) const;
    // Enables and starts, or disables and stops. Throws SystemdError with systemctl's words.
    void setEnabled(const std::string& unit, bool enabled, const std::optional<std::string>& user = std::nullopt) const;

private:
    std::shared_ptr<CommandRunner> runner_;
    std::filesystem::path runtimeMarker_;
};

} // namespace tarnel::daemon
