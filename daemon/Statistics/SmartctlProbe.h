#pragma once

#include "Privileged/CommandRunner.h"

#include "Platform/Hardware/SmartctlReport.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace tarnel::daemon {

// Reads a drive's S.M.A.R.T. data through `smartctl --json`. Without smartctl, or for a drive it
// cannot open (a session daemon has no rights on block devices), the answer is absent.
class SmartctlProbe {
public:
    explicit SmartctlProbe(std::shared_ptr<CommandRunner> runner = std::make_shared<CommandRunner>(),
                           std::optional<std::filesystem::path> program = installedProgram());

    static std::optional<std::filesystem::path> installedProgram();

    bool isAvailable() const { return program_.has_value(); }
    // "/dev/nvme0n1": everything smartctl tells about the drive; a drive it could not open gives
    // a report with errors and no health data.
    std::optional<platform::SmartctlReport> read(const std::string& devicePath) const;

private:
    std::shared_ptr<CommandRunner> runner_;
    std::optional<std::filesystem::path> program_;
};

} // namespace tarnel::daemon
