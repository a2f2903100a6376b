#include "App/Cooling/CoolingEntitiesProvider.h"

#include "App/Cooling/CoolingSensorGroup.h"
#include "App/Localization/Localizable.h"

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tarnel {

namespace {

std::string unknown()
{
    return localized("general_unknown");
}

std::string roundedText(std::optional<double> rpm)
{
    if (!rpm || !std::isfinite(*rpm))
        return unknown();
    return std::to_string(std::llround(*rpm));
}

int truncatedInt(double value)
{
    return std::isfinite(value) ? static_cast<int>(std::trunc(value)) : 0;
}

struct TemperatureGroup {
    CoolingSensorGroup sensorGroup;
    StatsTemperatureSnapshot sensor;
};

} // namespace

CoolingChartColor temperatureColor(double celsius)
{
    using C = CoolingChartColor;
    if (celsius < 40)
        return C::tempCoolBottom;
    if (celsius < 48)
        return C::tempCoolTop;
    if (celsius < 60)
        return C::green;
    if (celsius < 70)
        return C::yellowTowardsGreen;
    if (celsius < 80)
        return C::orangeTowardsYellow;
    if (celsius < 90)
        return C::redTowardsOrange;
    return C::red;
}

std::shared_ptr<CoolingEntitiesProvider> CoolingEntitiesProvider::make()
{
    return std::make_shared<CoolingEntitiesProvider>(Sources{
        CoolingStatsCache::shared(),
        [] {
            return quendal::temperatureUnitFormat(
                quendal::read(quendal::Preferences::shared(), quendal::PreferenceKeys::temperatureUnitFormat));
        },
    });
}

CoolingEntitiesProvider::CoolingEntitiesProvider(Sources sources) : sources_(std::move(sources))
{
    identifier = "cooling";
    analyticsId = "cooling";
    title = localized("cooling_title");
    icon = "cooling";
    navigationBarStyle = NavigationBarStyle::collapsingHeader;
}

void CoolingEntitiesProvider::start()
{
    sources_.cache->start();
    coolingStats_ = sources_.cache->snapshot.value();
    std::weak_ptr<CoolingEntitiesProvider> weak = weak_from_this();
    statsCancellable_ = sources_.cache->snapshot.publisher().sink([weak](const CoolingStatsSnapshot& snapshot) {
        if (auto self = weak.lock()) {
            self->coolingStats_ = snapshot;
            self->reload();
        }
    });
}

void CoolingEntitiesProvider::stop()
{
    statsCancellable_.reset();
}

std::string CoolingEntitiesProvider::temperatureText(double celsius) const
{
    const auto unit = sources_.temperatureUnit ? sources_.temperatureUnit() : quendal::TemperatureUnitFormat::system;
    return quendal::TemperatureFormatter::string(celsius, unit);
}

std::vector<CollectionViewSection> CoolingEntitiesProvider::sections()
{
    std::vector<CollectionViewSection> result;
    if (auto fans = fanItems(); !fans.empty())
        result.push_back({"fans", std::move(fans), CollectionViewSection::Layout::masonry,
                          Localizable::shared().text("cooling_fans", "Fans"), std::nullopt});
    if (auto sensors = temperatureItems(); !sensors.empty())
        result.push_back({"temperatures", std::move(sensors), CollectionViewSection::Layout::masonry,
                          Localizable::shared().text("cooling_thermal_sensors", "Thermal Sensors"), std::nullopt});
    if (result.empty()) {
        auto notice = coolingStats_.received
                          ? Localizable::shared().text("cooling_nothing_found", "This computer reports no fans and no temperature sensors.")
                          : Localizable::shared().text("cooling_waiting", "Waiting for the first readings of the fans and sensors…");
        result.push_back({"notice", {CollectionViewCellModel::make("notice", CoolingNoticeModel{std::move(notice)})},
                          CollectionViewSection::Layout::list, std::nullopt, std::nullopt});
    }
    return result;
}

std::vector<CollectionViewCellModel> CoolingEntitiesProvider::fanItems()
{
    std::vector<const StatsFanSnapshot*> fans;
    for (const auto& [id, fan] : coolingStats_.latestFans)
        fans.push_back(&fan);
    std::stable_sort(fans.begin(), fans.end(), [](const auto* a, const auto* b) { return a->index < b->index; });

    std::vector<CollectionViewCellModel> items;
    for (const auto* fan : fans) {
        auto readings = coolingStats_.fanReadings.find(fan->identifier);
        if (readings == coolingStats_.fanReadings.end())
            continue;
        const auto& history = readings->second;
        FanViewItemModel model;
        model.title = fan->name;
        if (!history.current.empty())
            model.currentRpm = history.current.elements().back();
        auto& view = fanViews_[fan->identifier];
        if (!view)
            view = std::make_shared<FanView>();
        view->setSpeed(model.currentRpm);
        model.fanView = view;
        model.chartModel.title = "Max " + roundedText(fan->maximumRPM);
        model.chartModel.value = (model.currentRpm ? std::to_string(*model.currentRpm) : unknown()) + " RPM";
        model.chartModel.detail = "Min " + roundedText(fan->minimumRPM);
        for (float fraction : history.fraction)
            model.chartModel.chartModel.values.push_back(truncatedInt(static_cast<double>(fraction) * 100));
        model.chartModel.chartModel.color = CoolingChartColor::controlAccent;
        items.push_back(CollectionViewCellModel::make(fan->identifier, std::move(model)));
    }
    return items;
}

std::vector<CollectionViewCellModel> CoolingEntitiesProvider::temperatureItems() const
{
    std::vector<TemperatureGroup> rows;
    for (const auto& [id, sensor] : coolingStats_.latestTemperatures)
        if (auto group = sensorGroup(sensor.statistic))
            rows.push_back({*group, sensor});
    std::stable_sort(rows.begin(), rows.end(), [](const TemperatureGroup& a, const TemperatureGroup& b) {
        if (a.sensorGroup != b.sensorGroup)
            return precedes(a.sensorGroup, b.sensorGroup);
        if (a.sensor.statistic != b.sensor.statistic)
            return a.sensor.statistic < b.sensor.statistic;
        if (a.sensor.index != b.sensor.index)
            return a.sensor.index < b.sensor.index;
        return HardwareStorageCatalog::naturalCompare(a.sensor.name, b.sensor.name) < 0;
    });

    std::vector<CollectionViewCellModel> items;
    for (auto first = rows.begin(); first != rows.end();) {
        const auto group = first->sensorGroup;
        auto last = std::find_if(first, rows.end(), [group](const TemperatureGroup& r) { return r.sensorGroup != group; });
        ModularBlockChartModel model;
        model.title = tarnel::title(group);
        for (auto row = first; row != last; ++row) {
            auto history = coolingStats_.temperatureReadings.find(row->sensor.identifier);
            if (history == coolingStats_.temperatureReadings.end())
                continue;
            BlockChartWidgetModel chart;
            chart.title = row->sensor.name;
            const auto& readings = history->second;
            chart.value = readings.empty() ? unknown() : temperatureText(readings.elements().back());
            for (double celsius : readings)
                chart.chartModel.values.push_back(truncatedInt(celsius));
            chart.chartModel.color = temperatureColor(readings.empty() ? 0.0 : readings.elements().back());
            model.chartModels.push_back(std::move(chart));
        }
        auto groupHistory = coolingStats_.groupTemperatureReadings.find(groupStatistic(group));
        if (groupHistory != coolingStats_.groupTemperatureReadings.end() && !groupHistory->second.empty()) {
            model.average = temperatureText(groupHistory->second.elements().back());
        } else {
            const double sum = std::accumulate(first, last, 0.0, [](double s, const TemperatureGroup& r) { return s + r.sensor.celsius; });
            model.average = temperatureText(sum / static_cast<double>(last - first));
        }
        items.push_back(CollectionViewCellModel::make(std::string(rawValue(group)), std::move(model)));
        first = last;
    }
    return items;
}

} // namespace tarnel
