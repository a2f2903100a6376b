#include "App/Shell/AppCoordinator.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <fmt/format.h>

namespace tarnel {

using quendal::AppLogger;

AppCoordinator::AppCoordinator(ShellServices services, quendal::SheetCoordinator sheets)
    : services_(services), main_(std::move(services), std::move(sheets))
{
}

void AppCoordinator::start(bool wasLaunchedAtLogin)
{
    if (started_)
        return;
    if (services_.startManager)
        services_.startManager();
    if (!wakeObserver_ && services_.observeWake) {
        std::weak_ptr<AppCoordinator> weak = weak_from_this();
        wakeObserver_ = services_.observeWake([weak] {
            if (auto self = weak.lock())
                self->handleWake();
        });
    }
    main_.start();
    // Launched at login, the window waits for a reopen.
    if (!wasLaunchedAtLogin && services_.showMainWindow)
        services_.showMainWindow();
    if (services_.syncMonitorApp)
        services_.syncMonitorApp();
    waitForConnectedDaemon();
    started_ = true;
}

void AppCoordinator::waitForConnectedDaemon()
{
    if (services_.manager->currentStatus() == DaemonStatus::connected) {
        runStartupTasksOnce();
        return;
    }
    std::weak_ptr<AppCoordinator> weak = weak_from_this();
    services_.manager->statusPublisher()
        .sink([weak](const DaemonStatus& status) {
            if (auto self = weak.lock(); self && status == DaemonStatus::connected)
                self->runStartupTasksOnce();
        })
        .store(cancellables_);
}

void AppCoordinator::runStartupTasksOnce()
{
    // Once per process: a later reconnection does not run them again.
    if (startupTasksBegun_)
        return;
    startupTasksBegun_ = true;
    tasks_.push_back(quendal::spawn(services_.executor, runDaemonStartupTasks()));
}

asio::awaitable<void> AppCoordinator::runDaemonStartupTasks()
{
    ++startupTaskRuns_;
    if (services_.startPreloading)
        services_.startPreloading();
    AppLogger::debug("Daemon connected — uninstalling legacy files (if needed)");
    if (services_.uninstallLegacyFiles) {
        try {
            auto uninstall = services_.uninstallLegacyFiles();
            co_await std::move(uninstall);
        } catch (...) {
            // Nothing depends on it, and the user can do nothing about it.
        }
    }
}

void AppCoordinator::handleWake()
{
    AppLogger::info("Wake detected; reconnecting app stats clients.", AppLogger::lifecycle);
    if (services_.reconnectStatistics)
        services_.reconnectStatistics();
    tasks_.push_back(quendal::spawn(services_.executor, refreshAfterWake(services_.manager, services_)));
}

asio::awaitable<void> AppCoordinator::refreshAfterWake(std::shared_ptr<DaemonManaging> manager, ShellServices services)
{
    auto update = manager->updateStatus();
    co_await std::move(update);
    const auto status = manager->currentStatus();
    if (status != DaemonStatus::connected) {
        AppLogger::warning(
            fmt::format("Skipping daemon-backed wake refresh while daemon status is {}", statusName(status)),
            AppLogger::lifecycle);
        co_return;
    }
    if (services.refreshCatalogues) {
        auto refresh = services.refreshCatalogues();
        co_await std::move(refresh);
    }
}

void AppCoordinator::reopen(bool hasVisibleWindows)
{
    AppLogger::info(fmt::format("Reopen with visible windows: {}", hasVisibleWindows ? "true" : "false"));
    if (!hasVisibleWindows && services_.showMainWindow)
        services_.showMainWindow();
}

void AppCoordinator::applicationDidBecomeActive()
{
    if (services_.refreshMonitorAppRunning)
        services_.refreshMonitorAppRunning();
    auto manager = services_.manager;
    tasks_.push_back(quendal::spawn(services_.executor, [](std::shared_ptr<DaemonManaging> m) -> asio::awaitable<void> {
        auto update = m->updateStatus();
        co_await std::move(update);
    }(manager)));
    std::erase_if(tasks_, [](const quendal::Task& t) { return t.isFinished(); });
}

} // namespace tarnel
