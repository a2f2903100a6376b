#pragma once

#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Statistics/StatisticsModel.h"
#include "TarnelUI/Core/WidgetJson.h"

#include <cstdint>
#include <vector>

namespace tarnel::ui {

class MonitorSettings;

// The summary the application hands the Monitor app beside the full settings: which statistics
// its status items and panels show, and which daemon services those need. The lists are kept
// free of duplicates and in catalogue order, the services in their declaration order.
class MonitorConfigurationSnapshot {
public:
    static constexpr std::int64_t currentVersion = 2;

    MonitorConfigurationSnapshot(std::int64_t version, bool isEnabled, bool runAtLogin,
                                 std::vector<WidgetStatistic> statusStatistics,
                                 std::vector<WidgetStatistic> panelStatistics, Date updatedAt);

    // What the active panels of `settings` show: the Combined panel's status widgets alone while
    // it is enabled, else those of every active panel; the panel widgets of every active panel.
    static MonitorConfigurationSnapshot make(const MonitorSettings& settings, bool runAtLogin, Date now);

    // Absent optional keys take their defaults: version 1, enabled, run at login as enabled,
    // services derived from the statistics, updated now. Throws ModelDecodingError.
    static MonitorConfigurationSnapshot decode(const Json& document, Date now = Date::now());
    Json encode() const;

    std::int64_t version() const { return version_; }
    bool isEnabled() const { return isEnabled_; }
    bool runAtLogin() const { return runAtLogin_; }
    const std::vector<WidgetStatistic>& statusStatistics() const { return statusStatistics_; }
    const std::vector<WidgetStatistic>& panelStatistics() const { return panelStatistics_; }
    const std::vector<DaemonService>& requiredServices() const { return requiredServices_; }
    Date updatedAt() const { return updatedAt_; }
    // Both lists in one, sorted and without duplicates.
    std::vector<WidgetStatistic> allStatistics() const;

    friend bool operator==(const MonitorConfigurationSnapshot&, const MonitorConfigurationSnapshot&) = default;

private:
    std::int64_t version_;
    bool isEnabled_;
    bool runAtLogin_;
    std::vector<WidgetStatistic> statusStatistics_;
    std::vector<WidgetStatistic> panelStatistics_;
    std::vector<DaemonService> requiredServices_;
    Date updatedAt_;
};

// The services that produce `statistics`, once each, in declaration order.
std::vector<DaemonService> requiredServices(const std::vector<WidgetStatistic>& statistics);

} // namespace tarnel::ui
