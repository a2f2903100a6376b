#include "TarnelUI/Core/AnyWidget.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelUI/Core/MonitorWidget.h"

namespace tarnel::ui {

namespace {

template <class F>
auto withModelType(WidgetKind kind, F&& f)
{
    switch (kind) {
    case WidgetKind::cpuUsage: return f(CPUUsageWidget{});
    case WidgetKind::cpuCores: return f(CPUCoresWidget{});
    case WidgetKind::ramUsage: return f(RAMUsageWidget{});
    case WidgetKind::storageUsage: return f(StorageUsageWidget{});
    case WidgetKind::gpuUsage: return f(GPUUsageWidget{});
    case WidgetKind::processUsage: return f(ProcessUsageWidget{});
    case WidgetKind::batteryUsage: return f(BatteryUsageWidget{});
    case WidgetKind::temperatureSensor: return f(TemperatureSensorWidget{});
    case WidgetKind::fanSensor: return f(FanSensorWidget{});
    case WidgetKind::shortcuts: return f(ShortcutWidget{});
    case WidgetKind::uptime: return f(UptimeWidget{});
    case WidgetKind::networkService: return f(NetworkServiceWidget{});
    case WidgetKind::networkInterface: return f(NetworkInterfaceWidget{});
    }
    throw UnknownWidgetKindError("no such widget kind");
}

// What the log calls an element it could not read: its id if it has one, else its kind.
std::string elementName(const Json& element)
{
    if (element.is_object()) {
        auto widget = element.find("widget");
        if (widget != element.end() && widget->is_object()) {
            auto id = widget->find("id");
            if (id != widget->end() && id->is_string())
                return id->get<std::string>();
        }
        auto kind = element.find("kind");
        if (kind != element.end())
            return kind->dump();
    }
    return element.dump();
}

} // namespace

static WidgetPointer replacement(WidgetKind kind, const std::exception& failure)
{
    quendal::AppLogger::error("Unable to decode widget " + std::string(name(kind)) + ": " + failure.what() + ".",
                              quendal::AppLogger::monitor);
    return makeNewWidget(kind);
}

void logForeignReset(const BaseWidget& self, const BaseWidget& other)
{
    quendal::AppLogger::error("Error: Unable to reset " + std::string(name(self.kind())) + " " + self.id().text() + " to "
                                  + std::string(name(other.kind())) + " " + other.id().text(),
                              quendal::AppLogger::monitor);
}

WidgetPointer makeNewWidget(WidgetKind kind)
{
    return withModelType(kind, [](auto model) -> WidgetPointer {
        return MonitorWidget<decltype(model)>::make(std::move(model));
    });
}

Json AnyWidget::encode() const
{
    return Json{{"kind", name(widget->kind())}, {"widget", widget->encode()}};
}

AnyWidget AnyWidget::decode(const Json& element)
{
    std::optional<WidgetKind> kind;
    if (element.is_object())
        if (auto found = element.find("kind"); found != element.end() && found->is_string())
            kind = widgetKindNamed(found->get<std::string>());
    if (!kind)
        throw UnknownWidgetKindError("Unable to decode widget " + elementName(element));
    try {
        const auto& nested = json::required(element, "widget");
        return {withModelType(*kind, [&](auto model) -> WidgetPointer {
            return MonitorWidget<decltype(model)>::decode(nested);
        })};
    } catch (const ModelDecodingError& failure) {
        return {replacement(*kind, failure)};
    } catch (const Json::exception& failure) {
        return {replacement(*kind, failure)};
    }
}

} // namespace tarnel::ui
