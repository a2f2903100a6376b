#include "TarnelUI/Panel/PanelItem.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelUI/Core/LocalizedText.h"
#include "TarnelUI/Panel/DefaultPanels.h"

namespace tarnel::ui {

std::string title(PanelItemKind kind)
{
    switch (kind) {
    case PanelItemKind::cpuGpu: return "CPU & GPU";
    case PanelItemKind::memory: return localized("panel_statistic_memory", "Memory");
    case PanelItemKind::storage: return localized("panel_title_option_storage", "Storage");
    case PanelItemKind::network: return localized("panel_title_option_network", "Network");
    case PanelItemKind::sensors: return localized("panel_title_option_sensors", "Sensors");
    case PanelItemKind::power: return "Power";
    case PanelItemKind::combined: return "Combined";
    case PanelItemKind::custom: return localized("panel_title_option_custom", "Custom");
    }
    return {};
}

PanelItem::PanelItem(UUID id, PanelItemKind kind, std::string customName, std::vector<WidgetPointer> panelWidgets,
                     std::vector<WidgetPointer> statusWidgets)
    : id_(id), kind_(kind), customName_(std::move(customName)),
      widgetStore_(std::move(panelWidgets), std::move(statusWidgets))
{
    forwarding_ = widgetStore_.changes().sink([this](bool) { notifier_.notifyChange(); });
}

PanelItem::PanelItem(const Json& object)
    : id_(json::requiredUUID(object, "id")),
      kind_(json::enumNamed<PanelItemKind>(json::required(object, "kind"), "kind", panelItemKindNames)),
      customName_(json::requiredString(object, "customName")), widgetStore_(json::required(object, "widgetStore"))
{
    forwarding_ = widgetStore_.changes().sink([this](bool) { notifier_.notifyChange(); });
}

std::shared_ptr<PanelItem> PanelItem::defaultItem(PanelItemKind kind, MonitorDeviceCapabilities capabilities)
{
    if (kind == PanelItemKind::combined) {
        quendal::AppLogger::warning("Warning: Should not attempt to get Combined default item! Use separate method.",
                                    quendal::AppLogger::monitor);
        return makeCombinedPanel({}, capabilities);
    }
    return makeDefaultPanel(kind, capabilities);
}

void PanelItem::setCustomName(std::string name)
{
    if (name == customName_)
        return;
    customName_ = std::move(name);
    notifier_.notifyChange();
}

std::string PanelItem::name() const
{
    return kind_ == PanelItemKind::custom ? customName_ : title(kind_);
}

std::vector<WidgetPointer> PanelItem::copies(const WidgetStore::WidgetList& list)
{
    std::vector<WidgetPointer> result;
    for (const auto& widget : list.items())
        result.push_back(widget->copy(false));
    return result;
}

std::shared_ptr<PanelItem> PanelItem::copy() const
{
    return std::make_shared<PanelItem>(id_, kind_, customName_, copies(widgetStore_.panelWidgets()),
                                       copies(widgetStore_.statusWidgets()));
}

Json PanelItem::encode() const
{
    return Json{{"id", id_.text()}, {"kind", ui::name(kind_)}, {"customName", customName_},
                {"widgetStore", widgetStore_.encode()}};
}

} // namespace tarnel::ui
