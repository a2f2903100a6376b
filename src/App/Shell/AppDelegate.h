#pragma once

#include "App/Shell/AppCoordinator.h"

#include "QuendalFoundation/Runtime/SerialQueue.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

// What the process entry knows of itself and what it asks of the toolkit.
struct LaunchHost {
    std::filesystem::path executable;
    std::optional<std::string> version;
    std::optional<std::string> build;
    std::optional<std::string> minimumSystem;
    std::string operatingSystem;
    // Started by the session's autostart entry rather than by the user.
    bool launchedAtLogin = false;
    std::function<void()> installMainMenu;
    std::function<void()> createThemeManager;
    // Shows a modal alert of critical style and returns when it was closed.
    std::function<void(const std::string& message, const std::string& informative)> showCriticalAlert;
    std::function<void()> terminate;
    std::function<bool(const std::filesystem::path&)> isOnDiskImage;
    // Made on the start-up queue; must be safe off the main thread.
    std::function<void()> createAppearanceManager;
    std::function<void()> createMonitorCoordinator;
};

// The first own code the toolkit calls; each operation is a plain function of its inputs.
class AppDelegate {
public:
    AppDelegate(LaunchHost host, std::shared_ptr<AppCoordinator> coordinator);

    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching();
    void applicationDidBecomeActive() { coordinator_->applicationDidBecomeActive(); }
    bool applicationShouldHandleReopen(bool hasVisibleWindows)
    {
        coordinator_->reopen(hasVisibleWindows);
        return true;
    }
    void startServices();

    // "Tarnel <version> (<build>) launched from <path>; ..."
    static std::string launchRecord(const LaunchHost& host);
    bool terminatedAtLaunch() const { return terminatedAtLaunch_; }
    quendal::SerialQueue& updateQueue() { return updateQueue_; }

private:
    LaunchHost host_;
    std::shared_ptr<AppCoordinator> coordinator_;
    quendal::SerialQueue updateQueue_{"Startup Procedure"};
    bool terminatedAtLaunch_ = false;
};

} // namespace tarnel
