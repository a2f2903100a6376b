#include "TarnelUI/Panel/PanelStore.h"

#include "TarnelUI/Panel/DefaultPanels.h"

#include <algorithm>

namespace tarnel::ui {

namespace {

constexpr const char* nameRule = "Panel names must be unique and contain 1-20 characters.";

// Characters, not bytes: a name in any script gets the same 20.
std::size_t characterCount(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace

PanelStore::PanelStore(std::vector<PanelPointer> panels)
{
    for (const auto& item : panels)
        enabledIds_.insert(item->id());
    panels_.setItems(std::move(panels));
    observe();
}

PanelStore::PanelStore(std::vector<PanelPointer> panels, std::set<UUID> enabledIds) : enabledIds_(std::move(enabledIds))
{
    panels_.setItems(std::move(panels));
    observe();
}

PanelStore::PanelStore(const Json& object)
{
    const auto& panels = json::required(object, "panels");
    const auto& enabled = json::required(object, "enabledIds");
    if (!panels.is_array() || !enabled.is_array())
        throw ModelDecodingError("\"panels\" and \"enabledIds\" must be arrays");
    std::vector<PanelPointer> items;
    for (const auto& element : panels)
        items.push_back(std::make_shared<PanelItem>(element));
    for (const auto& id : enabled)
        enabledIds_.insert(json::toUUID(id, "enabledIds"));
    panels_.setItems(std::move(items));
    observe();
}

std::shared_ptr<PanelStore> PanelStore::makeDefault(MonitorDeviceCapabilities capabilities)
{
    return std::make_shared<PanelStore>(makeDefaultPanels(capabilities));
}

void PanelStore::observe()
{
    forwarding_ = panels_.changes().dropFirst().sink([this](std::uint64_t) { notifier_.notifyChange(); });
}

void PanelStore::setPanels(std::vector<PanelPointer> panels)
{
    combinedPanel_.reset();
    panels_.setItems(std::move(panels));
}

void PanelStore::setEnabledIds(std::set<UUID> ids)
{
    if (ids == enabledIds_)
        return;
    enabledIds_ = std::move(ids);
    notifier_.notifyChange();
}

void PanelStore::setEnabled(const UUID& id, bool enabled)
{
    auto ids = enabledIds_;
    if (enabled)
        ids.insert(id);
    else
        ids.erase(id);
    setEnabledIds(std::move(ids));
}

PanelPointer PanelStore::combinedPanel() const
{
    if (!combinedPanel_) {
        const auto& items = panels_.items();
        auto found = std::find_if(items.begin(), items.end(),
                                  [](const PanelPointer& item) { return item->kind() == PanelItemKind::combined; });
        if (found != items.end())
            combinedPanel_ = *found;
    }
    return combinedPanel_;
}

bool PanelStore::isCombinedEnabled() const
{
    auto combined = combinedPanel();
    return combined && enabledIds_.contains(combined->id());
}

std::vector<PanelPointer> PanelStore::activePanels() const
{
    std::vector<PanelPointer> active;
    if (!isCombinedEnabled()) {
        for (const auto& item : panels_.items())
            if (enabledIds_.contains(item->id()))
                active.push_back(item);
        return active;
    }
    auto combined = combinedPanel();
    auto linked = combined->widgetStore().linkedPanels();
    active.push_back(combined);
    for (const auto& item : panels_.items())
        if (item != combined && enabledIds_.contains(item->id()) && linked.contains(item->id()))
            active.push_back(item);
    return active;
}

WidgetStatisticsSet PanelStore::statisticsOver(const std::vector<PanelPointer>& panels) const
{
    WidgetStatisticsSet result;
    for (const auto& item : panels) {
        mergeStatistics(result, item->widgetStore().statistics(WidgetContext::panel));
        mergeStatistics(result, item->widgetStore().statistics(WidgetContext::status));
    }
    return result;
}

WidgetStatisticsSet PanelStore::activeStatistics() const
{
    return statisticsOver(activePanels());
}

WidgetStatisticsSet PanelStore::allStatistics() const
{
    return statisticsOver(panels_.items());
}

PanelPointer PanelStore::panel(const UUID& id) const
{
    for (const auto& item : panels_.items())
        if (item->id() == id)
            return item;
    return nullptr;
}

PanelPointer PanelStore::linkedPanel(const UUID& widgetID) const
{
    for (const auto& item : panels_.items()) {
        auto widgets = item->widgetStore().allWidgets();
        if (auto found = widgets.find(widgetID); found != widgets.end())
            return found->second->linkedPanel() ? panel(*found->second->linkedPanel()) : nullptr;
    }
    return nullptr;
}

std::optional<PanelNameRefusal> PanelStore::checkName(const std::string& name, const PanelItem* renaming) const
{
    auto length = characterCount(name);
    bool taken = std::any_of(panels_.items().begin(), panels_.items().end(), [&](const PanelPointer& item) {
        return item.get() != renaming && item->name() == name;
    });
    if (length >= 1 && length <= maximumNameLength && !taken)
        return std::nullopt;
    return PanelNameRefusal{renaming ? "Unable to rename panel" : "Unable to create panel", nameRule};
}

std::variant<PanelPointer, PanelNameRefusal> PanelStore::createCustomPanel(const std::string& name)
{
    if (auto refusal = checkName(name, nullptr))
        return *refusal;
    auto created = std::make_shared<PanelItem>(UUID::random(), PanelItemKind::custom, name, std::vector<WidgetPointer>{},
                                               std::vector<WidgetPointer>{});
    enabledIds_.insert(created->id());
    auto items = panels_.items();
    items.push_back(created);
    panels_.setItems(std::move(items));
    return created;
}

std::optional<PanelNameRefusal> PanelStore::renamePanel(const UUID& id, const std::string& name)
{
    auto item = panel(id);
    if (!item || item->kind() != PanelItemKind::custom)
        return PanelNameRefusal{"Unable to rename panel", nameRule};
    if (auto refusal = checkName(name, item.get()))
        return refusal;
    item->setCustomName(name);
    return std::nullopt;
}

bool PanelStore::deletePanel(const UUID& id)
{
    auto item = panel(id);
    if (!item || item->kind() != PanelItemKind::custom)
        return false;
    auto items = panels_.items();
    std::erase(items, item);
    enabledIds_.erase(id);
    panels_.setItems(std::move(items));
    return true;
}

void PanelStore::resetPanel(const UUID& id, MonitorDeviceCapabilities capabilities)
{
    auto item = panel(id);
    if (!item)
        return;
    auto fresh = item->kind() == PanelItemKind::combined ? makeCombinedPanel(panels_.items(), capabilities)
                                                          : makeDefaultPanel(item->kind(), capabilities);
    item->widgetStore().apply(fresh->widgetStore());
}

Json PanelStore::encode() const
{
    auto panels = Json::array();
    for (const auto& item : panels_.items())
        panels.push_back(item->encode());
    auto enabled = Json::array();
    for (const auto& id : enabledIds_)
        enabled.push_back(id.text());
    return Json{{"panels", std::move(panels)}, {"enabledIds", std::move(enabled)}};
}

std::string deleteConfirmationText(const PanelItem& panel)
{
    return "Do you want to delete " + panel.name() + "? This action cannot be reversed.";
}

} // namespace tarnel::ui
