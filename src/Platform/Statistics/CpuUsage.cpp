#include "Platform/Statistics/CpuUsage.h"

#include "Platform/Statistics/CounterDelta.h"

#include <algorithm>

namespace tarnel::platform {

std::optional<CpuUsage> cpuUsageBetween(const CpuTicks& earlier, const CpuTicks& later)
{
    auto user = counterDelta(earlier.user, later.user);
    auto nice = counterDelta(earlier.nice, later.nice);
    auto system = counterDelta(earlier.system, later.system);
    auto idle = counterDelta(earlier.idle, later.idle);
    auto irq = counterDelta(earlier.irq, later.irq);
    auto softirq = counterDelta(earlier.softirq, later.softirq);
    auto iowait = counterDelta(earlier.iowait, later.iowait);
    if (!user || !nice || !system || !idle || !irq || !softirq)
        return std::nullopt;
    CpuUsage usage;
    usage.user = *user;
    usage.nice = *nice;
    usage.system = *system + *irq + *softirq;
    // iowait of an idle core may go back on some kernels (it is an estimate per core); it only
    // counts when it grew.
    usage.idle = *idle + iowait.value_or(0);
    return usage;
}

CpuUsageInterval cpuUsageBetween(const CpuTimes& earlier, const CpuTimes& later)
{
    CpuUsageInterval interval;
    interval.total = cpuUsageBetween(earlier.total, later.total);
    interval.cores.reserve(later.cores.size());
    for (const auto& core : later.cores) {
        auto previous = std::find_if(earlier.cores.begin(), earlier.cores.end(),
            [&](const CoreTicks& candidate) { return candidate.core == core.core; });
        CoreUsage usage{core.core, std::nullopt};
        if (previous != earlier.cores.end())
            usage.usage = cpuUsageBetween(previous->ticks, core.ticks);
        interval.cores.push_back(usage);
    }
    return interval;
}

} // namespace tarnel::platform
