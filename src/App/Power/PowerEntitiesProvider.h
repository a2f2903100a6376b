#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"
#include "App/Power/PowerModels.h"

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "QuendalFoundation/Formatting/TemperatureFormatter.h"
#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <memory>
#include <optional>

namespace tarnel {

// The Power screen: the internal battery's header, health and temperature cards and its facts,
// all from the daemon's battery snapshot. Subscribed only while started; keeps no history.
class PowerEntitiesProvider : public CollectionEntitiesProvider, public std::enable_shared_from_this<PowerEntitiesProvider> {
public:
    struct Sources {
        std::function<quendal::AsyncStream<StatsUpdateBatch>()> batteryUpdates;
        std::function<quendal::TemperatureUnitFormat()> temperatureUnit;
    };

    static std::shared_ptr<PowerEntitiesProvider> make();
    explicit PowerEntitiesProvider(Sources sources);

    void start() override;
    void stop() override;
    std::vector<CollectionViewSection> sections() override;

    const std::optional<StatsBatterySnapshot>& battery() const { return battery_; }
    bool isStreaming() const { return statsTask_.has_value() && statsTask_->isRunning(); }

    static std::optional<BatteryHeaderModel> header(const StatsBatterySnapshot& battery);
    BadgeCardModel healthCard(const StatsBatterySnapshot& battery) const;
    BadgeCardModel temperatureCard(const StatsBatterySnapshot& battery) const;
    static std::vector<FactRow> facts(const StatsBatterySnapshot& battery);
    static std::string remainingText(const StatsBatterySnapshot& battery);
    // "2 h 5 min"; under a minute "less than a minute".
    static std::string durationText(double seconds);
    // "dd MMMM yyyy" in UTC.
    static std::string dateText(double unixSeconds);

private:
    static asio::awaitable<void> follow(std::weak_ptr<PowerEntitiesProvider> weak, quendal::AsyncStream<StatsUpdateBatch> stream);

    Sources sources_;
    std::optional<quendal::Task> statsTask_;
    std::optional<StatsBatterySnapshot> battery_;
    bool received_ = false;
};

} // namespace tarnel
