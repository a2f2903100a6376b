#pragma once

#include "TarnelKit/Catalog/CatalogStores.h"

#include "TarnelFoundation/Statistics/StatsSnapshots.h"
#include "TarnelFoundation/Statistics/WidgetStatistic.h"

#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <array>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace tarnel {

// Fills the catalogue stores once the daemon is connected and keeps two small caches the
// screens want at once: the start-up statistics and the S.M.A.R.T. reports. Main actor only;
// each start is guarded, so calling it twice is harmless.
class DaemonDataPreloader : public std::enable_shared_from_this<DaemonDataPreloader> {
public:
    using StatisticUpdates =
        std::function<quendal::AsyncStream<StatsUpdateBatch>(std::vector<WidgetStatistic>, StatisticUpdateFrequency)>;
    using ServiceUpdates =
        std::function<quendal::AsyncStream<StatsUpdateBatch>(std::set<DaemonService>, StatisticUpdateFrequency)>;

    struct Sources {
        std::shared_ptr<HardwareCatalogStore> hardware;
        std::shared_ptr<SystemInventoryStore> inventory;
        std::shared_ptr<DisplayCatalogStore> displays;
        StatisticUpdates statisticUpdates;
        ServiceUpdates serviceUpdates;
    };

    // In this order.
    static constexpr std::array startupStatistics{WidgetStatistic::batteryCharge, WidgetStatistic::batteryHealth,
                                                  WidgetStatistic::storageUsage};

    static std::shared_ptr<DaemonDataPreloader> shared();
    explicit DaemonDataPreloader(Sources sources);

    quendal::Published<std::optional<StatsUpdateBatch>> startupStatsBatch{std::nullopt};
    quendal::Published<std::vector<StatsStorageSmartReportSnapshot>> storageSmartReports;
    // Why the S.M.A.R.T. subscription ended; null while it runs.
    quendal::Published<std::exception_ptr> storageSmartError{nullptr};

    void startStaticWarmup();
    void startStartupStatsCache();
    void startStorageSmartCache();

    bool isWarmingUp() const { return staticWarmupTask_.has_value(); }
    bool hasStartupStatsSubscription() const { return startupStatsTask_.has_value(); }
    bool hasStorageSmartSubscription() const { return storageSmartTask_.has_value(); }

    // Whether a start-up batch says something worth keeping.
    static bool isUsefulStartupBatch(const StatsUpdateBatch& batch);

private:
    static asio::awaitable<void> warmUp(std::weak_ptr<DaemonDataPreloader> weak, Sources sources);
    static asio::awaitable<void> followStartupStatistics(std::weak_ptr<DaemonDataPreloader> weak,
                                                        quendal::AsyncStream<StatsUpdateBatch> stream);
    static asio::awaitable<void> followStorageSmart(std::weak_ptr<DaemonDataPreloader> weak,
                                                   quendal::AsyncStream<StatsUpdateBatch> stream);

    Sources sources_;
    std::optional<quendal::Task> staticWarmupTask_;
    std::optional<quendal::Task> startupStatsTask_;
    std::optional<quendal::Task> storageSmartTask_;
};

} // namespace tarnel
