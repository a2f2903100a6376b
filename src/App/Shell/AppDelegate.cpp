#include "App/Shell/AppDelegate.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <fmt/format.h>

namespace tarnel {

using quendal::AppLogger;

AppDelegate::AppDelegate(LaunchHost host, std::shared_ptr<AppCoordinator> coordinator)
    : host_(std::move(host)), coordinator_(std::move(coordinator))
{
}

std::string AppDelegate::launchRecord(const LaunchHost& host)
{
    auto text = [](const std::optional<std::string>& v) { return v.value_or("?"); };
    return fmt::format("Tarnel {} ({}) launched from {}; minimumSystem={}; os={}; launchedAtLogin={}", text(host.version),
                       text(host.build), host.executable.string(), text(host.minimumSystem), host.operatingSystem,
                       host.launchedAtLogin ? "true" : "false");
}

void AppDelegate::applicationWillFinishLaunching()
{
    if (host_.installMainMenu)
        host_.installMainMenu();
    if (host_.createThemeManager)
        host_.createThemeManager();
    AppLogger::info("Appearance Manager initialized");
}

void AppDelegate::applicationDidFinishLaunching()
{
    AppLogger::info(launchRecord(host_), AppLogger::lifecycle);
    if (host_.isOnDiskImage && host_.isOnDiskImage(host_.executable)) {
        AppLogger::warning("Tarnel launched from disk image; terminating before daemon setup.", AppLogger::lifecycle);
        if (host_.showCriticalAlert)
            host_.showCriticalAlert(localized("general_move_to_applications"),
                                    localized("general_move_to_applications_message"));
        terminatedAtLaunch_ = true;
        if (host_.terminate)
            host_.terminate();
        return;
    }
    startServices();
    coordinator_->start(host_.launchedAtLogin);
}

void AppDelegate::startServices()
{
    auto appearance = host_.createAppearanceManager;
    auto monitor = host_.createMonitorCoordinator;
    updateQueue_.async([appearance, monitor] {
        if (appearance)
            appearance();
        AppLogger::info("Appearance Manager initialized");
        if (monitor) {
            monitor();
            AppLogger::info("Monitor Coordinator initialized");
        }
    });
    AppLogger::info("Finished service setup", AppLogger::lifecycle);
}

} // namespace tarnel
