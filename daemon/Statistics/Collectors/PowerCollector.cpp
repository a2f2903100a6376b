#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/CpuTimesReader.h"
#include "Platform/Statistics/EnergyCounterReader.h"
#include "Platform/Statistics/SystemLoadReader.h"

namespace tarnel::daemon {
namespace {

// Uptime, boot time and load; the energy counters are sampled so a power rate has a baseline.
class PowerCollector final : public SingleServiceCollector {
public:
    explicit PowerCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::power, {WidgetStatistic::uptime, WidgetStatistic::sleepTime, WidgetStatistic::wakeTime,
                                                        WidgetStatistic::sleepReason, WidgetStatistic::wakeReason})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        auto load = platform::SystemLoadReader(root_).read();
        auto times = platform::CpuTimesReader(root_).read();
        StatsSystemUsageSnapshot usage;
        usage.uptimeSeconds = load.uptimeSeconds;
        if (times.bootTime)
            usage.bootTime = Date::fromUnixSeconds(static_cast<double>(*times.bootTime));
        usage.loadAverage = load.loadAverage;
        usage.updatedAt = tick.at;
        state.arrays.systemUsage = usage;
        if (times.bootTime)
            state.values.push_back(
                {WidgetStatistic::uptime, 0, static_cast<double>(*times.bootTime), std::nullopt, std::nullopt, tick.at});
        // Machine power has no statistic of its own yet; the counters are kept warm.
        energy_.keep(platform::EnergyCounterReader(root_).read(), tick.now);
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.systemUsage = arrays.systemUsage;
    }

private:
    Baseline<std::vector<platform::EnergyCounter>> energy_;
};

} // namespace

std::unique_ptr<ServiceCollector> makePowerCollector(const CollectorSetup& s) { return std::make_unique<PowerCollector>(s); }

} // namespace tarnel::daemon
