#pragma once
// The Dashboard's provider fed with the recorded laptop: a stats store that has folded `ticks`
// batches, and catalogue and inventory stores that answer with the laptop at once. Shared by the
// Dashboard screen test and its benchmark, which both link the application library.
#include "App/Dashboard/DashboardProvider.h"

#include "LaptopDashboard.h"

#include <functional>
#include <memory>
#include <string>

namespace tarnel::testing::laptop {

struct ProviderSetup {
    std::shared_ptr<DashboardDaemonStatsStore> store;
    std::shared_ptr<SystemInventoryStore> inventoryStore;
    std::shared_ptr<DashboardProvider> provider;
};

inline ProviderSetup makeProvider(int ticks, std::function<std::string(const StatsProcessUsageSnapshot&)> processIcon)
{
    auto store = std::make_shared<DashboardDaemonStatsStore>(
        [](std::vector<WidgetStatistic>, StatisticUpdateFrequency) { return quendal::AsyncStream<StatsUpdateBatch>::make().first; });
    for (int tick = 0; tick < ticks; ++tick)
        store->apply(batch(tick));
    auto catalogStore = std::make_shared<HardwareCatalogStore>([]() -> asio::awaitable<HardwareCatalogSnapshot> { co_return catalog(); });
    auto inventoryStore =
        std::make_shared<SystemInventoryStore>([]() -> asio::awaitable<SystemInventorySnapshot> { co_return inventory(); });
    auto provider = std::make_shared<DashboardProvider>(DashboardProvider::Sources{
        store, catalogStore, inventoryStore, nullptr, std::move(processIcon), [] { return quendal::TemperatureUnitFormat::celsius; }});
    return {std::move(store), std::move(inventoryStore), std::move(provider)};
}

} // namespace tarnel::testing::laptop
