#pragma once

#include "TarnelUI/Core/WidgetKind.h"
#include "TarnelUI/Core/WidgetStatisticDisplay.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::ui {

// What every settings value shares: where the widget lives and the statistics it demands.
// A default-constructed settings value is the one of a new widget.
class WidgetModelBase {
public:
    static constexpr std::array<WidgetContext, 2> supportedContexts{WidgetContext::panel, WidgetContext::status};

    WidgetContext context() const { return context_; }
    const WidgetStatisticsSet& statistics() const { return statistics_; }
    void setStatistics(WidgetStatisticsSet statistics) { statistics_ = std::move(statistics); }
    std::optional<std::string> title() const { return std::nullopt; }
    std::optional<std::string> symbolName() const { return std::nullopt; }
    void updateStatistics() {}

    friend bool operator==(const WidgetModelBase&, const WidgetModelBase&) = default;

protected:
    explicit WidgetModelBase(WidgetStatisticsSet statistics) : statistics_(std::move(statistics)) {}
    void assignContext(WidgetContext context) { context_ = context; }
    Json encodeCommon() const;
    void decodeCommon(const Json& object);

private:
    WidgetContext context_ = WidgetContext::panel;
    WidgetStatisticsSet statistics_;
};

// A settings value whose statistics do not follow its settings.
#define TARNEL_PLAIN_WIDGET_MODEL(Name, Kind)                                                                         \
    static constexpr WidgetKind kind = WidgetKind::Kind;                                                             \
    Name();                                                                                                          \
    void setContext(WidgetContext context) { assignContext(context); }                                              \
    Json encode() const;                                                                                             \
    static Name decode(const Json& object);                                                                          \
    friend bool operator==(const Name&, const Name&) = default

class CPUUsageWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(CPUUsageWidget, cpuUsage);
};

class CPUCoresWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(CPUCoresWidget, cpuCores);
    bool showValue = true;
};

class RAMUsageWidget : public WidgetModelBase {
public:
    static constexpr WidgetKind kind = WidgetKind::ramUsage;
    RAMUsageWidget();
    bool detailed() const { return detailed_; }
    void setDetailed(bool detailed);
    void setContext(WidgetContext context);
    // The six memory statistics in a detailed panel, the pressure alone anywhere else.
    void updateStatistics();
    Json encode() const;
    static RAMUsageWidget decode(const Json& object);
    friend bool operator==(const RAMUsageWidget&, const RAMUsageWidget&) = default;

private:
    bool detailed_ = true;
};

class StorageUsageWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(StorageUsageWidget, storageUsage);
    bool compactStyle = false;
    bool showVolumes = true;
    bool showValue = true;
};

class GPUUsageWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(GPUUsageWidget, gpuUsage);
};

class ProcessUsageWidget : public WidgetModelBase {
public:
    enum class Kind : std::uint8_t { cpu, ram, realRam, energy };
    static constexpr std::array<std::string_view, 4> kindNames{"cpu", "ram", "realRam", "energy"};
    static constexpr std::int64_t defaultCount = 10;
    static constexpr WidgetKind kind = WidgetKind::processUsage;

    ProcessUsageWidget();
    Kind processKind() const { return processKind_; }
    std::int64_t count() const { return count_; }
    void setProcessKind(Kind kind);
    void setCount(std::int64_t count);
    // A panel shows the first ten processes, a status item the first one; `count` stays.
    void setContext(WidgetContext context);
    void updateStatistics();
    std::optional<std::string> title() const;
    std::optional<std::string> symbolName() const;
    static std::string_view displayName(Kind kind);
    static WidgetStatistic statistic(Kind kind);
    Json encode() const;
    static ProcessUsageWidget decode(const Json& object);
    friend bool operator==(const ProcessUsageWidget&, const ProcessUsageWidget&) = default;

private:
    void demandIndexes(std::int64_t count);
    Kind processKind_ = Kind::cpu;
    std::int64_t count_ = defaultCount;
};

class BatteryUsageWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(BatteryUsageWidget, batteryUsage);
};

class TemperatureSensorWidget : public WidgetModelBase {
public:
    enum class TrackingType : std::uint8_t { individual, group };
    static constexpr std::array<std::string_view, 2> trackingTypeNames{"individual", "group"};
    static constexpr WidgetKind kind = WidgetKind::temperatureSensor;

    TemperatureSensorWidget();
    TemperatureSensorWidget(WidgetSensorGroup group, bool filter, TrackingType trackingType);
    WidgetSensorGroup group() const { return group_; }
    bool filter() const { return filter_; }
    TrackingType trackingType() const { return trackingType_; }
    void setGroup(WidgetSensorGroup group);
    void setFilter(bool filter);
    void setTrackingType(TrackingType trackingType);
    // A status item tracks one group as one value, and keeps doing so after it moves back.
    void setContext(WidgetContext context);
    void updateStatistics();
    std::optional<std::string> title() const;
    Json encode() const;
    static TemperatureSensorWidget decode(const Json& object);
    friend bool operator==(const TemperatureSensorWidget&, const TemperatureSensorWidget&) = default;

private:
    WidgetSensorGroup group_ = WidgetSensorGroup::cpu;
    bool filter_ = false;
    TrackingType trackingType_ = TrackingType::group;
};

class FanSensorWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(FanSensorWidget, fanSensor);
};

class ShortcutWidget : public WidgetModelBase {
public:
    // One application to open: a file URL of its desktop entry.
    struct URLOption {
        UUID id = UUID::random();
        std::string url;
        friend bool operator==(const URLOption&, const URLOption&) = default;
    };
    // The settings entry of desktops before the rename, and what replaces it.
    static constexpr std::string_view retiredSettingsEntry = "gnome-control-center.desktop";
    static constexpr std::string_view settingsURL = "file:///usr/share/applications/org.gnome.Settings.desktop";

    static constexpr WidgetKind kind = WidgetKind::shortcuts;
    ShortcutWidget();
    void setContext(WidgetContext context) { assignContext(context); }
    // Repairs stored links to entries that were renamed.
    void updateStatistics();
    static std::vector<URLOption> defaultURLs();
    Json encode() const;
    static ShortcutWidget decode(const Json& object);
    friend bool operator==(const ShortcutWidget&, const ShortcutWidget&) = default;

    std::vector<URLOption> urls;
    bool center = false;
};

class UptimeWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(UptimeWidget, uptime);
};

class NetworkServiceWidget : public WidgetModelBase {
public:
    TARNEL_PLAIN_WIDGET_MODEL(NetworkServiceWidget, networkService);
    bool detailed = true;
};

class NetworkInterfaceWidget : public WidgetModelBase {
public:
    static constexpr std::array<WidgetContext, 1> supportedContexts{WidgetContext::panel};
    TARNEL_PLAIN_WIDGET_MODEL(NetworkInterfaceWidget, networkInterface);
    bool detailed = true;
};

#undef TARNEL_PLAIN_WIDGET_MODEL

} // namespace tarnel::ui
