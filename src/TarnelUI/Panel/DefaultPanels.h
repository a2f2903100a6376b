#pragma once

#include "TarnelUI/Panel/PanelItem.h"

#include <vector>

namespace tarnel::ui {

// The default panel of one kind other than Combined; a custom panel is empty.
PanelPointer makeDefaultPanel(PanelItemKind kind, MonitorDeviceCapabilities capabilities);
// The Combined panel over `panels`: each of its widgets links to the panel of its kind, the
// later one when a kind occurs twice, and to nothing when the kind is absent.
PanelPointer makeCombinedPanel(const std::vector<PanelPointer>& panels, MonitorDeviceCapabilities capabilities);
// Combined, CPU & GPU, Memory, Storage, Sensors, Network, Power.
std::vector<PanelPointer> makeDefaultPanels(MonitorDeviceCapabilities capabilities);

} // namespace tarnel::ui
