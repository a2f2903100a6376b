#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/MemoryInfoReader.h"
#include "Platform/Statistics/ProcessReader.h"
#include "Platform/Statistics/ProcessUsage.h"

namespace tarnel::daemon {
namespace {

// The top processes by processor and by memory. One reading of the process table serves both
// services; processor use is measured between two ticks.
class ProcessCollector final : public ServiceCollector {
public:
    explicit ProcessCollector(const CollectorSetup& setup) : ServiceCollector(setup) {}

    std::vector<DaemonService> services() const override
    {
        return {DaemonService::processCPUUsage, DaemonService::processRAMUsage, DaemonService::processEnergyUsage};
    }

    std::optional<DaemonService> serviceOf(WidgetStatistic statistic) const override
    {
        switch (statistic) {
        case WidgetStatistic::processCPUUsage:
            return DaemonService::processCPUUsage;
        case WidgetStatistic::processRAMUsage:
        case WidgetStatistic::processRAMRealUsage:
            return DaemonService::processRAMUsage;
        case WidgetStatistic::processEnergyUsage:
            return DaemonService::processEnergyUsage;
        default:
            return std::nullopt;
        }
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        // Energy per process has no reading on this system: it alone reads nothing.
        if (!tick.wants(DaemonService::processCPUUsage) && !tick.wants(DaemonService::processRAMUsage))
            return;
        platform::ProcessReader reader(root_);
        auto processes = reader.readAll();
        auto row = [&](WidgetStatistic statistic, std::int64_t index, const platform::ProcessSample& p, double value,
                       std::optional<double> fraction) {
            auto details = reader.details(p);
            StatsProcessUsageSnapshot s;
            s.statistic = statistic;
            s.index = index;
            s.processID = static_cast<std::int32_t>(p.pid);
            s.identifier = p.identifier();
            s.name = details.displayName.empty() ? p.name : details.displayName;
            s.path = details.executablePath.value_or("");
            s.applicationPath = details.applicationPath.value_or("");
            s.value = value;
            s.fraction = fraction;
            s.updatedAt = tick.at;
            state.arrays.processUsages.push_back(s);
            state.values.push_back({statistic, index, value, fraction, s.name, tick.at});
        };
        const auto previous = baseline_.since(tick.now);
        if (tick.wants(DaemonService::processCPUUsage) && previous && previous->elapsed.count() > 0) {
            auto usage = platform::processCpuUsageBetween(previous->sample, processes, previous->elapsed.count());
            std::int64_t index = 0;
            for (const auto& u : platform::topByCpu(std::move(usage), topProcessCount))
                row(WidgetStatistic::processCPUUsage, index++, u.process, u.coreFraction, u.coreFraction);
        }
        if (tick.wants(DaemonService::processRAMUsage)) {
            const auto total = platform::MemoryInfoReader(root_).read().totalBytes;
            auto fractionOf = [&](std::uint64_t bytes) -> std::optional<double> {
                if (!total || *total == 0)
                    return std::nullopt;
                return static_cast<double>(bytes) / static_cast<double>(*total);
            };
            std::int64_t index = 0;
            for (const auto& p : platform::topByResidentMemory(processes, topProcessCount))
                row(WidgetStatistic::processRAMUsage, index++, p, static_cast<double>(p.residentBytes), fractionOf(p.residentBytes));
            index = 0;
            for (const auto& p : platform::topByPrivateMemory(processes, topProcessCount))
                row(WidgetStatistic::processRAMRealUsage, index++, p, static_cast<double>(p.privateBytes()),
                    fractionOf(p.privateBytes()));
        }
        baseline_.keep(std::move(processes), tick.now);
    }

    void carry(DaemonService service, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        for (const auto& p : arrays.processUsages)
            if (serviceOf(p.statistic) == service)
                batch.processUsages.push_back(p);
    }

private:
    Baseline<std::vector<platform::ProcessSample>> baseline_;
};

} // namespace

std::unique_ptr<ServiceCollector> makeProcessCollector(const CollectorSetup& s) { return std::make_unique<ProcessCollector>(s); }

} // namespace tarnel::daemon
