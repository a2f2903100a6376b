#pragma once

#include "TarnelUI/Core/WidgetStore.h"

#include <array>
#include <memory>
#include <string>

namespace tarnel::ui {

enum class PanelItemKind : std::uint8_t { cpuGpu, memory, storage, network, sensors, power, combined, custom };
inline constexpr std::array<std::string_view, 8> panelItemKindNames{"cpuGpu",  "memory", "storage",  "network",
                                                                    "sensors", "power",  "combined", "custom"};
inline std::string_view name(PanelItemKind kind)
{
    return panelItemKindNames[static_cast<std::size_t>(kind)];
}
std::string title(PanelItemKind kind);

// What the default panels depend on. Until the hardware inventory is known, a battery is assumed.
struct MonitorDeviceCapabilities {
    bool hasBattery = true;
    friend bool operator==(const MonitorDeviceCapabilities&, const MonitorDeviceCapabilities&) = default;
};

// A named group of widgets with its own status item. Changes of its name or of its widgets
// reach its observers.
class PanelItem {
public:
    PanelItem(UUID id, PanelItemKind kind, std::string customName, std::vector<WidgetPointer> panelWidgets,
              std::vector<WidgetPointer> statusWidgets);
    explicit PanelItem(const Json& object);
    PanelItem(const PanelItem&) = delete;
    PanelItem& operator=(const PanelItem&) = delete;

    // The default panel of `kind`. The Combined panel links to other panels, so its default
    // comes from makeCombinedPanel; asked here it logs a warning and links nothing.
    static std::shared_ptr<PanelItem> defaultItem(PanelItemKind kind, MonitorDeviceCapabilities capabilities);

    const UUID& id() const { return id_; }
    PanelItemKind kind() const { return kind_; }
    const std::string& customName() const { return customName_; }
    void setCustomName(std::string name);
    // The custom name of a custom panel, the kind's title otherwise.
    std::string name() const;
    WidgetStore& widgetStore() { return widgetStore_; }
    const WidgetStore& widgetStore() const { return widgetStore_; }

    // Same id, kind and name; its widgets are copies with the same ids.
    std::shared_ptr<PanelItem> copy() const;
    Json encode() const;
    quendal::Publisher<bool> changes() const { return notifier_.changes(); }

private:
    static std::vector<WidgetPointer> copies(const WidgetStore::WidgetList& list);

    UUID id_;
    PanelItemKind kind_;
    std::string customName_;
    WidgetStore widgetStore_;
    ChangeNotifier notifier_;
    quendal::Cancellable forwarding_;
};

using PanelPointer = std::shared_ptr<PanelItem>;

} // namespace tarnel::ui
