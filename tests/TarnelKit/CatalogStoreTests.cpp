// The catalogue stores and the preloader, in virtual time with fake loaders and streams.
#include "TarnelKit/Catalog/CatalogStores.h"
#include "TarnelKit/Catalog/DaemonDataPreloader.h"

#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <asio/experimental/awaitable_operators.hpp>

using namespace tarnel;
using tarnel::testing::VirtualTime;

namespace {

// A loader that answers after one virtual second with a snapshot stamped with the time,
// or fails while `failing` is set.
struct FakeLoader {
    int calls = 0;
    bool failing = false;
    std::shared_ptr<quendal::VirtualClock> clock;

    template <class Snapshot>
    typename CatalogStore<Snapshot>::Loader make()
    {
        return [this]() -> asio::awaitable<Snapshot> { return answer<Snapshot>(this); };
    }

    template <class Snapshot>
    static asio::awaitable<Snapshot> answer(FakeLoader* self)
    {
        ++self->calls;
        co_await self->clock->sleep(std::chrono::seconds(1));
        if (self->failing)
            throw std::runtime_error("the daemon went away");
        Snapshot snapshot{};
        snapshot.generatedAt = Date{quendal::Clock::toSeconds(self->clock->now().time_since_epoch())};
        co_return snapshot;
    }
};

StatsUpdateBatch batchWith(std::vector<DaemonService> services, std::size_t values = 0)
{
    StatsUpdateBatch batch;
    batch.services = std::move(services);
    batch.values.resize(values);
    return batch;
}

std::string messageOf(std::exception_ptr error)
{
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    }
}

} // namespace

TEST(CatalogStore, ConcurrentRefreshesShareOneRequestAndLoadIfNeededSendsNothingOnceLoaded)
{
    using namespace asio::experimental::awaitable_operators;
    VirtualTime time;
    FakeLoader loader{.clock = time.clockPointer()};
    auto store = std::make_shared<HardwareCatalogStore>(loader.make<HardwareCatalogSnapshot>());
    EXPECT_EQ(store->snapshot.value().generatedAt, Date::distantPast());

    time.await([](std::shared_ptr<HardwareCatalogStore> s) -> asio::awaitable<void> {
        auto first = s->refresh();
        auto second = s->refresh();
        auto both = std::move(first) && std::move(second);
        co_await std::move(both);
    }(store));
    EXPECT_EQ(loader.calls, 1) << "the second caller shares the load in flight";
    EXPECT_DOUBLE_EQ(time.elapsedSeconds(), 1.0) << "both returned when the one load finished";
    EXPECT_FALSE(store->isLoading());
    const auto loadedAt = store->snapshot.value().generatedAt;
    EXPECT_NE(loadedAt, Date::distantPast());

    time.await(store->refresh());
    EXPECT_EQ(loader.calls, 2) << "a refresh after the shared one finished sends a new request";

    time.runFor(86400 * 30.0);
    time.await(store->loadIfNeeded());
    EXPECT_EQ(loader.calls, 2) << "a loaded snapshot is never reloaded by loadIfNeeded, however old";
}

TEST(CatalogStore, AFailedLoadKeepsTheSnapshotAndSaysWhy)
{
    VirtualTime time;
    FakeLoader loader{.failing = true, .clock = time.clockPointer()};
    auto store = std::make_shared<SystemInventoryStore>(loader.make<SystemInventorySnapshot>());

    time.await(store->loadIfNeeded());
    EXPECT_EQ(store->snapshot.value().generatedAt, Date::distantPast()) << "nothing loaded: still the distant past";
    ASSERT_TRUE(store->lastError.value());
    EXPECT_EQ(messageOf(store->lastError.value()), "the daemon went away");

    loader.failing = false;
    time.await(store->loadIfNeeded());
    EXPECT_EQ(loader.calls, 2) << "the next loadIfNeeded tries again";
    EXPECT_FALSE(store->lastError.value()) << "a load that succeeds clears the error";
    const auto loaded = store->snapshot.value();

    loader.failing = true;
    time.await(store->refresh());
    EXPECT_EQ(store->snapshot.value(), loaded) << "a failed refresh keeps what the store held";
    EXPECT_TRUE(store->lastError.value());
}

TEST(CatalogStore, AResultForAStoreThatIsGoneIsDropped)
{
    VirtualTime time;
    FakeLoader loader{.clock = time.clockPointer()};
    auto store = std::make_shared<DisplayCatalogStore>(loader.make<DisplayCatalogSnapshot>());
    std::weak_ptr<DisplayCatalogStore> weak = store;
    auto waiting = quendal::spawn(time.executor(), store->refresh());
    time.poll();
    EXPECT_TRUE(store->isLoading());
    store.reset();
    time.run();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(loader.calls, 1);
}

TEST(DaemonDataPreloader, WarmupLoadsTheThreeCataloguesAtOnceAndOnlyOnce)
{
    VirtualTime time;
    FakeLoader loader{.clock = time.clockPointer()};
    auto preloader = std::make_shared<DaemonDataPreloader>(DaemonDataPreloader::Sources{
        std::make_shared<HardwareCatalogStore>(loader.make<HardwareCatalogSnapshot>()),
        std::make_shared<SystemInventoryStore>(loader.make<SystemInventorySnapshot>()),
        std::make_shared<DisplayCatalogStore>(loader.make<DisplayCatalogSnapshot>()),
        {},
        {},
    });
    preloader->startStaticWarmup();
    preloader->startStaticWarmup();
    time.poll();
    EXPECT_EQ(loader.calls, 3) << "three loads at once, and a second start adds none";
    time.run();
    EXPECT_DOUBLE_EQ(time.elapsedSeconds(), 1.0) << "the loads ran side by side";
    EXPECT_FALSE(preloader->isWarmingUp()) << "a finished warm-up clears its task";
    preloader->startStaticWarmup();
    time.run();
    EXPECT_EQ(loader.calls, 3) << "a second warm-up finds every store loaded";
}

TEST(DaemonDataPreloader, StartupStatisticsKeepOnlyBatchesThatSaySomething)
{
    VirtualTime time;
    int opened = 0;
    std::vector<WidgetStatistic> asked;
    std::optional<StatisticUpdateFrequency> frequency;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
    auto preloader = std::make_shared<DaemonDataPreloader>(DaemonDataPreloader::Sources{
        nullptr, nullptr, nullptr,
        [&](std::vector<WidgetStatistic> statistics, StatisticUpdateFrequency f) {
            ++opened;
            asked = statistics;
            frequency = f;
            auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
            feed = continuation;
            return stream;
        },
        {},
    });
    preloader->startStartupStatsCache();
    preloader->startStartupStatsCache();
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(asked, (std::vector{WidgetStatistic::batteryCharge, WidgetStatistic::batteryHealth,
                                  WidgetStatistic::storageUsage}));
    EXPECT_EQ(frequency, StatisticUpdateFrequency::ultraSlow);

    feed->yield(batchWith({DaemonService::battery}));
    time.poll();
    EXPECT_FALSE(preloader->startupStatsBatch.value()) << "no values, no volumes, no storageUsage: dropped";

    feed->yield(batchWith({DaemonService::battery}, 2));
    time.poll();
    ASSERT_TRUE(preloader->startupStatsBatch.value());
    EXPECT_EQ(preloader->startupStatsBatch.value()->values.size(), 2u);

    feed->yield(batchWith({DaemonService::storageUsage}));
    time.poll();
    EXPECT_TRUE(preloader->startupStatsBatch.value()->values.empty())
        << "a batch listing storageUsage without volumes says there are none and replaces the former";

    feed->finish(std::make_exception_ptr(std::runtime_error("stream broke")));
    time.poll();
    EXPECT_FALSE(preloader->hasStartupStatsSubscription()) << "an error clears the task";
    preloader->startStartupStatsCache();
    EXPECT_EQ(opened, 2) << "so a later start opens the cache again";

    feed->finish();
    time.poll();
    EXPECT_TRUE(preloader->hasStartupStatsSubscription()) << "a clean end keeps the task set";
    preloader->startStartupStatsCache();
    EXPECT_EQ(opened, 2);
}

TEST(DaemonDataPreloader, StorageSmartReportsStayUntilABatchBringsNewOnes)
{
    VirtualTime time;
    int opened = 0;
    std::set<DaemonService> asked;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
    auto preloader = std::make_shared<DaemonDataPreloader>(DaemonDataPreloader::Sources{
        nullptr, nullptr, nullptr, {},
        [&](std::set<DaemonService> services, StatisticUpdateFrequency) {
            ++opened;
            asked = services;
            auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
            feed = continuation;
            return stream;
        },
    });
    preloader->startStorageSmartCache();
    preloader->startStorageSmartCache();
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(asked, std::set{DaemonService::storageSmart});

    auto withReports = batchWith({DaemonService::storageSmart});
    withReports.storageSmartReports.resize(2);
    withReports.storageSmartReports[0].identifier = "nvme0n1";
    feed->yield(withReports);
    time.poll();
    EXPECT_EQ(preloader->storageSmartReports.value().size(), 2u);

    feed->yield(batchWith({DaemonService::storageSmart}));
    time.poll();
    EXPECT_EQ(preloader->storageSmartReports.value().size(), 2u) << "an empty batch leaves the reports in place";

    feed->finish(std::make_exception_ptr(std::runtime_error("daemon gone")));
    time.poll();
    ASSERT_TRUE(preloader->storageSmartError.value());
    EXPECT_EQ(messageOf(preloader->storageSmartError.value()), "daemon gone");
    EXPECT_EQ(preloader->storageSmartReports.value().size(), 2u);
    EXPECT_FALSE(preloader->hasStorageSmartSubscription());

    preloader->startStorageSmartCache();
    feed->yield(withReports);
    time.poll();
    EXPECT_FALSE(preloader->storageSmartError.value()) << "new reports clear the error";
}
