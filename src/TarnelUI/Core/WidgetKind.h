#pragma once

#include "TarnelUI/Core/WidgetJson.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnel::ui {

// Where a widget lives: the status item or the panel.
enum class WidgetContext : std::uint8_t { status, panel };
inline constexpr std::array<std::string_view, 2> widgetContextNames{"status", "panel"};

enum class WidgetKind : std::uint8_t {
    cpuUsage,
    cpuCores,
    ramUsage,
    storageUsage,
    gpuUsage,
    processUsage,
    batteryUsage,
    temperatureSensor,
    fanSensor,
    shortcuts,
    uptime,
    networkService,
    networkInterface,
};
inline constexpr std::array<std::string_view, 13> widgetKindNames{
    "cpuUsage",     "cpuCores",  "ramUsage", "storageUsage",  "gpuUsage",       "processUsage",     "batteryUsage",
    "temperatureSensor", "fanSensor", "shortcuts", "uptime", "networkService", "networkInterface",
};

inline std::string_view name(WidgetContext context)
{
    return widgetContextNames[static_cast<std::size_t>(context)];
}
inline std::string_view name(WidgetKind kind)
{
    return widgetKindNames[static_cast<std::size_t>(kind)];
}
std::optional<WidgetKind> widgetKindNamed(std::string_view text);

// How a widget's title is shown.
struct WidgetTitleSettings {
    bool showTitle = true;
    std::string customTitle;
    bool customOverride = false;

    Json encode() const;
    // All three keys are required.
    static WidgetTitleSettings decode(const Json& value);
    friend bool operator==(const WidgetTitleSettings&, const WidgetTitleSettings&) = default;
};

} // namespace tarnel::ui
