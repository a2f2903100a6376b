#include "Monitor/MonitorLink.h"

#include "App/Monitor/LinuxMonitorApps.h"
#include "Monitor/DBusMonitorSignals.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Export/MonitorLoginItem.h"

#include <filesystem>

namespace tarnel {

ui::MonitorAppController& MonitorLink::shared()
{
    static ui::MonitorAppController controller([] {
        ui::MonitorAppController::Dependencies dependencies;
        dependencies.platform = std::make_shared<LinuxMonitorApps>();
        dependencies.signals = std::make_shared<DBusMonitorSignals>();
        dependencies.preferences = &quendal::Preferences::shared();
        dependencies.monitorExecutable = LinuxMonitorApps::expectedExecutable();
        std::error_code error;
        dependencies.mainExecutable = std::filesystem::read_symlink("/proc/self/exe", error);
        dependencies.configurationDirectory = ui::MonitorConfigurationStore::directory();
        dependencies.autostartDirectory = ui::MonitorLoginItem::defaultDirectory();
        dependencies.capabilities = {std::filesystem::exists("/sys/class/power_supply/BAT0") ||
                                     std::filesystem::exists("/sys/class/power_supply/BAT1")};
        return dependencies;
    }());
    return controller;
}

} // namespace tarnel
