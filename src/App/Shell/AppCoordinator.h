#pragma once

#include "App/Shell/MainCoordinator.h"
#include "App/Shell/ShellServices.h"

#include "QuendalFoundation/Runtime/Cancellable.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <memory>
#include <optional>

namespace tarnel {

// The spine of the application after launch: starts the daemon manager, the wake observer
// and the main coordinator, shows the window, and runs the start-up tasks once the daemon
// is first connected. Main actor only.
class AppCoordinator : public std::enable_shared_from_this<AppCoordinator> {
public:
    AppCoordinator(ShellServices services, quendal::SheetCoordinator sheets);

    // The full start; a second call does nothing.
    void start(bool wasLaunchedAtLogin);
    asio::awaitable<void> runDaemonStartupTasks();
    void handleWake();
    void reopen(bool hasVisibleWindows);
    void applicationDidBecomeActive();

    bool started() const { return started_; }
    int startupTaskRuns() const { return startupTaskRuns_; }
    MainCoordinator& main() { return main_; }

private:
    void waitForConnectedDaemon();
    void runStartupTasksOnce();
    static asio::awaitable<void> refreshAfterWake(std::shared_ptr<DaemonManaging> manager, ShellServices services);

    ShellServices services_;
    MainCoordinator main_;
    bool started_ = false;
    bool startupTasksBegun_ = false;
    int startupTaskRuns_ = 0;
    std::optional<quendal::Cancellable> wakeObserver_;
    quendal::Cancellables cancellables_;
    std::vector<quendal::Task> tasks_;
};

} // namespace tarnel
