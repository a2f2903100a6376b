#include "SessionBus.h"

#include "App/Monitor/LinuxMonitorApps.h"
#include "ChildProcess.h"
#include "QuendalFoundation/Logging/AppLogger.h"
#include "Monitor/DBusMonitorSignals.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "TarnelUI/Export/MonitorAppController.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Export/MonitorLoginItem.h"
#include "TarnelUI/Panel/MonitorSettings.h"
#include "TarnelUI/Panel/MonitorSettingsPreference.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>

using namespace tarnel;
using namespace tarnel::ui;
using namespace std::chrono_literals;
using tarnel::testing::waitUntil;

namespace {

std::filesystem::path monitorExecutable()
{
    return std::filesystem::path(std::getenv("TARNEL_BINARY_DIR")) / "monitor" / "tarnel-monitor";
}

// Every log line the programs of this test wrote to their files.
std::string logText(const std::filesystem::path& stateHome)
{
    std::string text;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(stateHome / "tarnel" / "logs", error)) {
        std::ifstream file(entry.path());
        text.append(std::istreambuf_iterator<char>(file), {});
    }
    return text;
}

std::size_t occurrences(const std::string& text, const std::string& what)
{
    std::size_t count = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

// The application's side of the test: a home of its own, a private bus, the real controller.
struct Desktop {
    tarnel::testing::TemporaryDirectory home{"tarnel-monitor-e2e"};
    std::filesystem::path dataHome = home.path() / "data";
    std::filesystem::path configHome = home.path() / "config";
    std::filesystem::path stateHome = home.path() / "state";
    tarnel::testing::SessionBus bus;

    Desktop()
    {
        ::setenv("XDG_DATA_HOME", dataHome.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", configHome.c_str(), 1);
        ::setenv("XDG_STATE_HOME", stateHome.c_str(), 1);
        // No tray host: the Monitor shows its panels as windows.
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        // This process's own lines go to the new state folder too.
        quendal::AppLogger::setStore(nullptr);
    }
};

} // namespace

TEST(MonitorEndToEnd, ExportReloadQuitSecondCopyAndLoginEntry)
{
    Desktop desktop;
    int argc = 1;
    char name[] = "test";
    char* argv[] = {name, nullptr};
    QCoreApplication qt(argc, argv);
    tarnel::testing::VirtualTime time;

    quendal::Preferences preferences(desktop.configHome / "tarnel" / "preferences.json");
    auto apps = std::make_shared<LinuxMonitorApps>();
    MonitorAppController controller({apps, std::make_shared<DBusMonitorSignals>(), &preferences, monitorExecutable(),
                                     "/usr/bin/tarnel", MonitorConfigurationStore::directory(),
                                     MonitorLoginItem::defaultDirectory(), MonitorDeviceCapabilities{.hasBattery = true}});
    ASSERT_EQ(MonitorConfigurationStore::directory(), desktop.dataHome / "Tarnel" / "Monitor");
    ASSERT_TRUE(apps->bundleInfo(monitorExecutable())) << "the Monitor carries no identity line";
    EXPECT_TRUE(apps->runningMonitorApps().empty());

    // Start-up: the stored (default) configuration is exported and the Monitor launched.
    time.await(controller.synchronize());
    ASSERT_TRUE(std::filesystem::exists(desktop.dataHome / "Tarnel" / "Monitor" / "MonitorSettings.json"));
    ASSERT_TRUE(std::filesystem::exists(desktop.dataHome / "Tarnel" / "Monitor" / "MonitorConfigurationSnapshot.json"));
    // The login switch is on by default, so the entry exists.
    EXPECT_TRUE(std::filesystem::exists(desktop.configHome / "autostart" / "org.quendal.TarnelMonitor.desktop"));
    ASSERT_TRUE(waitUntil([&] { return logText(desktop.stateHome).find("Tarnel Monitor started.") != std::string::npos; }))
        << logText(desktop.stateHome);
    auto running = apps->runningMonitorApps();
    ASSERT_EQ(running.size(), 1u);
    const pid_t monitor = running.front().pid;
    EXPECT_TRUE(controller.isValidMonitorApp(running.front(), monitorExecutable(), *apps->bundleInfo(monitorExecutable())));
    EXPECT_NE(logText(desktop.stateHome).find("Showing 1 panels: Combined"), std::string::npos) << logText(desktop.stateHome);

    // A second start finds the valid copy and launches nothing.
    time.await(controller.startMonitor());
    EXPECT_EQ(apps->runningMonitorApps().size(), 1u);

    // A second copy started by hand finds the name taken and exits at once.
    {
        tarnel::testing::ChildProcess second(monitorExecutable(), {});
        EXPECT_EQ(second.wait(10s), 0);
    }
    EXPECT_EQ(apps->runningMonitorApps().size(), 1u);

    // The editor turns the Combined panel off; the export makes the running Monitor reload.
    auto settings = MonitorSettingsPreference::load(preferences, {.hasBattery = true});
    auto store = settings->panelStore();
    store->setEnabled(store->combinedPanel()->id(), false);
    MonitorSettingsPreference::save(preferences, *settings);
    time.await(controller.setRunAtLogin(false));
    EXPECT_FALSE(std::filesystem::exists(desktop.configHome / "autostart" / "org.quendal.TarnelMonitor.desktop"));
    std::string shown;
    for (const auto& panel : store->activePanels())
        shown += (shown.empty() ? "" : ", ") + panel->name();
    const auto expected = "Showing " + std::to_string(store->activePanels().size()) + " panels: " + shown;
    ASSERT_TRUE(waitUntil([&] { return logText(desktop.stateHome).find(expected) != std::string::npos; }))
        << expected << "\n" << logText(desktop.stateHome);
    EXPECT_EQ(occurrences(logText(desktop.stateHome), "Configuration changed; reloading."), 1u);

    time.await(controller.setRunAtLogin(true));
    EXPECT_TRUE(std::filesystem::exists(desktop.configHome / "autostart" / "org.quendal.TarnelMonitor.desktop"));
    ASSERT_TRUE(waitUntil([&] { return occurrences(logText(desktop.stateHome), "Configuration changed; reloading.") == 2; }));

    // "quit" on the bus ends it by itself.
    DBusMonitorSignals().post(MonitorSignal::quit);
    ASSERT_TRUE(waitUntil([&] { return apps->isTerminated(monitor); }));
    EXPECT_NE(logText(desktop.stateHome).find("Asked to quit."), std::string::npos);
    controller.refreshRunningState();
    EXPECT_FALSE(controller.isMonitorRunning.value());
}

TEST(MonitorEndToEnd, AStaleCopyIsReplacedByAFreshOne)
{
    Desktop desktop;
    int argc = 1;
    char name[] = "test";
    char* argv[] = {name, nullptr};
    QCoreApplication qt(argc, argv);
    tarnel::testing::VirtualTime time;

    // A copy of the Monitor of our own, so its file can be touched after launch.
    const auto copy = desktop.home.path() / "bin" / "tarnel-monitor";
    std::filesystem::create_directories(copy.parent_path());
    std::filesystem::copy_file(monitorExecutable(), copy);
    quendal::Preferences preferences(desktop.configHome / "tarnel" / "preferences.json");
    auto apps = std::make_shared<LinuxMonitorApps>();
    MonitorAppController controller({apps, std::make_shared<DBusMonitorSignals>(), &preferences, copy, "/usr/bin/tarnel",
                                     MonitorConfigurationStore::directory(), MonitorLoginItem::defaultDirectory(),
                                     MonitorDeviceCapabilities{.hasBattery = false}});
    time.await(controller.startMonitor());
    ASSERT_TRUE(waitUntil([&] { return logText(desktop.stateHome).find("Tarnel Monitor started.") != std::string::npos; }));
    auto first = apps->runningMonitorApps();
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first.front().bundleURL, std::filesystem::weakly_canonical(copy));

    // An update rewrote the file two seconds after the launch.
    std::filesystem::last_write_time(copy, std::filesystem::file_time_type::clock::now() + 2s);
    EXPECT_FALSE(controller.isValidMonitorApp(first.front(), copy, *apps->bundleInfo(copy)));
    time.await(controller.startMonitor());
    ASSERT_TRUE(waitUntil([&] { return apps->isTerminated(first.front().pid); }));
    ASSERT_TRUE(waitUntil([&] {
        auto now = apps->runningMonitorApps();
        return now.size() == 1 && now.front().pid != first.front().pid;
    }));
    EXPECT_NE(logText(desktop.stateHome).find("[stale: executable modified after launch"), std::string::npos);

    // Stopping sends "quit" and ends what runs.
    time.await(controller.stopMonitor());
    ASSERT_TRUE(waitUntil([&] { return apps->runningMonitorApps().empty(); }));
    EXPECT_FALSE(controller.isChangingMonitorRuntime.value());
    controller.refreshRunningState();
    EXPECT_FALSE(controller.isMonitorRunning.value());
}
