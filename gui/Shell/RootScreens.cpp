#include "Shell/RootScreens.h"

#include "Settings/SettingsPage.h"

namespace tarnel::gui {

QWidget* rootScreen(AppRoute route)
{
    switch (route) {
    case AppRoute::settings:
        return new SettingsPage;
    default:
        return nullptr;
    }
}

} // namespace tarnel::gui
