#pragma once

#include "TarnelUI/Panel/PanelItem.h"

#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace tarnel::ui {

// Why a panel name was refused: the alert's title and text.
struct PanelNameRefusal {
    std::string title;
    std::string message;
    friend bool operator==(const PanelNameRefusal&, const PanelNameRefusal&) = default;
};

// The panels of the Monitor in list order and which of them are enabled. Every change of the
// list, of a panel or of the enabled set reaches the store's observers.
class PanelStore {
public:
    using PanelList = ObservableArray<PanelPointer>;
    static constexpr std::size_t maximumNameLength = 20;

    // Every panel starts enabled.
    explicit PanelStore(std::vector<PanelPointer> panels);
    PanelStore(std::vector<PanelPointer> panels, std::set<UUID> enabledIds);
    // Reads {"panels": [...], "enabledIds": [...]}; throws ModelDecodingError.
    explicit PanelStore(const Json& object);
    PanelStore(const PanelStore&) = delete;
    PanelStore& operator=(const PanelStore&) = delete;

    static std::shared_ptr<PanelStore> makeDefault(MonitorDeviceCapabilities capabilities);

    const PanelList& panels() const { return panels_; }
    void setPanels(std::vector<PanelPointer> panels);
    const std::set<UUID>& enabledIds() const { return enabledIds_; }
    void setEnabledIds(std::set<UUID> ids);
    void setEnabled(const UUID& id, bool enabled);

    // The first Combined panel; every valid store has one.
    PanelPointer combinedPanel() const;
    bool isCombinedEnabled() const;
    // The panels in effect: the enabled ones in list order, or, while the Combined panel is
    // enabled, the Combined panel followed by the enabled panels it links to.
    std::vector<PanelPointer> activePanels() const;
    WidgetStatisticsSet activeStatistics() const;
    WidgetStatisticsSet allStatistics() const;
    PanelPointer panel(const UUID& id) const;
    // The panel that the widget `widgetID` links to, wherever that widget lives.
    PanelPointer linkedPanel(const UUID& widgetID) const;

    // A name is 1 to 20 characters long and no other panel bears it.
    std::optional<PanelNameRefusal> checkName(const std::string& name, const PanelItem* renaming) const;
    // Adds an enabled custom panel at the end of the list.
    std::variant<PanelPointer, PanelNameRefusal> createCustomPanel(const std::string& name);
    // Custom panels only; nothing changes when the name is refused or the panel is not custom.
    std::optional<PanelNameRefusal> renamePanel(const UUID& id, const std::string& name);
    // Removes a custom panel and its id from the enabled set; false for any other panel.
    bool deletePanel(const UUID& id);
    // Gives the panel the widgets of its kind's default and keeps its id; the Combined panel
    // links to the panels of the store as they are now.
    void resetPanel(const UUID& id, MonitorDeviceCapabilities capabilities);

    Json encode() const;
    quendal::Publisher<bool> changes() const { return notifier_.changes(); }

private:
    void observe();
    WidgetStatisticsSet statisticsOver(const std::vector<PanelPointer>& panels) const;

    PanelList panels_;
    std::set<UUID> enabledIds_;
    mutable PanelPointer combinedPanel_;
    ChangeNotifier notifier_;
    quendal::Cancellable forwarding_;
};

// "Do you want to delete <name>? This action cannot be reversed."
std::string deleteConfirmationText(const PanelItem& panel);
inline constexpr const char* resetConfirmationText =
    "Resetting this panel will reset all its widgets to default settings.";

} // namespace tarnel::ui
