#include "Statistics/StatisticsCollector.h"

#include "Platform/Statistics/SystemRoot.h"

#include <fmt/format.h>

#include <algorithm>

namespace tarnel::daemon {

StatisticsCollector::StatisticsCollector(platform::SystemRoot root, Now now, Logger log)
    : now_(now), log_(std::move(log)), collectors_(makeServiceCollectors(CollectorSetup{std::move(root), std::move(now)}))
{
    for (const auto& collector : collectors_)
        if (auto* smart = dynamic_cast<SmartCollector*>(collector.get()))
            smart_ = smart;
}

void StatisticsCollector::setSmartProbe(std::shared_ptr<const SmartctlProbe> probe, SmartReadings::Launch launch)
{
    smart_->setProbe(std::move(probe), std::move(launch));
}

CollectedState StatisticsCollector::collect(const std::set<DaemonService>& services)
{
    CollectedState state;
    state.services = services;
    const auto at = Date::now();
    state.arrays.generatedAt = at;
    for (const auto& collector : collectors_) {
        const auto served = collector->services();
        if (std::none_of(served.begin(), served.end(), [&](DaemonService s) { return services.contains(s); }))
            continue;
        const Tick tick{services, at, now_(),
                        [&](const std::string& source, const std::exception& error) { report(*collector, source, error); }};
        // A reader whose file vanished or broke costs its own values only.
        try {
            collector->sample(tick, state);
        } catch (const platform::ReadError& e) {
            report(*collector, e.path().string(), e);
        } catch (const std::exception& e) {
            report(*collector, {}, e);
        }
    }
    return state;
}

void StatisticsCollector::report(const ServiceCollector& collector, const std::string& source, const std::exception& error)
{
    // An error that names no file is its own source.
    const auto service = collector.services().front();
    if (!reported_.emplace(service, source.empty() ? error.what() : source).second || !log_)
        return;
    const std::string what = error.what();
    const auto named = source.empty() || what.find(source) != std::string::npos ? std::string() : " " + source;
    log_(fmt::format("Statistics service {} failed to read{}: {}", daemonServiceName(service), named, what));
}

} // namespace tarnel::daemon
