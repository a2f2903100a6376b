#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"
#include "App/Dashboard/DashboardDaemonStatsStore.h"
#include "App/Dashboard/DashboardModels.h"
#include "App/Dashboard/ProcessIcons.h"

#include "TarnelKit/Catalog/CatalogStores.h"

#include "QuendalFoundation/Formatting/TemperatureFormatter.h"
#include "QuendalFoundation/Runtime/Cancellable.h"
#include "QuendalFoundation/Runtime/Published.h"

#include <functional>
#include <memory>
#include <optional>

namespace tarnel {

// The Dashboard: a header naming the machine and live cards for battery, storage, processor,
// memory and each graphics device, rebuilt from the store on every batch.
class DashboardProvider : public CollectionEntitiesProvider, public std::enable_shared_from_this<DashboardProvider> {
public:
    struct Sources {
        std::shared_ptr<DashboardDaemonStatsStore> statsStore;
        std::shared_ptr<HardwareCatalogStore> catalogStore;
        std::shared_ptr<SystemInventoryStore> systemInventoryStore;
        // The preloader's start-up batch.
        std::function<quendal::Publisher<std::optional<StatsUpdateBatch>>()> startupBatch;
        std::function<std::string(const StatsProcessUsageSnapshot&)> processIcon;
        std::function<quendal::TemperatureUnitFormat()> temperatureUnit;
    };

    static std::shared_ptr<DashboardProvider> make();
    explicit DashboardProvider(Sources sources);

    void start() override;
    void stop() override;
    std::vector<CollectionViewSection> sections() override;

    DashboardDaemonStatsStore& statsStore() const { return *sources_.statsStore; }

    // The card builders, one per card; nullopt where a card is left out.
    std::optional<CollectionViewCellModel> batteryCard() const;
    CollectionViewCellModel storageCard() const;
    CollectionViewCellModel cpuCard() const;
    CollectionViewCellModel ramCard() const;
    std::vector<CollectionViewCellModel> gpuCards() const;

    // "42 %" with U+2008 before the sign.
    static std::string percentText(int percent);
    static std::string percentText(double fraction);

private:
    static asio::awaitable<void> loadStatic(std::weak_ptr<DashboardProvider> weak, std::shared_ptr<HardwareCatalogStore> catalog,
                                            std::shared_ptr<SystemInventoryStore> inventory);
    std::string temperatureText(double celsius) const;
    // The rows of the processes the daemon sent for `statistic`: as many as it sends, in its order.
    std::vector<AppEntry> topProcesses(WidgetStatistic statistic,
                                       std::string (*formattedValue)(const StatsProcessUsageSnapshot&)) const;

    Sources sources_;
    std::optional<quendal::Cancellable> startupStatsCancellable_;
    quendal::Task staticLoad_;
};

} // namespace tarnel
