#pragma once

#include "TarnelUI/Export/MonitorPlatform.h"

namespace tarnel {

// Sends the Monitor app's signals on the session bus.
class DBusMonitorSignals final : public ui::MonitorSignals {
public:
    void post(ui::MonitorSignal signal) override;
};

} // namespace tarnel
