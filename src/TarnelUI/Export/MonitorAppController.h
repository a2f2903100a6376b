#pragma once

#include "QuendalFoundation/Runtime/Published.h"
#include "TarnelUI/Export/MonitorConfigurationExporter.h"
#include "TarnelUI/Export/MonitorLoginItem.h"
#include "TarnelUI/Export/MonitorPlatform.h"
#include "TarnelUI/Panel/PanelItem.h"

#include <asio/awaitable.hpp>

#include <filesystem>
#include <memory>
#include <optional>

namespace quendal {
class Preferences;
}

namespace tarnel::ui {

// Starts, stops and replaces the Monitor app, and keeps its configuration and login entry in
// step with the preferences. Runs on the main actor; its waits yield it, so the two flags are
// what keeps a second start or stop out while one is under way.
class MonitorAppController {
public:
    struct Dependencies {
        std::shared_ptr<MonitorAppsPlatform> platform;
        std::shared_ptr<MonitorSignals> signals;
        quendal::Preferences* preferences = nullptr;
        // Where this build's Monitor executable is.
        std::filesystem::path monitorExecutable;
        // The application's own executable; a transient updater copy launches nothing.
        std::filesystem::path mainExecutable;
        std::filesystem::path configurationDirectory;
        std::filesystem::path autostartDirectory;
        MonitorDeviceCapabilities capabilities;
    };

    explicit MonitorAppController(Dependencies dependencies);
    MonitorAppController(const MonitorAppController&) = delete;
    MonitorAppController& operator=(const MonitorAppController&) = delete;

    quendal::Published<bool> isMonitorRunning;
    quendal::Published<bool> isChangingMonitorRuntime;
    bool isLaunchingMonitor() const { return isLaunchingMonitor_; }

    asio::awaitable<void> startMonitor();
    asio::awaitable<void> stopMonitor();
    // Stores the choice, writes or removes the login entry, exports, then starts the Monitor.
    asio::awaitable<void> setRunAtLogin(bool value);
    // What the application does once after start: export what is stored, then start.
    asio::awaitable<void> synchronize();
    void refreshRunningState();

    // The first failing check is logged and answers false.
    bool isValidMonitorApp(const RunningMonitor& app, const std::filesystem::path& expectedURL,
                           const MonitorBundleInfo& expectedInfo);
    // The info of the file the app runs from, marked stale when it changed after the launch.
    std::optional<MonitorBundleInfo> runningInfo(const RunningMonitor& app);

private:
    void exportAndApplyLoginItem(bool runAtLogin);
    asio::awaitable<void> terminateInvalidCopies();
    bool hasValidCopy();
    void launch();
    bool isTransientInstallation();

    Dependencies dependencies_;
    MonitorConfigurationExporter exporter_;
    MonitorLoginItem loginItem_;
    bool isLaunchingMonitor_ = false;
};

} // namespace tarnel::ui
