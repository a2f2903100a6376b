#include "TarnelUI/Panel/DefaultPanels.h"

#include "TarnelUI/Core/MonitorWidget.h"

#include <map>

namespace tarnel::ui {

namespace {

using Tracking = TemperatureSensorWidget::TrackingType;

template <class Model>
WidgetPointer widget(Model model = {}, std::optional<UUID> link = std::nullopt)
{
    return std::make_shared<MonitorWidget<Model>>(std::move(model), UUID::random(), WidgetTitleSettings{}, link);
}

WidgetPointer process(ProcessUsageWidget::Kind kind)
{
    ProcessUsageWidget model;
    model.setProcessKind(kind);
    return widget(model);
}

WidgetPointer untitledShortcuts()
{
    WidgetTitleSettings title;
    title.showTitle = false;
    return MonitorWidget<ShortcutWidget>::make({}, title);
}

TemperatureSensorWidget cpuSensors(bool filter)
{
    return TemperatureSensorWidget(WidgetSensorGroup::cpu, filter, Tracking::group);
}

RAMUsageWidget ram(bool detailed)
{
    RAMUsageWidget model;
    model.setDetailed(detailed);
    return model;
}

StorageUsageWidget storageWithoutVolumes()
{
    StorageUsageWidget model;
    model.showVolumes = false;
    return model;
}

NetworkServiceWidget briefNetwork()
{
    NetworkServiceWidget model;
    model.detailed = false;
    return model;
}

PanelPointer panel(PanelItemKind kind, std::vector<WidgetPointer> panelWidgets, std::vector<WidgetPointer> statusWidgets)
{
    return std::make_shared<PanelItem>(UUID::random(), kind, std::string{}, std::move(panelWidgets),
                                       std::move(statusWidgets));
}

} // namespace

PanelPointer makeDefaultPanel(PanelItemKind kind, MonitorDeviceCapabilities capabilities)
{
    using PK = ProcessUsageWidget::Kind;
    switch (kind) {
    case PanelItemKind::cpuGpu:
        return panel(kind,
                     {widget<CPUUsageWidget>(), widget<CPUCoresWidget>(), process(PK::cpu), widget<GPUUsageWidget>()},
                     {process(PK::cpu), widget<CPUUsageWidget>(), widget<GPUUsageWidget>()});
    case PanelItemKind::memory:
        return panel(kind, {widget<RAMUsageWidget>(), process(PK::ram), untitledShortcuts()}, {widget<RAMUsageWidget>()});
    case PanelItemKind::storage:
        return panel(kind, {widget<StorageUsageWidget>()}, {widget<StorageUsageWidget>()});
    case PanelItemKind::network:
        return panel(kind, {widget<NetworkServiceWidget>(), widget<NetworkInterfaceWidget>()},
                     {widget<NetworkServiceWidget>()});
    case PanelItemKind::sensors:
        return panel(kind, {widget<FanSensorWidget>(), widget(cpuSensors(false))}, {widget(cpuSensors(true))});
    case PanelItemKind::power:
        if (capabilities.hasBattery)
            return panel(kind, {widget<BatteryUsageWidget>(), process(PK::energy), widget<UptimeWidget>()},
                         {widget<BatteryUsageWidget>()});
        return panel(kind, {process(PK::energy), widget<UptimeWidget>()}, {process(PK::energy)});
    case PanelItemKind::combined:
        return makeCombinedPanel({}, capabilities);
    case PanelItemKind::custom:
        return panel(kind, {}, {});
    }
    return panel(PanelItemKind::custom, {}, {});
}

PanelPointer makeCombinedPanel(const std::vector<PanelPointer>& panels, MonitorDeviceCapabilities capabilities)
{
    std::map<PanelItemKind, UUID> byKind;
    for (const auto& item : panels)
        byKind[item->kind()] = item->id();
    auto link = [&byKind](PanelItemKind kind) -> std::optional<UUID> {
        auto found = byKind.find(kind);
        return found == byKind.end() ? std::nullopt : std::optional(found->second);
    };
    using K = PanelItemKind;

    std::vector<WidgetPointer> panelWidgets{
        widget(CPUUsageWidget{}, link(K::cpuGpu)),     widget(ram(false), link(K::memory)),
        widget(GPUUsageWidget{}, link(K::cpuGpu)),     widget(storageWithoutVolumes(), link(K::storage)),
        widget(briefNetwork(), link(K::network)),      widget(FanSensorWidget{}, link(K::sensors)),
        widget(cpuSensors(true), link(K::sensors)),
    };
    if (capabilities.hasBattery)
        panelWidgets.push_back(widget(BatteryUsageWidget{}, link(K::power)));
    panelWidgets.push_back(untitledShortcuts());

    std::vector<WidgetPointer> statusWidgets{
        widget(CPUUsageWidget{}, link(K::cpuGpu)),
        widget(ram(true), link(K::memory)),
        widget(storageWithoutVolumes(), link(K::storage)),
        widget(cpuSensors(true), link(K::sensors)),
    };
    return panel(K::combined, std::move(panelWidgets), std::move(statusWidgets));
}

std::vector<PanelPointer> makeDefaultPanels(MonitorDeviceCapabilities capabilities)
{
    std::vector<PanelPointer> six;
    for (auto kind : {PanelItemKind::cpuGpu, PanelItemKind::memory, PanelItemKind::storage, PanelItemKind::sensors,
                      PanelItemKind::network, PanelItemKind::power})
        six.push_back(makeDefaultPanel(kind, capabilities)->copy());
    std::vector<PanelPointer> all{makeCombinedPanel(six, capabilities)};
    all.insert(all.end(), six.begin(), six.end());
    return all;
}

} // namespace tarnel::ui
