#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"
#include "App/Cooling/CoolingModels.h"
#include "App/Cooling/CoolingStatsCache.h"

#include "QuendalFoundation/Formatting/TemperatureFormatter.h"
#include "QuendalFoundation/Runtime/Cancellable.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace tarnel {

// The Cooling screen: one card per fan, then one card per sensor group, from the cache's
// snapshot. Stopping leaves the cache running.
class CoolingEntitiesProvider : public CollectionEntitiesProvider,
                                public std::enable_shared_from_this<CoolingEntitiesProvider> {
public:
    struct Sources {
        std::shared_ptr<CoolingStatsCache> cache;
        std::function<quendal::TemperatureUnitFormat()> temperatureUnit;
    };

    static std::shared_ptr<CoolingEntitiesProvider> make();
    explicit CoolingEntitiesProvider(Sources sources);

    void start() override;
    void stop() override;
    std::vector<CollectionViewSection> sections() override;

    std::vector<CollectionViewCellModel> fanItems();
    std::vector<CollectionViewCellModel> temperatureItems() const;

    const CoolingStatsSnapshot& coolingStats() const { return coolingStats_; }

private:
    std::string temperatureText(double celsius) const;

    Sources sources_;
    CoolingStatsSnapshot coolingStats_;
    std::optional<quendal::Cancellable> statsCancellable_;
    std::map<std::string, std::shared_ptr<FanView>> fanViews_;
};

} // namespace tarnel
