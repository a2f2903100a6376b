#include "Privileged/CommandRunner.h"

#include "Platform/Startup/UnitStates.h"

namespace tarnel::daemon {

CommandResult CommandRunner::run(const std::vector<std::string>& command)
{
    auto ran = platform::runProgram(command);
    return CommandResult{ran.exitStatus, std::move(ran.output)};
}

} // namespace tarnel::daemon
