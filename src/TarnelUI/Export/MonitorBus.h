#pragma once

namespace tarnel::ui::MonitorBus {

// The Monitor app owns this name on the session bus; a second copy finds it taken and exits.
inline constexpr const char* serviceName = "org.quendal.TarnelMonitor";
// The application's signals to the Monitor app go out on this path and interface.
inline constexpr const char* objectPath = "/org/quendal/TarnelMonitor";
inline constexpr const char* interfaceName = "org.quendal.TarnelMonitor";
inline constexpr const char* configurationChanged = "configurationChanged";
inline constexpr const char* quit = "quit";

} // namespace tarnel::ui::MonitorBus
