#include "MonitorModel.h"

#include "TarnelUI/Core/BaseWidget.h"
#include "TarnelUI/Core/LocalizedText.h"
#include "TarnelUI/Panel/MonitorSettings.h"

namespace tarnel::monitor {

using ui::WidgetKind;

std::string fallbackTitle(WidgetKind kind)
{
    switch (kind) {
    case WidgetKind::cpuUsage: return "CPU";
    case WidgetKind::cpuCores: return "CPU Cores";
    case WidgetKind::ramUsage: return "RAM";
    case WidgetKind::storageUsage: return "Storage";
    case WidgetKind::gpuUsage: return "GPU";
    case WidgetKind::processUsage: return "Process Usage";
    case WidgetKind::batteryUsage: return ui::localized("panel_title_option_battery", "Battery");
    case WidgetKind::temperatureSensor: return "Sensors";
    case WidgetKind::fanSensor: return "Fans";
    case WidgetKind::shortcuts: return "Shortcuts";
    case WidgetKind::uptime: return "Uptime";
    case WidgetKind::networkService: return "Network Services";
    case WidgetKind::networkInterface: return "Network Interfaces";
    }
    return "";
}

std::string resolvedTitle(const ui::BaseWidget& widget)
{
    if (widget.titleSettings().customOverride)
        return widget.titleSettings().customTitle;
    if (widget.context() == ui::WidgetContext::panel)
        if (auto title = widget.modelTitle())
            return *title;
    return fallbackTitle(widget.kind());
}

namespace {

std::vector<ShownWidget> shown(const ui::WidgetStore::WidgetList& list)
{
    std::vector<ShownWidget> widgets;
    for (const auto& widget : list.items())
        widgets.push_back({resolvedTitle(*widget), widget->kind()});
    return widgets;
}

} // namespace

std::vector<ShownPanel> shownPanels(const ui::MonitorSettings& settings)
{
    const auto& store = *settings.panelStore();
    std::vector<ShownPanel> panels;
    auto add = [&](const ui::PanelItem& panel) {
        panels.push_back({panel.id().text(), panel.name(), shown(panel.widgetStore().statusWidgets()),
                          shown(panel.widgetStore().panelWidgets())});
    };
    if (store.isCombinedEnabled()) {
        add(*store.combinedPanel());
        return panels;
    }
    for (const auto& panel : store.activePanels())
        add(*panel);
    return panels;
}

} // namespace tarnel::monitor
