#include "App/Power/PowerEntitiesProvider.h"

#include "App/Dashboard/DashboardProvider.h"
#include "App/Localization/Localizable.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/ConsumeWhileAlive.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <set>
#include <utility>

namespace tarnel {

namespace {

std::string text(std::string_view key, std::string_view english)
{
    return Localizable::shared().text(key, english);
}

std::string unknown()
{
    return localized("general_unknown");
}

template <class T>
std::string orUnknown(const std::optional<T>& value, std::string_view unit = {})
{
    std::string shown;
    if constexpr (std::is_same_v<T, std::string>)
        shown = value ? *value : unknown();
    else
        shown = value ? std::to_string(*value) : unknown();
    return shown + std::string(unit);
}

struct StatusText {
    std::string_view key;
    std::string_view english;
};

StatusText healthText(StatsBatteryHealthStatus status)
{
    using H = StatsBatteryHealthStatus;
    switch (status) {
    case H::danger:
        return {"battery_status_danger", "This battery is in critical condition and should be replaced."};
    case H::low:
        return {"battery_status_low", "This battery is in poor condition and may not last much longer."};
    case H::aging:
        return {"battery_status_aging", "This battery is aging and has lost some capacity."};
    case H::medium:
        return {"battery_status_medium", "This battery is in good condition but is starting to lose some capacity."};
    case H::max:
        return {"battery_status_max", "This battery is in perfect condition."};
    case H::exceedingMax:
        return {"battery_status_exceeding_max", "This battery is in better condition than expected."};
    case H::missing:
        break;
    }
    return {"battery_status_missing", "Unable to retrieve health status."};
}

struct ThermalLook {
    StatusText text;
    BadgeColor top;
    BadgeColor bottom;
};

ThermalLook thermalLook(StatsThermalStatus status)
{
    using T = StatsThermalStatus;
    using C = BadgeColor;
    switch (status) {
    case T::cool:
        return {{"battery_thermal_status_cool_description", "The temperature is within normal working conditions."},
                C::tempCoolTop, C::tempCoolBottom};
    case T::hot:
        return {{"battery_thermal_status_hot_description", "The temperature is in the higher range of safe thresholds."},
                C::tempHotTop, C::tempHotBottom};
    case T::warning:
        return {{"battery_thermal_status_warning_description", "Warning! The temperature is exceeding safe thresholds."},
                C::tempDangerTop, C::tempDangerBottom};
    case T::missing:
        break;
    }
    return {{"battery_thermal_status_missing_description", "Unable to perform a temperature reading."}, C::systemLightGray,
            C::systemGray};
}

std::string upper(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return s;
}

} // namespace

std::shared_ptr<PowerEntitiesProvider> PowerEntitiesProvider::make()
{
    return std::make_shared<PowerEntitiesProvider>(Sources{
        [] { return StatsClient::sharedUpdates(std::set<DaemonService>{DaemonService::battery}, StatisticUpdateFrequency::slow); },
        [] {
            return quendal::temperatureUnitFormat(
                quendal::read(quendal::Preferences::shared(), quendal::PreferenceKeys::temperatureUnitFormat));
        },
    });
}

PowerEntitiesProvider::PowerEntitiesProvider(Sources sources) : sources_(std::move(sources))
{
    identifier = "power";
    analyticsId = "power";
    icon = "battery-icon";
    title = localized("battery_title");
    navigationBarStyle = NavigationBarStyle::dynamicBar;
}

void PowerEntitiesProvider::start()
{
    if (isStreaming())
        return;
    statsTask_ = quendal::spawnOnMain(follow(weak_from_this(), sources_.batteryUpdates()));
}

void PowerEntitiesProvider::stop()
{
    statsTask_.reset(); // the handle cancels the loop
}

asio::awaitable<void> PowerEntitiesProvider::follow(std::weak_ptr<PowerEntitiesProvider> weak,
                                                    quendal::AsyncStream<StatsUpdateBatch> stream)
{
    std::exception_ptr failure;
    try {
        auto following = quendal::consumeWhileAlive(std::move(weak), std::move(stream),
                                                    [](PowerEntitiesProvider& self, StatsUpdateBatch batch) {
                                                        if (!batch.battery) {
                                                            if (!std::exchange(self.received_, true))
                                                                self.reload();
                                                            return;
                                                        }
                                                        self.received_ = true;
                                                        self.battery_ = std::move(batch.battery);
                                                        self.reload();
                                                    });
        co_await std::move(following);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure)
        quendal::AppLogger::errorUnlessCancelled(failure, "refreshData()", "refreshData() the battery stream ended with an unknown error");
}

std::vector<CollectionViewSection> PowerEntitiesProvider::sections()
{
    std::vector<CollectionViewSection> result;
    if (!battery_) {
        // The battery sections stay absent; a note says why the screen is empty.
        auto notice = received_ ? text("power_no_battery", "This computer reports no internal battery.")
                                : text("power_waiting", "Waiting for the battery's readings…");
        result.push_back({"notice", {CollectionViewCellModel::make("notice", PowerNoticeModel{std::move(notice)})},
                          CollectionViewSection::Layout::list, std::nullopt, std::nullopt});
        return result;
    }
    const auto& b = *battery_;
    if (auto model = header(b))
        result.push_back({"header", {CollectionViewCellModel::make("header", std::move(*model))},
                          CollectionViewSection::Layout::list, std::nullopt, std::nullopt});
    result.push_back({"health",
                      {CollectionViewCellModel::make("health", healthCard(b)),
                       CollectionViewCellModel::make("temperature", temperatureCard(b))},
                      CollectionViewSection::Layout::masonry,
                      text("power_battery_health", "Health"),
                      std::nullopt});
    result.push_back({"information", {CollectionViewCellModel::make("battery info", FactTableModel{facts(b)})},
                      CollectionViewSection::Layout::list, text("information_section", "Information"), std::nullopt});
    return result;
}

std::optional<BatteryHeaderModel> PowerEntitiesProvider::header(const StatsBatterySnapshot& b)
{
    if (!b.currentCapacity || !b.maximumCapacity || !b.designCapacity || !b.currentPercent)
        return std::nullopt;
    BatteryHeaderModel model;
    model.title = b.name ? upper(*b.name) : unknown();
    model.subtitle = std::to_string(*b.currentPercent) + "%";
    model.detail = b.manufacturer ? *b.manufacturer : text("hardware_unknown_vendor", "Unknown vendor");
    model.image = "battery-icon";
    model.sizeTitle = std::to_string(*b.designCapacity) + " mAh";
    model.sizeDetailTitle = text("power_capacity", "Capacity");
    model.bar = {*b.currentCapacity, *b.maximumCapacity, *b.designCapacity, b.isCharging, *b.currentPercent};
    return model;
}

BadgeCardModel PowerEntitiesProvider::healthCard(const StatsBatterySnapshot& b) const
{
    const auto status = healthText(b.healthStatus);
    return {b.healthFraction ? DashboardProvider::percentText(*b.healthFraction) : "-", text(status.key, status.english),
            "health-badge-icon", BadgeColor::healthTop, BadgeColor::healthBottom};
}

BadgeCardModel PowerEntitiesProvider::temperatureCard(const StatsBatterySnapshot& b) const
{
    const auto look = thermalLook(b.thermalStatus);
    std::string title = "-";
    if (b.temperatureCelsius) {
        const auto unit = sources_.temperatureUnit ? sources_.temperatureUnit() : quendal::TemperatureUnitFormat::system;
        title = quendal::TemperatureFormatter::string(*b.temperatureCelsius, unit);
    }
    return {std::move(title), text(look.text.key, look.text.english), "temp-badge-icon", look.top, look.bottom};
}

std::vector<FactRow> PowerEntitiesProvider::facts(const StatsBatterySnapshot& b)
{
    return {
        {text("battery_serial", "Serial #"), orUnknown(b.serialNumber)},
        {text("battery_voltage", "Voltage"), orUnknown(b.voltageMillivolts, " mV")},
        {text("battery_amperage", "Amperage"), orUnknown(b.amperageMilliamps, " mA")},
        {text("battery_pack_reserve", "Pack reserve"), orUnknown(b.packReserve, " mA")},
        // No battery has zero cells: 0 is how a driver that does not count them arrives.
        {text("battery_cell_count", "Cell count"), b.cellCount > 0 ? std::to_string(b.cellCount) : unknown()},
        {text("battery_remaining_charge", "Time remaining"), remainingText(b)},
        {text("battery_manufacturer", "Manufacturer"), orUnknown(b.manufacturer)},
        {text("battery_manufacture_date", "Manufacture date"),
         b.manufactureDate ? dateText(b.manufactureDate->unixSeconds()) : unknown()},
        {text("battery_design_capacity", "Design capacity"), orUnknown(b.designCapacity, " mAh")},
        {text("battery_max_capacity", "Max capacity"), orUnknown(b.maximumCapacity, " mAh")},
        {text("battery_design_cycle_count", "Design cycle count"), orUnknown(b.designCycleCount)},
        {text("battery_cycle_count", "Cycle count"), orUnknown(b.cycleCount)},
    };
}

std::string PowerEntitiesProvider::remainingText(const StatsBatterySnapshot& b)
{
    const auto& seconds = b.isCharging ? b.timeToFullSeconds : b.timeToEmptySeconds;
    if (!seconds || !std::isfinite(*seconds))
        return unknown();
    if (*seconds < 0)
        return text("battery_calculating", "Calculating...");
    return durationText(*seconds) + (b.isCharging ? text("battery_until_full", " until fully charged")
                                                  : text("battery_remaining", " remaining"));
}

std::string PowerEntitiesProvider::durationText(double seconds)
{
    const auto minutes = static_cast<std::int64_t>(seconds / 60);
    if (minutes < 1)
        return text("duration_under_a_minute", "less than a minute");
    const auto hours = minutes / 60;
    const auto rest = minutes % 60;
    if (hours == 0)
        return std::to_string(rest) + " min";
    return std::to_string(hours) + " h " + std::to_string(rest) + " min";
}

std::string PowerEntitiesProvider::dateText(double unixSeconds)
{
    using namespace std::chrono;
    static constexpr const char* months[] = {"January", "February", "March",     "April",   "May",      "June",
                                             "July",    "August",   "September", "October", "November", "December"};
    const sys_days day = floor<days>(sys_seconds(seconds(static_cast<std::int64_t>(std::floor(unixSeconds)))));
    const year_month_day ymd(day);
    const auto dayNumber = static_cast<unsigned>(ymd.day());
    std::string dd = (dayNumber < 10 ? "0" : "") + std::to_string(dayNumber);
    return dd + " " + months[static_cast<unsigned>(ymd.month()) - 1] + " " + std::to_string(static_cast<int>(ymd.year()));
}

} // namespace tarnel
