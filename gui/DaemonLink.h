#pragma once

#include <memory>

namespace tarnel {
class DaemonManager;
}

namespace tarnel::gui {

// Makes the process's daemon link at launch: the registry of this machine, the shared
// DaemonClient and StatsClient for its endpoints, and the DaemonManager, whose start-up check
// registers (in a session: starts) the daemon.
std::shared_ptr<DaemonManager> startDaemonLink();

} // namespace tarnel::gui
