#include "App/Dashboard/ProcessIcons.h"

namespace tarnel {

ProcessIcons& ProcessIcons::shared()
{
    static ProcessIcons icons(std::make_shared<platform::DesktopEntryIndex>());
    return icons;
}

std::string ProcessIcons::icon(const StatsProcessUsageSnapshot& process)
{
    const auto& path = process.applicationPath.empty() ? process.path : process.applicationPath;
    if (path.empty() || path == "kernel_task")
        return commandTool;
    if (auto cached = cache_.find(path); cached != cache_.end())
        return cached->second;
    auto found = index_ ? index_->icon(path) : std::nullopt;
    return cache_[path] = found.value_or(genericProgram);
}

} // namespace tarnel
