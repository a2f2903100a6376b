#include "Platform/Statistics/ProcessUsage.h"

#include "Platform/Statistics/CounterDelta.h"

#include <algorithm>
#include <unordered_map>

namespace tarnel::platform {

namespace {

pid_t pidOf(const ProcessSample& sample) { return sample.pid; }
pid_t pidOf(const ProcessCpuUsage& usage) { return usage.process.pid; }

template <typename Element, typename Key>
std::vector<Element> topBy(std::vector<Element> elements, std::size_t count, Key key)
{
    auto before = [&](const Element& a, const Element& b) {
        auto ka = key(a);
        auto kb = key(b);
        if (ka != kb)
            return ka > kb;
        return pidOf(a) < pidOf(b);
    };
    count = std::min(count, elements.size());
    std::partial_sort(elements.begin(), elements.begin() + static_cast<std::ptrdiff_t>(count), elements.end(), before);
    elements.resize(count);
    return elements;
}

} // namespace

std::vector<ProcessCpuUsage> processCpuUsageBetween(const std::vector<ProcessSample>& earlier,
    const std::vector<ProcessSample>& later, double elapsedSeconds, std::uint64_t ticksPerSecond)
{
    std::vector<ProcessCpuUsage> usages;
    if (!(elapsedSeconds > 0) || ticksPerSecond == 0)
        return usages;
    std::unordered_map<pid_t, const ProcessSample*> previous;
    previous.reserve(earlier.size());
    for (const auto& sample : earlier)
        previous.emplace(sample.pid, &sample);
    double available = elapsedSeconds * static_cast<double>(ticksPerSecond);
    usages.reserve(later.size());
    for (const auto& sample : later) {
        std::uint64_t ticks = sample.cpuTicks;
        if (auto found = previous.find(sample.pid); found != previous.end() && found->second->startTicks == sample.startTicks) {
            auto delta = counterDelta(found->second->cpuTicks, sample.cpuTicks);
            if (!delta)
                continue;
            ticks = *delta;
        }
        usages.push_back({sample, ticks, static_cast<double>(ticks) / available});
    }
    return usages;
}

std::vector<ProcessCpuUsage> topByCpu(std::vector<ProcessCpuUsage> usages, std::size_t count)
{
    return topBy(std::move(usages), count, [](const ProcessCpuUsage& usage) { return usage.ticks; });
}

std::vector<ProcessSample> topByResidentMemory(std::vector<ProcessSample> processes, std::size_t count)
{
    return topBy(std::move(processes), count, [](const ProcessSample& sample) { return sample.residentBytes; });
}

std::vector<ProcessSample> topByPrivateMemory(std::vector<ProcessSample> processes, std::size_t count)
{
    return topBy(std::move(processes), count, [](const ProcessSample& sample) { return sample.privateBytes(); });
}

} // namespace tarnel::platform
