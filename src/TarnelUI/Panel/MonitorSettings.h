#pragma once

#include "TarnelUI/Panel/PanelStore.h"
#include "TarnelUI/Panel/PanelStyle.h"

#include <cstdint>
#include <memory>

namespace tarnel::ui {

// The whole stored Monitor configuration: the panels and the look of panels and status items.
// A change of any part reaches its observers.
class MonitorSettings {
public:
    static constexpr std::int64_t currentVersion = 2;

    // A new configuration: the current version and the default panels for `capabilities`.
    explicit MonitorSettings(MonitorDeviceCapabilities capabilities = {});
    MonitorSettings(std::int64_t version, std::shared_ptr<PanelStore> panelStore, PanelStyle panelStyle,
                    StatusStyle statusStyle);
    MonitorSettings(const MonitorSettings&) = delete;
    MonitorSettings& operator=(const MonitorSettings&) = delete;

    // Throws ModelDecodingError when "version" is missing or no integer. Every other part
    // that fails takes its default: the panels those of a device with a battery.
    static std::shared_ptr<MonitorSettings> decode(const Json& document);

    std::int64_t version() const { return version_; }
    const std::shared_ptr<PanelStore>& panelStore() const { return panelStore_; }
    const PanelStyle& panelStyle() const { return panelStyle_; }
    void setPanelStyle(PanelStyle style);
    const StatusStyle& statusStyle() const { return statusStyle_; }
    void setStatusStyle(StatusStyle style);

    // A configuration older than version 2 gets the default panels for `capabilities`, all
    // enabled; then the version becomes `version`.
    void migrate(std::int64_t version, MonitorDeviceCapabilities capabilities);

    Json encode() const;
    quendal::Publisher<bool> changes() const { return notifier_.changes(); }

private:
    std::int64_t version_;
    std::shared_ptr<PanelStore> panelStore_;
    PanelStyle panelStyle_;
    StatusStyle statusStyle_;
    ChangeNotifier notifier_;
    quendal::Cancellable forwarding_;
};

} // namespace tarnel::ui
