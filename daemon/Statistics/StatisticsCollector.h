#pragma once

#include "Statistics/Collectors/SmartCollector.h"
#include "Statistics/ServiceCollector.h"

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace tarnel::daemon {

// Reads /proc and /sys (below a root) through the registered service collectors and turns the
// readings into the wire records. Rates (CPU, disks, processes, power) are measured between
// consecutive samples of their service, so a service's first sample yields no rates. A source
// that fails costs its own values only and is logged once per service and source.
class StatisticsCollector {
public:
    using Now = SteadyNow;
    using Logger = std::function<void(const std::string&)>;

    explicit StatisticsCollector(platform::SystemRoot root = {}, Now now = &std::chrono::steady_clock::now,
                                 Logger log = {});

    CollectedState collect(const std::set<DaemonService>& services);
    // Where S.M.A.R.T. data comes from; none means no reports. Drives are read by `launch`
    // (a thread of its own by default), and a tick serves the last reports.
    void setSmartProbe(std::shared_ptr<const SmartctlProbe> probe, SmartReadings::Launch launch = {});

    static constexpr std::size_t topProcessCount = daemon::topProcessCount;

private:
    void report(const ServiceCollector& collector, const std::string& source, const std::exception& error);

    Now now_;
    Logger log_;
    std::vector<std::unique_ptr<ServiceCollector>> collectors_;
    SmartCollector* smart_ = nullptr;
    // What was logged already: a source that stays broken is told once, not at every tick.
    std::set<std::pair<DaemonService, std::string>> reported_;
};

} // namespace tarnel::daemon
