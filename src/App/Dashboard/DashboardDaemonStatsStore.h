#pragma once

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// The Dashboard's live data: one subscription of 22 statistics at `fast`, folded batch by batch
// into the latest values, process lists, volumes, device usage and the 100-sample histories.
// Main actor only; the stream is awaited there too, so no batch is applied off it.
class DashboardDaemonStatsStore : public std::enable_shared_from_this<DashboardDaemonStatsStore> {
public:
    using Updates = std::function<quendal::AsyncStream<StatsUpdateBatch>(std::vector<WidgetStatistic>, StatisticUpdateFrequency)>;
    static constexpr std::size_t historyLength = 100;
    static const std::vector<WidgetStatistic>& statistics();

    explicit DashboardDaemonStatsStore(Updates updates);
    ~DashboardDaemonStatsStore();

    // The process's store, on the shared statistics client: every Dashboard the user opens
    // finds the values and histories of the ones before it.
    static std::shared_ptr<DashboardDaemonStatsStore> shared();

    // Keeps `onUpdate`, replacing the old one; opens the stream unless a loop runs.
    void start(std::function<void()> onUpdate);
    void apply(const StatsUpdateBatch& batch);
    // The preloader's batch from start-up: it only fills a store that has seen no batch yet,
    // so coming back to the Dashboard does not add its old sample to the histories again.
    void applyStartupBatch(const StatsUpdateBatch& batch);
    bool hasValues() const { return appliedBatches_ > 0; }
    bool isStreaming() const { return statsTask_.has_value() && statsTask_->isRunning(); }

    // trunc(fraction × 100) of a statistic's value; nullopt without value or fraction.
    std::optional<int> percentage(WidgetStatistic statistic, std::int64_t index = 0) const;
    const StatsValueSnapshot* value(WidgetStatistic statistic, std::int64_t index = 0) const;
    static std::string historyKey(const StatsGPUUsageSnapshot& usage);

    std::map<WidgetStatistic, std::map<std::int64_t, StatsValueSnapshot>> values;
    std::vector<StatsStorageVolumeSnapshot> storageVolumes;
    std::map<WidgetStatistic, std::vector<StatsProcessUsageSnapshot>> processUsages;
    std::vector<StatsGPUUsageSnapshot> gpuUsages;
    std::map<WidgetStatistic, std::vector<StatsTemperatureSnapshot>> temperatures;
    std::vector<int> cpuUsageHistory;
    std::map<std::string, std::vector<int>> gpuUsageHistory;

private:
    static asio::awaitable<void> follow(std::weak_ptr<DashboardDaemonStatsStore> weak,
                                        quendal::AsyncStream<StatsUpdateBatch> stream);

    Updates updates_;
    std::function<void()> onUpdate_;
    std::optional<quendal::Task> statsTask_;
    std::uint64_t appliedBatches_ = 0;
};

// trunc(fraction × 100), with a fraction that is not finite read as 0.
int truncatedPercent(double fraction);

} // namespace tarnel
