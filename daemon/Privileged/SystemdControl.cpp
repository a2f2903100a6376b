#include "Privileged/SystemdControl.h"

#include <fmt/format.h>

#include <vector>

namespace tarnel::daemon {

namespace {

std::vector<std::string> systemctl(const std::optional<std::string>& user)
{
    std::vector<std::string> command{"systemctl"};
    if (user) {
        command.push_back("--user");
        command.push_back("--machine=" + *user + "@");
    }
    return command;
}

std::string trimmed(std::string text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

} // namespace

SystemdControl::SystemdControl(std::shared_ptr<CommandRunner> runner, std::filesystem::path runtimeMarker)
    : runner_(std::move(runner)), runtimeMarker_(std::move(runtimeMarker))
{
}

bool SystemdControl::isAvailable() const
{
    std::error_code ec;
    return std::filesystem::is_directory(runtimeMarker_, ec);
}

bool SystemdControl::isEnabled(const std::string& unit, const std::optional<std::string>& user) const
{
    if (!isAvailable())
        throw SystemdError("systemd does not run on this machine, so units cannot be read");
    auto command = systemctl(user);
    command.insert(command.end(), {"is-enabled", "--", unit});
    auto result = runner_->run(command);
    if (result.exitStatus < 0)
        throw SystemdError("systemctl could not be started");
    const auto state = trimmed(result.output);
    // is-enabled exits non-zero for "disabled" too; only its words tell an error apart.
    if (state == "enabled" || state == "enabled-runtime" || state == "static" || state == "alias" ||
        state == "indirect" || state == "generated")
        return state != "static" && state != "indirect" && state != "generated";
    if (state == "disabled" || state == "masked" || state == "masked-runtime" || state == "linked" ||
        state == "linked-runtime")
        return false;
    throw SystemdError(fmt::format("systemctl is-enabled {}: {}", unit, state.empty() ? "no answer" : state));
}

void SystemdControl::setEnabled(const std::string& unit, bool enabled, const std::optional<std::string>& user) const
{
    if (!isAvailable())
        throw SystemdError("systemd does not run on this machine, so units cannot be switched");
    auto command = systemctl(user);
    command.insert(command.end(), {enabled ? "enable" : "disable", "--now", "--", unit});
    auto result = runner_->run(command);
    if (result.exitStatus != 0)
        throw SystemdError(fmt::format("systemctl {} {} failed: {}", enabled ? "enable" : "disable", unit,
                                       result.exitStatus < 0 ? "could not be started" : trimmed(result.output)));
}

} // namespace tarnel::daemon
