#include "Statistics/ServiceCollector.h"

#include "Catalog/GraphicsCatalog.h"

#include "Platform/Hardware/GraphicsDeviceReader.h"

#include <algorithm>

namespace tarnel::daemon {
namespace {

// Load, memory, clocks, temperature and power of every graphics device.
class GraphicsCollector final : public ServiceCollector {
public:
    explicit GraphicsCollector(const CollectorSetup& setup) : ServiceCollector(setup) {}

    std::vector<DaemonService> services() const override { return {DaemonService::gpuUsage, DaemonService::gpuStatistics}; }

    std::optional<DaemonService> serviceOf(WidgetStatistic statistic) const override
    {
        using W = WidgetStatistic;
        switch (statistic) {
        case W::gpuUsage:
        case W::gpuTemperature:
        case W::gpuMemoryUsage:
        case W::gpuCoreClock:
        case W::gpuMemoryClock:
        case W::gpuPowerUsage:
            return DaemonService::gpuUsage;
        default:
            return std::nullopt;
        }
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        platform::GraphicsDeviceReader reader(root_);
        if (!devices_) {
            auto devices = reader.devices();
            auto items = graphicsCatalog(devices, platform::PciIdDatabase::find(root_.root()));
            devices_.emplace();
            for (std::size_t i = 0; i < devices.size(); ++i)
                devices_->push_back({std::move(devices[i]), std::move(items[i])});
        }
        for (const auto& [device, item] : *devices_)
            add(device, item, reader.sample(device), tick.at, state);
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.gpuUsages = arrays.gpuUsages;
    }

private:
    static std::optional<double> fraction(std::optional<double> part, std::optional<double> whole)
    {
        if (!part || !whole || *whole <= 0)
            return std::nullopt;
        return std::clamp(*part / *whole, 0.0, 1.0);
    }

    static void add(const platform::GraphicsDevice& device, const HardwareGPUCatalogItem& item,
                    const platform::GraphicsDeviceSample& sample, Date at, CollectedState& state)
    {
        StatsGPUUsageSnapshot usage;
        usage.index = item.index;
        usage.identifier = item.identifier;
        usage.name = item.name;
        usage.usageFraction = sample.busyFraction;
        if (sample.vramUsedBytes)
            usage.memoryUsedBytes = static_cast<double>(*sample.vramUsedBytes);
        std::optional<double> vramTotal;
        if (device.vramTotalBytes)
            vramTotal = static_cast<double>(*device.vramTotalBytes);
        usage.memoryUsedFraction = fraction(usage.memoryUsedBytes, vramTotal);
        usage.coreClockUsedFraction = fraction(sample.coreClockMHz, device.maximumCoreClockMHz);
        usage.memoryClockUsedFraction = fraction(sample.memoryClockMHz, device.maximumMemoryClockMHz);
        usage.temperatureCelsius = sample.temperatureCelsius;
        usage.powerWatts = sample.powerWatts;
        usage.updatedAt = at;
        using W = WidgetStatistic;
        const auto index = item.index;
        auto push = [&](W statistic, double value, std::optional<double> fraction) {
            state.values.push_back({statistic, index, value, fraction, std::nullopt, at});
        };
        if (usage.usageFraction)
            push(W::gpuUsage, *usage.usageFraction, *usage.usageFraction);
        if (usage.temperatureCelsius)
            push(W::gpuTemperature, *usage.temperatureCelsius, *usage.temperatureCelsius / 100.0);
        if (usage.memoryUsedBytes)
            push(W::gpuMemoryUsage, *usage.memoryUsedBytes, usage.memoryUsedFraction);
        if (sample.coreClockMHz)
            push(W::gpuCoreClock, *sample.coreClockMHz, usage.coreClockUsedFraction);
        if (sample.memoryClockMHz)
            push(W::gpuMemoryClock, *sample.memoryClockMHz, usage.memoryClockUsedFraction);
        if (usage.powerWatts)
            push(W::gpuPowerUsage, *usage.powerWatts, std::nullopt);
        state.arrays.gpuUsages.push_back(std::move(usage));
    }

    // Devices and their names do not change while the daemon runs; the database is read once.
    struct Device {
        platform::GraphicsDevice device;
        HardwareGPUCatalogItem item;
    };
    std::optional<std::vector<Device>> devices_;
};

} // namespace

std::unique_ptr<ServiceCollector> makeGraphicsCollector(const CollectorSetup& s) { return std::make_unique<GraphicsCollector>(s); }

} // namespace tarnel::daemon
