#include "Shell/RootScreens.h"

#include "Dashboard/DashboardCards.h"
#include "Settings/SettingsPage.h"

namespace tarnel::gui {

QWidget* rootScreen(AppRoute route)
{
    switch (route) {
    case AppRoute::settings:
        return new SettingsPage;
    case AppRoute::dashboard:
        return makeDashboardScreen(DashboardProvider::make());
    default:
        return nullptr;
    }
}

} // namespace tarnel::gui
