#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Kept free of the model's headers: Qt's moc reads the headers that include this one.
namespace tarnel::ui {
class BaseWidget;
class MonitorSettings;
enum class WidgetKind : std::uint8_t;
}

namespace tarnel::monitor {

// A widget as the Monitor app shows it until live values arrive: its title and the text for
// data it does not have.
struct ShownWidget {
    std::string title;
    ui::WidgetKind kind;
    friend bool operator==(const ShownWidget&, const ShownWidget&) = default;
};

// One status item and its panel.
struct ShownPanel {
    std::string id;
    std::string name;
    std::vector<ShownWidget> statusWidgets;
    std::vector<ShownWidget> panelWidgets;
};

inline constexpr const char* missingDataText = "Missing data";
inline constexpr const char* missingWidgetsText = "Missing Widgets";
inline constexpr const char* loadingText = "Loading Monitor...";

// The title a widget shows without data: a custom title, else its model's in the panel,
// else its kind's.
std::string resolvedTitle(const ui::BaseWidget& widget);
std::string fallbackTitle(ui::WidgetKind kind);

// The status items to show: the Combined panel alone while it is enabled, else every enabled
// panel in list order.
std::vector<ShownPanel> shownPanels(const ui::MonitorSettings& settings);

} // namespace tarnel::monitor
