#pragma once

#include "TarnelUI/Export/MonitorAppController.h"

namespace tarnel {

// The application's one Monitor controller, over /proc and the session bus.
struct MonitorLink {
    static ui::MonitorAppController& shared();
};

} // namespace tarnel
