#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/CpuTimesReader.h"
#include "Platform/Statistics/CpuUsage.h"

namespace tarnel::daemon {
namespace {

// Usage of the whole processor and of each core, measured between two ticks.
class CpuCollector final : public SingleServiceCollector {
public:
    explicit CpuCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::cpu, {WidgetStatistic::cpuUsage, WidgetStatistic::cpuSystemUsage,
                                                      WidgetStatistic::cpuUserUsage, WidgetStatistic::cpuCore})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        auto times = platform::CpuTimesReader(root_).read();
        if (auto previous = baseline_.since(tick.now)) {
            auto interval = platform::cpuUsageBetween(previous->sample, times);
            if (interval.total) {
                state.values.push_back(fractionValue(WidgetStatistic::cpuUsage, 0, interval.total->usageFraction(), tick.at));
                state.values.push_back(
                    fractionValue(WidgetStatistic::cpuSystemUsage, 0, interval.total->systemFraction(), tick.at));
                state.values.push_back(fractionValue(WidgetStatistic::cpuUserUsage, 0, interval.total->userFraction(), tick.at));
            }
            std::int64_t index = 0;
            for (const auto& core : interval.cores) {
                if (core.usage)
                    state.values.push_back(fractionValue(WidgetStatistic::cpuCore, index, core.usage->usageFraction(), tick.at));
                ++index;
            }
        }
        baseline_.keep(std::move(times), tick.now);
    }

    void carry(DaemonService, const StatsUpdateBatch&, StatsUpdateBatch&) const override {} // values only

private:
    Baseline<platform::CpuTimes> baseline_;
};

} // namespace

std::unique_ptr<ServiceCollector> makeCpuCollector(const CollectorSetup& s) { return std::make_unique<CpuCollector>(s); }

} // namespace tarnel::daemon
