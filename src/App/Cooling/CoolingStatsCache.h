#pragma once

#include "TarnelFoundation/Statistics/CappedCollection.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

inline constexpr std::size_t coolingHistoryLength = 200;

struct CoolingFanReadingHistory {
    CappedCollection<std::int64_t> current{coolingHistoryLength};
    CappedCollection<std::int64_t> target{coolingHistoryLength};
    CappedCollection<float> fraction{coolingHistoryLength};
};

struct CoolingStatsSnapshot {
    std::map<std::string, CappedCollection<double>> temperatureReadings;
    std::map<WidgetStatistic, CappedCollection<double>> groupTemperatureReadings;
    std::map<std::string, CoolingFanReadingHistory> fanReadings;
    std::map<std::string, StatsFanSnapshot> latestFans;
    std::map<std::string, StatsTemperatureSnapshot> latestTemperatures;
    // Whether any batch came: an empty snapshot after one means the machine has no fans or sensors.
    bool received = false;

    // Folds one batch in: latest values replace, readings append; nothing that leaves is removed.
    void apply(const StatsUpdateBatch& batch);
};

// The fan and sensor histories for the life of the application: one subscription, opened by the
// first screen that needs it and kept when the screen goes, so charts have data on return.
// Main actor only; batches are applied there.
class CoolingStatsCache : public std::enable_shared_from_this<CoolingStatsCache> {
public:
    using Updates = std::function<quendal::AsyncStream<StatsUpdateBatch>(std::vector<WidgetStatistic>, StatisticUpdateFrequency)>;

    static std::shared_ptr<CoolingStatsCache> shared();
    // fanSpeed, the 18 sensor statistics, then the 18 group statistics.
    static const std::vector<WidgetStatistic>& statistics();

    explicit CoolingStatsCache(Updates updates);

    // Opens the stream unless a loop already reads it; a loop that ended is opened again.
    void start();
    bool isStreaming() const { return statsTask_.has_value() && statsTask_->isRunning(); }

    quendal::Published<CoolingStatsSnapshot> snapshot;

private:
    static asio::awaitable<void> follow(std::weak_ptr<CoolingStatsCache> weak, quendal::AsyncStream<StatsUpdateBatch> stream);

    Updates updates_;
    std::optional<quendal::Task> statsTask_;
};

} // namespace tarnel
