#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/PowerSupplyReader.h"

namespace tarnel::daemon {
namespace {

// The first step whose floor a reading reaches, from the highest floor down.
template <class Status, std::size_t N>
Status stepOf(double reading, const std::pair<double, Status> (&steps)[N], Status below)
{
    for (const auto& [floor, status] : steps)
        if (reading >= floor)
            return status;
    return below;
}

StatsBatteryHealthStatus healthStatus(std::optional<double> fraction)
{
    using H = StatsBatteryHealthStatus;
    static constexpr std::pair<double, H> steps[] = {{0.95, H::max}, {0.85, H::medium}, {0.70, H::aging}, {0.50, H::low}};
    if (!fraction)
        return H::missing;
    return *fraction > 1.0 ? H::exceedingMax : stepOf(*fraction, steps, H::danger);
}

StatsThermalStatus thermalStatus(std::optional<double> celsius)
{
    using T = StatsThermalStatus;
    static constexpr std::pair<double, T> steps[] = {{50, T::warning}, {40, T::hot}};
    return celsius ? stepOf(*celsius, steps, T::cool) : T::missing;
}

// The first battery: charge, health and what the gauge reports of it.
class BatteryCollector final : public SingleServiceCollector {
public:
    explicit BatteryCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::battery,
                                 {WidgetStatistic::batteryCharge, WidgetStatistic::batteryHealth, WidgetStatistic::batteryCycles})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        auto supplies = platform::PowerSupplyReader(root_).read();
        if (supplies.batteries.empty())
            return; // no battery: the field stays absent
        const auto& b = supplies.batteries.front();
        StatsBatterySnapshot s;
        s.name = b.model.value_or(b.identifier);
        s.manufacturer = b.manufacturer;
        s.serialNumber = b.serialNumber;
        s.currentCapacity = b.currentCapacity;
        s.maximumCapacity = b.maximumCapacity;
        s.designCapacity = b.designCapacity;
        if (b.capacityPercent)
            s.currentPercent = *b.capacityPercent;
        s.healthFraction = b.healthFraction();
        s.healthStatus = healthStatus(s.healthFraction);
        s.cycleCount = b.cycleCount;
        s.voltageMillivolts = b.voltageMillivolts;
        s.amperageMilliamps = b.amperageMilliamps;
        s.cellCount = 0;
        if (b.capacityPercent)
            s.chargeFraction = *b.capacityPercent / 100.0;
        s.isCharging = b.isCharging();
        s.timeToFullSeconds = b.timeToFullSeconds;
        s.timeToEmptySeconds = b.timeToEmptySeconds;
        s.temperatureCelsius = b.temperatureCelsius;
        s.thermalStatus = thermalStatus(b.temperatureCelsius);
        s.updatedAt = tick.at;
        state.arrays.battery = s;
        if (s.chargeFraction)
            state.values.push_back(fractionValue(WidgetStatistic::batteryCharge, 0, *s.chargeFraction, tick.at));
        if (s.healthFraction)
            state.values.push_back(fractionValue(WidgetStatistic::batteryHealth, 0, *s.healthFraction, tick.at));
        if (s.cycleCount)
            state.values.push_back({WidgetStatistic::batteryCycles, 0, static_cast<double>(*s.cycleCount), std::nullopt,
                                    std::nullopt, tick.at});
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.battery = arrays.battery;
    }

};

} // namespace

std::unique_ptr<ServiceCollector> makeBatteryCollector(const CollectorSetup& s) { return std::make_unique<BatteryCollector>(s); }

} // namespace tarnel::daemon
