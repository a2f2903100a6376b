#include "TarnelKit/Catalog/DaemonDataPreloader.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/ConsumeWhileAlive.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/experimental/awaitable_operators.hpp>

#include <algorithm>

namespace tarnel {

namespace {

// A task clearing its own handle must not cancel itself on the way out.
void release(std::optional<quendal::Task>& task)
{
    if (task)
        task->detach();
    task.reset();
}

} // namespace

std::shared_ptr<DaemonDataPreloader> DaemonDataPreloader::shared()
{
    static const auto preloader = std::make_shared<DaemonDataPreloader>(Sources{
        HardwareCatalogStore::shared(),
        SystemInventoryStore::shared(),
        DisplayCatalogStore::shared(),
        [](std::vector<WidgetStatistic> statistics, StatisticUpdateFrequency frequency) {
            return StatsClient::sharedUpdates(statistics, frequency);
        },
        [](std::set<DaemonService> services, StatisticUpdateFrequency frequency) {
            return StatsClient::sharedUpdates(services, frequency);
        },
    });
    return preloader;
}

DaemonDataPreloader::DaemonDataPreloader(Sources sources) : sources_(std::move(sources)) {}

bool DaemonDataPreloader::isUsefulStartupBatch(const StatsUpdateBatch& batch)
{
    // A batch listing storageUsage with no volumes says there are none: keep it.
    return !batch.values.empty() || !batch.storageVolumes.empty() ||
           std::find(batch.services.begin(), batch.services.end(), DaemonService::storageUsage) != batch.services.end();
}

void DaemonDataPreloader::startStaticWarmup()
{
    if (staticWarmupTask_)
        return;
    staticWarmupTask_ = quendal::spawnOnMain(warmUp(weak_from_this(), sources_));
}

asio::awaitable<void> DaemonDataPreloader::warmUp(std::weak_ptr<DaemonDataPreloader> weak, Sources sources)
{
    using namespace asio::experimental::awaitable_operators;
    auto hardware = sources.hardware->loadIfNeeded();
    auto inventory = sources.inventory->loadIfNeeded();
    auto displays = sources.displays->loadIfNeeded();
    auto all = std::move(hardware) && std::move(inventory) && std::move(displays);
    co_await std::move(all);
    // Spawned on the main actor, so this is already where the handle lives.
    if (auto self = weak.lock())
        release(self->staticWarmupTask_);
}

void DaemonDataPreloader::startStartupStatsCache()
{
    if (startupStatsTask_)
        return;
    std::vector<WidgetStatistic> statistics(startupStatistics.begin(), startupStatistics.end());
    auto stream = sources_.statisticUpdates(std::move(statistics), StatisticUpdateFrequency::ultraSlow);
    startupStatsTask_ = quendal::spawnOnMain(followStartupStatistics(weak_from_this(), std::move(stream)));
}

asio::awaitable<void> DaemonDataPreloader::followStartupStatistics(std::weak_ptr<DaemonDataPreloader> weak,
                                                                   quendal::AsyncStream<StatsUpdateBatch> stream)
{
    std::exception_ptr failure;
    try {
        // A clean end leaves the task set, so the cache is never opened twice.
        auto following = quendal::consumeWhileAlive(weak, std::move(stream), [](DaemonDataPreloader& self, StatsUpdateBatch batch) {
            if (isUsefulStartupBatch(batch))
                self.startupStatsBatch.set(std::move(batch));
        });
        co_await std::move(following);
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure || quendal::AppLogger::errorUnlessCancelled(failure, {}, "A statistics subscription ended with an unknown error"))
        co_return;
    if (auto self = weak.lock())
        release(self->startupStatsTask_);
}

void DaemonDataPreloader::startStorageSmartCache()
{
    if (storageSmartTask_)
        return;
    auto stream = sources_.serviceUpdates({DaemonService::storageSmart}, StatisticUpdateFrequency::ultraSlow);
    storageSmartTask_ = quendal::spawnOnMain(followStorageSmart(weak_from_this(), std::move(stream)));
}

asio::awaitable<void> DaemonDataPreloader::followStorageSmart(std::weak_ptr<DaemonDataPreloader> weak,
                                                              quendal::AsyncStream<StatsUpdateBatch> stream)
{
    std::exception_ptr failure;
    try {
        auto following = quendal::consumeWhileAlive(weak, std::move(stream), [](DaemonDataPreloader& self, StatsUpdateBatch batch) {
            // A batch without reports leaves the last ones in place.
            if (batch.storageSmartReports.empty())
                return;
            self.storageSmartReports.set(std::move(batch.storageSmartReports));
            self.storageSmartError.set(nullptr);
        });
        co_await std::move(following);
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure || quendal::AppLogger::errorUnlessCancelled(failure, {}, "A statistics subscription ended with an unknown error"))
        co_return;
    if (auto self = weak.lock()) {
        self->storageSmartError.set(failure);
        release(self->storageSmartTask_);
    }
}

} // namespace tarnel
