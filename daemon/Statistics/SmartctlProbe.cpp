#include "Statistics/SmartctlProbe.h"

#include <unistd.h>

namespace tarnel::daemon {

SmartctlProbe::SmartctlProbe(std::shared_ptr<CommandRunner> runner, std::optional<std::filesystem::path> program)
    : runner_(std::move(runner)), program_(std::move(program))
{
}

std::optional<std::filesystem::path> SmartctlProbe::installedProgram()
{
    for (const char* place : {"/usr/sbin/smartctl", "/sbin/smartctl", "/usr/bin/smartctl", "/usr/local/sbin/smartctl"})
        if (::access(place, X_OK) == 0)
            return std::filesystem::path(place);
    return std::nullopt;
}

std::optional<platform::SmartctlReport> SmartctlProbe::read(const std::string& devicePath) const
{
    if (!program_ || !runner_)
        return std::nullopt;
    // smartctl's exit status is a bit field that is non-zero for healthy drives with old errors
    // logged, so the document decides, not the status.
    auto result = runner_->run({program_->string(), "--json=c", "--all", "--nocheck=standby", devicePath});
    return platform::parseSmartctlJson(result.output);
}

} // namespace tarnel::daemon
