#include "TarnelUI/Export/MonitorConfigurationSnapshot.h"

#include "TarnelFoundation/Codec/Codec.h"
#include "TarnelFoundation/Statistics/WidgetStatisticCatalog.h"
#include "TarnelUI/Panel/MonitorSettings.h"

#include <algorithm>
#include <set>

namespace tarnel::ui {

namespace {

std::vector<WidgetStatistic> normalised(std::vector<WidgetStatistic> statistics)
{
    std::sort(statistics.begin(), statistics.end());
    statistics.erase(std::unique(statistics.begin(), statistics.end()), statistics.end());
    return statistics;
}

std::vector<WidgetStatistic> casesOf(const WidgetStatisticsSet& set)
{
    std::vector<WidgetStatistic> statistics;
    for (const auto& [statistic, indexes] : set.entries)
        statistics.push_back(statistic);
    return statistics;
}

std::vector<WidgetStatistic> decodeStatistics(const Json& document, const char* key)
{
    const auto& list = json::required(document, key);
    if (!list.is_array())
        throw ModelDecodingError(std::string("\"") + key + "\" is not an array");
    std::vector<WidgetStatistic> statistics;
    for (const auto& item : list) {
        auto statistic = item.is_string() ? codec::caseNamed<WidgetStatistic>(item.get<std::string>()) : std::nullopt;
        if (!statistic)
            throw ModelDecodingError(std::string("\"") + key + "\" holds " + item.dump() + ", which is no statistic");
        statistics.push_back(*statistic);
    }
    return statistics;
}

std::vector<DaemonService> decodeServices(const Json& list)
{
    if (!list.is_array())
        throw ModelDecodingError("\"requiredServices\" is not an array");
    std::set<DaemonService> services;
    for (const auto& item : list) {
        auto found = std::find_if(allDaemonServices.begin(), allDaemonServices.end(), [&item](DaemonService service) {
            return item.is_string() && daemonServiceName(service) == item.get_ref<const std::string&>();
        });
        if (found == allDaemonServices.end())
            throw ModelDecodingError("\"requiredServices\" holds " + item.dump() + ", which is no service");
        services.insert(*found);
    }
    return {services.begin(), services.end()};
}

} // namespace

std::vector<DaemonService> requiredServices(const std::vector<WidgetStatistic>& statistics)
{
    std::set<DaemonService> services;
    for (auto statistic : statistics)
        services.insert(requiredService(statistic));
    return {services.begin(), services.end()};
}

MonitorConfigurationSnapshot::MonitorConfigurationSnapshot(std::int64_t version, bool isEnabled, bool runAtLogin,
                                                           std::vector<WidgetStatistic> statusStatistics,
                                                           std::vector<WidgetStatistic> panelStatistics,
                                                           Date updatedAt)
    : version_(version), isEnabled_(isEnabled), runAtLogin_(runAtLogin),
      statusStatistics_(normalised(std::move(statusStatistics))),
      panelStatistics_(normalised(std::move(panelStatistics))), updatedAt_(updatedAt)
{
    requiredServices_ = tarnel::ui::requiredServices(allStatistics());
}

MonitorConfigurationSnapshot MonitorConfigurationSnapshot::make(const MonitorSettings& settings, bool runAtLogin,
                                                                Date now)
{
    const auto& store = *settings.panelStore();
    auto active = store.activePanels();
    WidgetStatisticsSet status;
    if (store.isCombinedEnabled()) {
        status = store.combinedPanel()->widgetStore().statistics(WidgetContext::status);
    } else {
        for (const auto& panel : active)
            mergeStatistics(status, panel->widgetStore().statistics(WidgetContext::status));
    }
    WidgetStatisticsSet panel;
    for (const auto& item : active)
        mergeStatistics(panel, item->widgetStore().statistics(WidgetContext::panel));
    return {currentVersion, true, runAtLogin, casesOf(status), casesOf(panel), now};
}

MonitorConfigurationSnapshot MonitorConfigurationSnapshot::decode(const Json& document, Date now)
{
    if (!document.is_object())
        throw ModelDecodingError("a configuration snapshot is not an object");
    auto version = json::readDefaulted(document, "version", std::int64_t{1});
    auto isEnabled = json::readDefaulted(document, "isEnabled", true);
    auto runAtLogin = json::readDefaulted(document, "runAtLogin", isEnabled);
    auto updatedAt = now;
    if (auto found = document.find("updatedAt"); found != document.end() && !found->is_null()) {
        if (!found->is_number())
            throw ModelDecodingError("\"updatedAt\" is not a number");
        updatedAt = Date{found->get<double>()};
    }
    MonitorConfigurationSnapshot snapshot(version, isEnabled, runAtLogin, decodeStatistics(document, "statusStatistics"),
                                          decodeStatistics(document, "panelStatistics"), updatedAt);
    if (auto found = document.find("requiredServices"); found != document.end() && !found->is_null())
        snapshot.requiredServices_ = decodeServices(*found);
    return snapshot;
}

Json MonitorConfigurationSnapshot::encode() const
{
    auto names = [](const std::vector<WidgetStatistic>& statistics) {
        auto list = Json::array();
        for (auto statistic : statistics)
            list.push_back(codec::nameOf(statistic));
        return list;
    };
    auto services = Json::array();
    for (auto service : requiredServices_)
        services.push_back(daemonServiceName(service));
    return Json{{"version", version_},
                {"isEnabled", isEnabled_},
                {"runAtLogin", runAtLogin_},
                {"statusStatistics", names(statusStatistics_)},
                {"panelStatistics", names(panelStatistics_)},
                {"requiredServices", std::move(services)},
                {"updatedAt", updatedAt_.secondsSinceReferenceDate}};
}

std::vector<WidgetStatistic> MonitorConfigurationSnapshot::allStatistics() const
{
    auto all = statusStatistics_;
    all.insert(all.end(), panelStatistics_.begin(), panelStatistics_.end());
    return normalised(std::move(all));
}

} // namespace tarnel::ui
