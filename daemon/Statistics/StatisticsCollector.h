#pragma once

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "Statistics/SmartReadings.h"
#include "Statistics/SmartctlProbe.h"

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include "Platform/Hardware/GraphicsDeviceReader.h"
#include "Platform/Statistics/CpuTimesReader.h"
#include "Platform/Statistics/DiskStatsReader.h"
#include "Platform/Statistics/EnergyCounterReader.h"
#include "Platform/Statistics/NetworkInterfaceReader.h"
#include "Platform/Statistics/ProcessReader.h"
#include "Platform/Statistics/StorageVolumeReader.h"

#include <chrono>
#include <functional>
#include <optional>
#include <set>

namespace tarnel::daemon {

// The service a statistic is collected by.
DaemonService requiredService(WidgetStatistic statistic);

// Everything the sampled services yield at one tick: every instance of every statistic, and
// the arrays of each service. Subscriptions take their share of it.
struct CollectedState {
    std::set<DaemonService> services;
    std::vector<StatsValueSnapshot> values;
    StatsUpdateBatch arrays; // the snapshot arrays; `values` and `services` unused
};

// Reads /proc and /sys (below a root) and turns the readings into the wire records. Rates
// (CPU, disks, processes, power) are measured between consecutive samples of their service, so
// a service's first sample yields no rates.
class StatisticsCollector {
public:
    using Now = std::function<std::chrono::steady_clock::time_point()>;

    explicit StatisticsCollector(platform::SystemRoot root = {}, Now now = &std::chrono::steady_clock::now);

    CollectedState collect(const std::set<DaemonService>& services);
    // Where S.M.A.R.T. data comes from; none means no reports. Drives are read by `launch`
    // (a thread of their own by default), and a tick serves the last reports.
    void setSmartProbe(std::shared_ptr<const SmartctlProbe> probe, SmartReadings::Launch launch = {});

    static constexpr std::size_t topProcessCount = 5;

private:
    void collectCpu(CollectedState& state, Date at);
    void collectRam(CollectedState& state, Date at);
    void collectProcesses(CollectedState& state, const std::set<DaemonService>& services, Date at);
    void collectStorageUsage(CollectedState& state, Date at);
    void collectStorageStatistics(CollectedState& state, Date at);
    void collectBattery(CollectedState& state, Date at);
    void collectPower(CollectedState& state, Date at);
    void collectNetwork(CollectedState& state, Date at);
    void collectSensors(CollectedState& state, Date at);
    void collectGraphics(CollectedState& state, Date at);
    void collectSmart(CollectedState& state, Date at);
    double secondsSince(std::optional<std::chrono::steady_clock::time_point>& last);

    platform::SystemRoot root_;
    Now now_;
    std::optional<platform::CpuTimes> lastCpu_;
    std::optional<std::chrono::steady_clock::time_point> lastCpuTime_;
    std::optional<std::vector<platform::ProcessSample>> lastProcesses_;
    std::optional<std::chrono::steady_clock::time_point> lastProcessTime_;
    std::optional<std::vector<platform::DiskCounters>> lastDisks_;
    std::optional<std::chrono::steady_clock::time_point> lastDiskTime_;
    std::optional<std::vector<platform::EnergyCounter>> lastEnergy_;
    std::optional<std::chrono::steady_clock::time_point> lastEnergyTime_;
    // Devices and their names do not change while the daemon runs; the database is read once.
    struct GraphicsEntry {
        platform::GraphicsDevice device;
        HardwareGPUCatalogItem item;
    };
    std::optional<std::vector<GraphicsEntry>> graphics_;
    static constexpr std::chrono::minutes smartLifetime{5};
    std::unique_ptr<SmartReadings> smart_;
};

} // namespace tarnel::daemon
