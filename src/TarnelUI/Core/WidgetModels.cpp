#include "TarnelUI/Core/WidgetModels.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

namespace tarnel::ui {

namespace {

using WS = WidgetStatistic;

WidgetStatisticsSet only(std::initializer_list<WidgetStatistic> statistics)
{
    return WidgetStatisticsSet(std::set<WidgetStatistic>(statistics));
}

std::set<std::int64_t> firstIndexes(std::int64_t count)
{
    std::set<std::int64_t> indexes;
    for (std::int64_t i = 0; i < count; ++i)
        indexes.insert(i);
    return indexes;
}

} // namespace

Json WidgetModelBase::encodeCommon() const
{
    return Json{{"context", name(context_)}, {"statistics", json::encodeStatistics(statistics_)}};
}

void WidgetModelBase::decodeCommon(const Json& object)
{
    context_ = json::enumNamed<WidgetContext>(json::required(object, "context"), "context", widgetContextNames);
    statistics_ = json::decodeStatistics(json::required(object, "statistics"));
}

// ---- the kinds whose settings say nothing about their statistics ----

#define TARNEL_PLAIN_WIDGET_CODING(Name)                                                                              \
    Json Name::encode() const                                                                                        \
    {                                                                                                                \
        return encodeCommon();                                                                                       \
    }                                                                                                                \
    Name Name::decode(const Json& object)                                                                            \
    {                                                                                                                \
        Name model;                                                                                                  \
        model.decodeCommon(object);                                                                                  \
        return model;                                                                                                \
    }

CPUUsageWidget::CPUUsageWidget() : WidgetModelBase(only({WS::cpuUsage, WS::cpuUserUsage, WS::cpuSystemUsage})) {}
TARNEL_PLAIN_WIDGET_CODING(CPUUsageWidget)

GPUUsageWidget::GPUUsageWidget() : WidgetModelBase(only({WS::gpuUsage, WS::gpuMemoryUsage})) {}
TARNEL_PLAIN_WIDGET_CODING(GPUUsageWidget)

BatteryUsageWidget::BatteryUsageWidget()
    : WidgetModelBase(only({WS::batteryCharge, WS::batteryHealth, WS::batteryCycles}))
{
}
TARNEL_PLAIN_WIDGET_CODING(BatteryUsageWidget)

FanSensorWidget::FanSensorWidget() : WidgetModelBase(only({WS::fanSpeed})) {}
TARNEL_PLAIN_WIDGET_CODING(FanSensorWidget)

UptimeWidget::UptimeWidget()
    : WidgetModelBase(only({WS::sleepReason, WS::wakeReason, WS::uptime, WS::wakeTime, WS::sleepTime}))
{
}
TARNEL_PLAIN_WIDGET_CODING(UptimeWidget)

#undef TARNEL_PLAIN_WIDGET_CODING

CPUCoresWidget::CPUCoresWidget() : WidgetModelBase(only({WS::cpuCore})) {}

Json CPUCoresWidget::encode() const
{
    auto object = encodeCommon();
    object["showValue"] = showValue;
    return object;
}

CPUCoresWidget CPUCoresWidget::decode(const Json& object)
{
    CPUCoresWidget model;
    model.decodeCommon(object);
    model.showValue = json::requiredBool(object, "showValue");
    return model;
}

StorageUsageWidget::StorageUsageWidget() : WidgetModelBase(only({WS::storageUsage})) {}

Json StorageUsageWidget::encode() const
{
    auto object = encodeCommon();
    json::writeDefaulted(object, "compactStyle", compactStyle, false, compactStyle);
    json::writeDefaulted(object, "showVolumes", showVolumes, true, showVolumes);
    json::writeDefaulted(object, "showValue", showValue, true, showValue);
    return object;
}

StorageUsageWidget StorageUsageWidget::decode(const Json& object)
{
    StorageUsageWidget model;
    model.decodeCommon(object);
    model.compactStyle = json::readDefaulted(object, "compactStyle", false);
    model.showVolumes = json::readDefaulted(object, "showVolumes", true);
    model.showValue = json::readDefaulted(object, "showValue", true);
    return model;
}

NetworkServiceWidget::NetworkServiceWidget() : WidgetModelBase(only({WS::networkService})) {}

Json NetworkServiceWidget::encode() const
{
    auto object = encodeCommon();
    json::writeDefaulted(object, "detailed", detailed, true, detailed);
    return object;
}

NetworkServiceWidget NetworkServiceWidget::decode(const Json& object)
{
    NetworkServiceWidget model;
    model.decodeCommon(object);
    model.detailed = json::readDefaulted(object, "detailed", true);
    return model;
}

NetworkInterfaceWidget::NetworkInterfaceWidget() : WidgetModelBase(only({WS::networkInterface})) {}

Json NetworkInterfaceWidget::encode() const
{
    auto object = encodeCommon();
    json::writeDefaulted(object, "detailed", detailed, true, detailed);
    return object;
}

NetworkInterfaceWidget NetworkInterfaceWidget::decode(const Json& object)
{
    NetworkInterfaceWidget model;
    model.decodeCommon(object);
    model.detailed = json::readDefaulted(object, "detailed", true);
    return model;
}

// ---- memory ----

RAMUsageWidget::RAMUsageWidget() : WidgetModelBase({})
{
    updateStatistics();
}

void RAMUsageWidget::setDetailed(bool detailed)
{
    detailed_ = detailed;
    updateStatistics();
}

void RAMUsageWidget::setContext(WidgetContext context)
{
    assignContext(context);
    updateStatistics();
}

void RAMUsageWidget::updateStatistics()
{
    if (detailed_ && context() == WidgetContext::panel)
        setStatistics(only({WS::memoryPressure, WS::ramWired, WS::ramActive, WS::ramAvailable, WS::ramCompressed,
                            WS::memorySwapFile}));
    else
        setStatistics(only({WS::memoryPressure}));
}

Json RAMUsageWidget::encode() const
{
    auto object = encodeCommon();
    json::writeDefaulted(object, "detailed", detailed_, true, detailed_);
    return object;
}

RAMUsageWidget RAMUsageWidget::decode(const Json& object)
{
    RAMUsageWidget model;
    model.decodeCommon(object);
    model.detailed_ = json::readDefaulted(object, "detailed", true);
    return model;
}

// ---- processes ----

ProcessUsageWidget::ProcessUsageWidget() : WidgetModelBase({})
{
    updateStatistics();
}

WidgetStatistic ProcessUsageWidget::statistic(Kind kind)
{
    return static_cast<WidgetStatistic>(static_cast<int>(WS::processCPUUsage) + static_cast<int>(kind));
}

std::string_view ProcessUsageWidget::displayName(Kind kind)
{
    static constexpr std::array<std::string_view, 4> names{"CPU Usage", "RAM Usage", "Real RAM Usage", "Energy Impact"};
    return names[static_cast<std::size_t>(kind)];
}

void ProcessUsageWidget::demandIndexes(std::int64_t count)
{
    WidgetStatisticsSet set;
    set.entries[statistic(processKind_)] = firstIndexes(count);
    setStatistics(std::move(set));
}

void ProcessUsageWidget::setProcessKind(Kind kind)
{
    processKind_ = kind;
    demandIndexes(context() == WidgetContext::status ? 1 : count_);
}

void ProcessUsageWidget::setCount(std::int64_t count)
{
    count_ = std::max<std::int64_t>(count, 1);
    demandIndexes(context() == WidgetContext::status ? 1 : count_);
}

void ProcessUsageWidget::setContext(WidgetContext context)
{
    assignContext(context);
    demandIndexes(context == WidgetContext::panel ? 10 : 1);
}

void ProcessUsageWidget::updateStatistics()
{
    demandIndexes(count_);
}

std::optional<std::string> ProcessUsageWidget::title() const
{
    static constexpr std::array<std::string_view, 4> titles{"CPU Usage", "Memory Usage", "Real Memory Usage",
                                                            "Energy Impact"};
    return std::string(titles[static_cast<std::size_t>(processKind_)]);
}

std::optional<std::string> ProcessUsageWidget::symbolName() const
{
    switch (processKind_) {
    case Kind::cpu: return "squareshape.dashed.squareshape";
    case Kind::ram:
    case Kind::realRam: return "memorychip";
    case Kind::energy: return "bolt";
    }
    return std::nullopt;
}

Json ProcessUsageWidget::encode() const
{
    auto object = encodeCommon();
    json::writeDefaulted(object, "kind", processKind_, Kind::cpu, kindNames[static_cast<std::size_t>(processKind_)]);
    json::writeDefaulted(object, "count", count_, defaultCount, count_);
    return object;
}

ProcessUsageWidget ProcessUsageWidget::decode(const Json& object)
{
    ProcessUsageWidget model;
    model.decodeCommon(object);
    model.processKind_ = json::defaultedEnum<Kind>(object, "kind", kindNames, Kind::cpu);
    model.count_ = json::readDefaulted(object, "count", defaultCount);
    if (model.count_ < 1)
        throw ModelDecodingError("\"count\" must be at least 1");
    return model;
}

// ---- temperature sensors ----

TemperatureSensorWidget::TemperatureSensorWidget() : WidgetModelBase({})
{
    updateStatistics();
}

TemperatureSensorWidget::TemperatureSensorWidget(WidgetSensorGroup group, bool filter, TrackingType trackingType)
    : WidgetModelBase({}), group_(group), filter_(filter), trackingType_(trackingType)
{
    updateStatistics();
}

void TemperatureSensorWidget::setGroup(WidgetSensorGroup group)
{
    group_ = group;
    updateStatistics();
}

void TemperatureSensorWidget::setFilter(bool filter)
{
    filter_ = filter;
    updateStatistics();
}

void TemperatureSensorWidget::setTrackingType(TrackingType trackingType)
{
    trackingType_ = trackingType;
    updateStatistics();
}

void TemperatureSensorWidget::setContext(WidgetContext context)
{
    assignContext(context);
    if (context == WidgetContext::status) {
        trackingType_ = TrackingType::group;
        filter_ = true;
        updateStatistics();
    }
}

void TemperatureSensorWidget::updateStatistics()
{
    WidgetStatisticsSet set;
    auto add = [&](WidgetSensorGroup group) {
        set.entries[trackingType_ == TrackingType::individual ? individualStatistic(group) : groupStatistic(group)];
    };
    if (filter_)
        add(group_);
    else
        for (auto group : allWidgetSensorGroups)
            add(group);
    setStatistics(std::move(set));
}

std::optional<std::string> TemperatureSensorWidget::title() const
{
    if (!filter_)
        return context() == WidgetContext::panel ? "Sensors" : "SEN";
    auto sensor = individualStatistic(group_);
    if (context() == WidgetContext::panel)
        return displayTitle(sensor);
    if (auto tag = tarnel::statusTitle(sensor))
        return std::string(*tag);
    return std::nullopt;
}

Json TemperatureSensorWidget::encode() const
{
    auto object = encodeCommon();
    json::writeDefaulted(object, "group", group_, WidgetSensorGroup::cpu, name(group_));
    json::writeDefaulted(object, "filter", filter_, false, filter_);
    json::writeDefaulted(object, "trackingType", trackingType_, TrackingType::group,
                         trackingTypeNames[static_cast<std::size_t>(trackingType_)]);
    return object;
}

TemperatureSensorWidget TemperatureSensorWidget::decode(const Json& object)
{
    TemperatureSensorWidget model;
    model.decodeCommon(object);
    if (auto found = object.find("group"); found != object.end() && !found->is_null()) {
        auto group = found->is_string() ? sensorGroupNamed(found->get<std::string>()) : std::nullopt;
        if (!group)
            throw ModelDecodingError("\"group\" is not a sensor group");
        model.group_ = *group;
    }
    model.filter_ = json::readDefaulted(object, "filter", false);
    model.trackingType_ = json::defaultedEnum<TrackingType>(object, "trackingType", trackingTypeNames, TrackingType::group);
    return model;
}

// ---- shortcuts ----

ShortcutWidget::ShortcutWidget() : WidgetModelBase({}), urls(defaultURLs()) {}

std::vector<ShortcutWidget::URLOption> ShortcutWidget::defaultURLs()
{
    const std::string applications = "file:///usr/share/applications/";
    return {
        {UUID::random(), applications + MonitorAppIdentity::mainApplication() + ".desktop"},
        {UUID::random(), applications + "org.gnome.SystemMonitor.desktop"},
        {UUID::random(), applications + "org.gnome.Logs.desktop"},
        {UUID::random(), applications + "org.gnome.Terminal.desktop"},
        {UUID::random(), applications + "org.kde.kinfocenter.desktop"},
        {UUID::random(), std::string(settingsURL)},
    };
}

void ShortcutWidget::updateStatistics()
{
    for (auto& option : urls) {
        std::string_view rest = option.url;
        bool retired = false;
        while (!rest.empty()) {
            auto slash = rest.find('/');
            if (rest.substr(0, slash) == retiredSettingsEntry)
                retired = true;
            rest = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash + 1);
        }
        if (retired)
            option.url = settingsURL;
    }
}

Json ShortcutWidget::encode() const
{
    auto object = encodeCommon();
    auto list = Json::array();
    for (const auto& option : urls)
        list.push_back(Json{{"id", option.id.text()}, {"url", option.url}});
    object["urls"] = std::move(list);
    object["center"] = center;
    return object;
}

ShortcutWidget ShortcutWidget::decode(const Json& object)
{
    ShortcutWidget model;
    model.decodeCommon(object);
    const auto& list = json::required(object, "urls");
    if (!list.is_array())
        throw ModelDecodingError("\"urls\" is not an array");
    model.urls.clear();
    for (const auto& entry : list) {
        URLOption option{json::requiredUUID(entry, "id"), json::requiredString(entry, "url")};
        if (!option.url.starts_with("file://"))
            throw ModelDecodingError("\"" + option.url + "\" is not a file URL");
        model.urls.push_back(std::move(option));
    }
    model.center = json::requiredBool(object, "center");
    return model;
}

} // namespace tarnel::ui
