#include "Shell/RootScreens.h"

#include "Benchmark/DiskBenchmarkScreen.h"
#include "Dashboard/DashboardCards.h"
#include "Optimizer/OptimizerScreen.h"
#include "Settings/SettingsScreen.h"

namespace tarnel::gui {

QWidget* rootScreen(AppRoute route)
{
    switch (route) {
    case AppRoute::settings:
        return makeSettingsScreen();
    case AppRoute::dashboard:
        return makeDashboardScreen(DashboardProvider::make());
    case AppRoute::storage:
        return makeDiskBenchmarkScreen();
    case AppRoute::optimizer:
        return makeOptimizerScreen();
    default:
        return nullptr;
    }
}

} // namespace tarnel::gui
