#include "Statistics/ServiceCollector.h"

#include <algorithm>
#include <stdexcept>

namespace tarnel::daemon {

// Each collector lives in a file of its own under Collectors/ and is known here by its maker.
std::unique_ptr<ServiceCollector> makeCpuCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeMemoryCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeProcessCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeStorageUsageCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeDiskStatisticsCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeBatteryCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makePowerCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeNetworkCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeSensorCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeGraphicsCollector(const CollectorSetup&);
std::unique_ptr<ServiceCollector> makeSmartCollector(const CollectorSetup&);

namespace {

using Maker = std::unique_ptr<ServiceCollector> (*)(const CollectorSetup&);

// The order is the order of sampling within a tick, and so of a batch's values.
constexpr Maker collectorTable[] = {
    makeCpuCollector,     makeMemoryCollector, makeProcessCollector, makeStorageUsageCollector,
    makeDiskStatisticsCollector, makeBatteryCollector, makePowerCollector, makeNetworkCollector,
    makeSensorCollector,  makeGraphicsCollector, makeSmartCollector,
};

// Collectors made only to answer which service is whose; nothing is read through them.
const std::vector<std::unique_ptr<ServiceCollector>>& describingCollectors()
{
    static const auto collectors = makeServiceCollectors(CollectorSetup{});
    return collectors;
}

} // namespace

bool ServiceCollector::serves(DaemonService service) const
{
    const auto mine = services();
    return std::find(mine.begin(), mine.end(), service) != mine.end();
}

std::vector<std::unique_ptr<ServiceCollector>> makeServiceCollectors(const CollectorSetup& setup)
{
    std::vector<std::unique_ptr<ServiceCollector>> collectors;
    for (auto make : collectorTable)
        collectors.push_back(make(setup));
    return collectors;
}

const ServiceCollector& collectorOf(DaemonService service)
{
    for (const auto& collector : describingCollectors())
        if (collector->serves(service))
            return *collector;
    throw std::logic_error("No collector serves " + std::string(daemonServiceName(service)));
}

DaemonService requiredService(WidgetStatistic statistic)
{
    for (const auto& collector : describingCollectors())
        if (auto service = collector->serviceOf(statistic))
            return *service;
    throw std::logic_error("No collector owns the statistic " + std::to_string(static_cast<int>(statistic)));
}

} // namespace tarnel::daemon
