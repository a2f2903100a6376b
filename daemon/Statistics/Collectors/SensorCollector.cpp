#include "Statistics/ServiceCollector.h"

#include "Statistics/SensorReadings.h"

#include "Platform/Hardware/HwmonReader.h"

namespace tarnel::daemon {
namespace {

// Temperature sensors and fans of the hardware monitors.
class SensorCollector final : public ServiceCollector {
public:
    explicit SensorCollector(const CollectorSetup& setup) : ServiceCollector(setup) {}

    std::vector<DaemonService> services() const override { return {DaemonService::sensors}; }

    // Every temperature sensor, single or grouped, and the fans: the statistics from the first
    // sensor to the end of the list.
    std::optional<DaemonService> serviceOf(WidgetStatistic statistic) const override
    {
        if (statistic >= WidgetStatistic::socTemperatureSensor)
            return DaemonService::sensors;
        return std::nullopt;
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        auto readings = SensorReadings::from(platform::HwmonReader(root_).read(), tick.at);
        auto values = readings.values();
        state.values.insert(state.values.end(), values.begin(), values.end());
        state.arrays.temperatures = std::move(readings.temperatures);
        state.arrays.fans = std::move(readings.fans);
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.fans = arrays.fans;
        batch.temperatures = arrays.temperatures;
    }

};

} // namespace

std::unique_ptr<ServiceCollector> makeSensorCollector(const CollectorSetup& s) { return std::make_unique<SensorCollector>(s); }

} // namespace tarnel::daemon
