#include "TarnelUI/Export/MonitorAppController.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "TarnelUI/Panel/MonitorSettingsPreference.h"

#include <chrono>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>

namespace tarnel::ui {

namespace {

using namespace std::chrono_literals;
using SystemTime = std::chrono::system_clock::time_point;

constexpr auto modificationTolerance = 1s;
constexpr auto terminationGrace = std::chrono::milliseconds(500);

const char* const label = quendal::AppLogger::monitor;

std::string dateText(SystemTime time)
{
    return fmt::format("{:%Y-%m-%d %H:%M:%S} +0000", std::chrono::floor<std::chrono::seconds>(time));
}

} // namespace

std::string MonitorBundleInfo::description() const
{
    auto text = fmt::format("{} {} ({})", bundleIdentifier, version, build);
    if (staleReason)
        text += fmt::format(" [stale: {}]", *staleReason);
    return text;
}

MonitorAppController::MonitorAppController(Dependencies dependencies)
    : dependencies_(std::move(dependencies)),
      exporter_(*dependencies_.preferences, dependencies_.signals, dependencies_.configurationDirectory),
      loginItem_(dependencies_.autostartDirectory, dependencies_.monitorExecutable)
{
    refreshRunningState();
}

void MonitorAppController::refreshRunningState()
{
    isMonitorRunning = !dependencies_.platform->runningMonitorApps().empty();
}

std::optional<MonitorBundleInfo> MonitorAppController::runningInfo(const RunningMonitor& app)
{
    if (!app.bundleURL)
        return std::nullopt;
    auto& platform = *dependencies_.platform;
    const auto bundle = platform.resolved(*app.bundleURL);
    auto info = platform.bundleInfo(bundle);
    if (!info)
        return std::nullopt;
    const auto executable = app.executableURL ? platform.resolved(*app.executableURL) : bundle;
    if (auto modified = platform.modificationDate(executable); modified && *modified > app.launchDate + modificationTolerance)
        info->staleReason = fmt::format("executable modified after launch; modified={}, launched={}", dateText(*modified),
                                        dateText(app.launchDate));
    else if (auto bundleModified = platform.modificationDate(bundle);
             bundleModified && *bundleModified > app.launchDate + modificationTolerance)
        info->staleReason = fmt::format("app bundle modified after monitor launch; modified={}, launched={}",
                                        dateText(*bundleModified), dateText(app.launchDate));
    return info;
}

bool MonitorAppController::isValidMonitorApp(const RunningMonitor& app, const std::filesystem::path& expectedURL,
                                             const MonitorBundleInfo& expectedInfo)
{
    auto& platform = *dependencies_.platform;
    auto refuse = [&](const std::string& reason) {
        quendal::AppLogger::warning(fmt::format("Monitor {} {}", app.pid, reason), label);
        return false;
    };
    if (!app.bundleURL)
        return refuse("has no bundle URL.");
    const auto running = platform.resolved(*app.bundleURL);
    const auto expected = platform.resolved(expectedURL);
    if (running != expected)
        return refuse(fmt::format("has wrong bundle URL: {} != {}", running.string(), expected.string()));
    // A Monitor is one executable, so its bundle and its executable are the same file.
    const auto& expectedExecutable = expected;
    if (app.executableURL) {
        const auto executable = platform.resolved(*app.executableURL);
        if (executable != expectedExecutable)
            return refuse(fmt::format("has wrong executable URL: {} != {}", executable.string(), expectedExecutable.string()));
    }
    if (app.codePath) {
        const auto code = platform.resolved(*app.codePath);
        if (code != expectedExecutable)
            return refuse(fmt::format("has wrong code signature executable URL: {} != {}", code.string(),
                                      expectedExecutable.string()));
    }
    const auto info = runningInfo(app);
    if (!info)
        return refuse("has no readable bundle info.");
    if (*info != expectedInfo)
        return refuse(fmt::format("version mismatch - Running: {}, Expected: {}", info->description(), expectedInfo.description()));
    return true;
}

bool MonitorAppController::isTransientInstallation()
{
    const auto path = dependencies_.platform->resolved(dependencies_.mainExecutable);
    bool updater = false;
    bool installation = false;
    for (const auto& component : path) {
        updater = updater || component == "org.sparkle-project.Sparkle";
        installation = installation || component == "Installation";
    }
    return updater && installation;
}

asio::awaitable<void> MonitorAppController::terminateInvalidCopies()
{
    auto& platform = *dependencies_.platform;
    const auto& expectedURL = dependencies_.monitorExecutable;
    auto expectedInfo = platform.bundleInfo(expectedURL);
    if (!expectedInfo)
        co_return;
    std::vector<pid_t> invalid;
    for (const auto& app : platform.runningMonitorApps())
        if (!isValidMonitorApp(app, expectedURL, *expectedInfo))
            invalid.push_back(app.pid);
    if (invalid.empty())
        co_return;
    for (auto pid : invalid)
        if (!platform.terminate(pid))
            platform.forceTerminate(pid);
    co_await quendal::Runtime::shared().clock().sleep(terminationGrace);
    for (auto pid : invalid)
        if (!platform.isTerminated(pid))
            platform.forceTerminate(pid);
}

bool MonitorAppController::hasValidCopy()
{
    auto& platform = *dependencies_.platform;
    auto expectedInfo = platform.bundleInfo(dependencies_.monitorExecutable);
    if (!expectedInfo)
        return false;
    auto apps = platform.runningMonitorApps();
    return std::any_of(apps.begin(), apps.end(), [&](const RunningMonitor& app) {
        return !platform.isTerminated(app.pid) && isValidMonitorApp(app, dependencies_.monitorExecutable, *expectedInfo);
    });
}

void MonitorAppController::launch()
{
    auto& platform = *dependencies_.platform;
    std::optional<std::filesystem::path> target;
    if (platform.exists(dependencies_.monitorExecutable))
        target = dependencies_.monitorExecutable;
    else
        target = platform.installedMonitor();
    if (!target)
        return;
    try {
        platform.launch(*target);
        quendal::AppLogger::info(fmt::format("Launched Monitor at {}", target->string()), label);
    } catch (const std::exception& failure) {
        quendal::AppLogger::error(failure, label);
    }
}

asio::awaitable<void> MonitorAppController::startMonitor()
{
    if (isLaunchingMonitor_) {
        quendal::AppLogger::info("Monitor launch already in progress, skipping duplicate launch request.", label);
        co_return;
    }
    if (isTransientInstallation()) {
        quendal::AppLogger::info(fmt::format("Skipping Monitor launch while Tarnel is running from a transient Sparkle "
                                             "installation bundle: {}",
                                             dependencies_.platform->resolved(dependencies_.mainExecutable).string()),
                                 label);
        refreshRunningState();
        co_return;
    }
    isLaunchingMonitor_ = true;
    isChangingMonitorRuntime = true;
    try {
        co_await terminateInvalidCopies();
        if (!hasValidCopy())
            launch();
    } catch (...) {
        isLaunchingMonitor_ = false;
        isChangingMonitorRuntime = false;
        refreshRunningState();
        throw;
    }
    isLaunchingMonitor_ = false;
    isChangingMonitorRuntime = false;
    refreshRunningState();
}

asio::awaitable<void> MonitorAppController::stopMonitor()
{
    if (isChangingMonitorRuntime.value())
        co_return;
    isChangingMonitorRuntime = true;
    auto& platform = *dependencies_.platform;
    const auto apps = platform.runningMonitorApps();
    if (apps.empty()) {
        isMonitorRunning = false;
        isChangingMonitorRuntime = false;
        co_return;
    }
    try {
        dependencies_.signals->post(MonitorSignal::quit);
    } catch (const std::exception& failure) {
        quendal::AppLogger::error(failure, label);
    }
    auto& clock = quendal::Runtime::shared().clock();
    co_await clock.sleep(terminationGrace);
    for (const auto& app : apps)
        if (!platform.isTerminated(app.pid) && !platform.terminate(app.pid))
            platform.forceTerminate(app.pid);
    co_await clock.sleep(terminationGrace);
    for (const auto& app : apps)
        if (!platform.isTerminated(app.pid))
            platform.forceTerminate(app.pid);
    refreshRunningState();
    isChangingMonitorRuntime = false;
}

void MonitorAppController::exportAndApplyLoginItem(bool runAtLogin)
{
    try {
        loginItem_.setEnabled(runAtLogin);
    } catch (const std::exception& failure) {
        quendal::AppLogger::error(failure, label);
    }
    auto settings = MonitorSettingsPreference::load(*dependencies_.preferences, dependencies_.capabilities);
    exporter_.exportConfiguration(*settings, runAtLogin);
}

asio::awaitable<void> MonitorAppController::setRunAtLogin(bool value)
{
    quendal::write(*dependencies_.preferences, quendal::PreferenceKeys::runMonitorAtLogin, value);
    exportAndApplyLoginItem(value);
    co_await startMonitor();
}

asio::awaitable<void> MonitorAppController::synchronize()
{
    exportAndApplyLoginItem(quendal::read(*dependencies_.preferences, quendal::PreferenceKeys::runMonitorAtLogin));
    co_await startMonitor();
}

} // namespace tarnel::ui
