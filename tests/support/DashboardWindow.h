#pragma once
// The main window on the Dashboard route, showing the Dashboard screen of one provider, as the
// screen tests and the Dashboard benchmark open it.
#include "Collection/CollectionScreen.h"
#include "Dashboard/DashboardCards.h"
#include "Shell/MainWindow.h"

#include "App/Dashboard/DashboardProvider.h"
#include "App/Shell/Router.h"

#include <memory>

namespace tarnel::testing {

struct DashboardWindow {
    DashboardWindow(std::shared_ptr<Router> router, std::shared_ptr<DashboardProvider> provider)
        : window(std::move(router), [this, provider](AppRoute route) -> QWidget* {
              if (route != AppRoute::dashboard)
                  return nullptr;
              screen = gui::makeDashboardScreen(provider);
              return screen;
          })
    {
        window.resize(1180, 900);
        window.show();
    }

    gui::CollectionScreen* screen = nullptr; // set when the route is first shown
    gui::MainWindow window;
};

} // namespace tarnel::testing
