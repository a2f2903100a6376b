#include "Shell/RootScreens.h"

#include "Benchmark/DiskBenchmarkScreen.h"
#include "Clean/CleanScreen.h"
#include "Cooling/CoolingCards.h"
#include "Dashboard/DashboardCards.h"
#include "Optimizer/OptimizerScreen.h"
#include "Power/PowerCards.h"
#include "Settings/SettingsScreen.h"

namespace tarnel::gui {

QWidget* rootScreen(AppRoute route)
{
    switch (route) {
    case AppRoute::settings:
        return makeSettingsScreen();
    case AppRoute::dashboard:
        return makeDashboardScreen(DashboardProvider::make());
    case AppRoute::clean:
        return makeCleanScreen();
    case AppRoute::storage:
        return makeDiskBenchmarkScreen();
    case AppRoute::cooling:
        return makeCoolingScreen(CoolingEntitiesProvider::make());
    case AppRoute::battery:
        return makePowerScreen(PowerEntitiesProvider::make());
    case AppRoute::optimizer:
        return makeOptimizerScreen();
    default:
        return nullptr;
    }
}

} // namespace tarnel::gui
