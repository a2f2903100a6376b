#pragma once

#include "TarnelKit/Daemon/DaemonManaging.h"

#include "QuendalCore/Navigation/NavigationRouter.h"

#include "QuendalFoundation/Runtime/Cancellable.h"
#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/awaitable.hpp>

#include <functional>
#include <memory>

namespace tarnel {

// What the shell's coordinators use of the rest of the process. The application fills it
// with the real services; tests with fakes, so the start-up logic runs without a display.
struct ShellServices {
    std::shared_ptr<DaemonManaging> manager;
    // Launches the manager's start-up check without waiting for it.
    std::function<void()> startManager;
    // Observes the system's wake from sleep; the callback runs on the main actor.
    std::function<quendal::Cancellable(std::function<void()>)> observeWake;
    // Tells the statistics streams that the system woke.
    std::function<void()> reconnectStatistics;
    // Refreshes the hardware catalogue, the system inventory and the display catalogue, in that order.
    std::function<asio::awaitable<void>()> refreshCatalogues;
    // The preloader's three starts, in order.
    std::function<void()> startPreloading;
    // Removes files an older installation left behind; failures are the caller's to drop.
    std::function<asio::awaitable<void>()> uninstallLegacyFiles;
    // Brings the Monitor app in line with its stored configuration; absent until it exists.
    std::function<void()> syncMonitorApp;
    // Looks again whether the Monitor app runs; absent until it exists.
    std::function<void()> refreshMonitorAppRunning;
    std::function<void()> showMainWindow;
    // Makes the sheet of the daemon onboarding; `done` dequeues it.
    std::function<std::shared_ptr<quendal::SheetContent>(std::function<void()> done)> makeOnboardingSheet;
    std::shared_ptr<quendal::Clock> clock;
    quendal::Executor executor;
};

} // namespace tarnel
