#pragma once

#include "Platform/Applications/DesktopEntryIndex.h"

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include <map>
#include <memory>
#include <string>

namespace tarnel {

// The icon of a process, looked up once per path: the icon of the application it belongs to,
// the command-line icon for kernel threads, the generic program icon otherwise.
class ProcessIcons {
public:
    static constexpr const char* commandTool = "utilities-terminal";
    static constexpr const char* genericProgram = "application-x-executable";

    explicit ProcessIcons(std::shared_ptr<const platform::DesktopEntryIndex> index) : index_(std::move(index)) {}
    static ProcessIcons& shared();

    std::string icon(const StatsProcessUsageSnapshot& process);

private:
    std::shared_ptr<const platform::DesktopEntryIndex> index_;
    std::map<std::string, std::string> cache_;
};

} // namespace tarnel
