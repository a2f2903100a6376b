#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarnel::daemon {

struct CommandResult {
    int exitStatus = -1; // -1 when the program could not be started
    std::string output;  // standard output and standard error together
};

// Runs a program to completion without a shell; arguments are passed as they are.
class CommandRunner {
public:
    virtual ~CommandRunner() = default;
    virtual CommandResult run(const std::vector<std::string>& command);
};

} // namespace tarnel::daemon
