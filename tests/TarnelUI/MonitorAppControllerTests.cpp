#include "FakeMonitorApps.h"
#include "LogCapture.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "TarnelUI/Export/MonitorAppController.h"
#include "TarnelUI/Export/MonitorBundleMarker.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Panel/MonitorSettings.h"
#include "TarnelUI/Panel/MonitorSettingsPreference.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace tarnel;
using namespace tarnel::ui;
using namespace std::chrono_literals;
using quendal::LogLevel;
using tarnel::testing::FakeMonitorApps;
using tarnel::testing::RecordingSignals;

namespace {

const std::filesystem::path monitorPath = "/opt/tarnel/bin/tarnel-monitor";
const MonitorBundleInfo currentInfo{"org.quendal.TarnelMonitor", "1.0.0", "7", std::nullopt};

struct Fixture {
    tarnel::testing::VirtualTime time;
    tarnel::testing::TemporaryDirectory home{"tarnel-monitor-controller"};
    tarnel::testing::LogCapture logs;
    quendal::Preferences preferences{home.path() / "preferences.json"};
    std::shared_ptr<FakeMonitorApps> apps = std::make_shared<FakeMonitorApps>();
    std::shared_ptr<RecordingSignals> signals = std::make_shared<RecordingSignals>();
    std::filesystem::path mainExecutable = "/opt/tarnel/bin/tarnel";
    std::unique_ptr<MonitorAppController> controller;

    Fixture()
    {
        apps->infos[monitorPath] = currentInfo;
        apps->existing.insert(monitorPath);
    }
    MonitorAppController& make()
    {
        controller = std::make_unique<MonitorAppController>(MonitorAppController::Dependencies{
            apps, signals, &preferences, monitorPath, mainExecutable, home.path() / "Monitor", home.path() / "autostart",
            MonitorDeviceCapabilities{.hasBattery = true}});
        return *controller;
    }
    std::filesystem::path autostartEntry() const { return home.path() / "autostart" / MonitorLoginItem::fileName; }
};

FakeMonitorApps::Time launched() { return FakeMonitorApps::Time(std::chrono::seconds(1'800'000'000)); }

} // namespace

TEST(MonitorValidity, EachFailingCheckLogsItsLineAndTheFirstOneWins)
{
    Fixture f;
    auto& controller = f.make();
    RunningMonitor app{42, monitorPath, monitorPath, monitorPath, launched()};
    EXPECT_TRUE(controller.isValidMonitorApp(app, monitorPath, currentInfo));

    auto noBundle = app;
    noBundle.bundleURL.reset();
    EXPECT_FALSE(controller.isValidMonitorApp(noBundle, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning, "Monitor 42 has no bundle URL."), 1u);

    auto elsewhere = app;
    elsewhere.bundleURL = "/home/me/old/tarnel-monitor";
    EXPECT_FALSE(controller.isValidMonitorApp(elsewhere, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning,
                           "Monitor 42 has wrong bundle URL: /home/me/old/tarnel-monitor != /opt/tarnel/bin/tarnel-monitor"),
              1u);

    // Paths compare after normalising, so a detour through ".." is the same file.
    auto detour = app;
    detour.bundleURL = "/opt/tarnel/lib/../bin/tarnel-monitor";
    EXPECT_TRUE(controller.isValidMonitorApp(detour, monitorPath, currentInfo));

    auto wrongExecutable = app;
    wrongExecutable.executableURL = "/tmp/tarnel-monitor";
    EXPECT_FALSE(controller.isValidMonitorApp(wrongExecutable, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning, "Monitor 42 has wrong executable URL: /tmp/tarnel-monitor != " + monitorPath.string()), 1u);

    auto wrongCode = app;
    wrongCode.codePath = "/tmp/injected";
    EXPECT_FALSE(controller.isValidMonitorApp(wrongCode, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning,
                           "Monitor 42 has wrong code signature executable URL: /tmp/injected != " + monitorPath.string()),
              1u);

    // Unknown paths are not held against the process.
    auto unknownPaths = app;
    unknownPaths.executableURL.reset();
    unknownPaths.codePath.reset();
    EXPECT_TRUE(controller.isValidMonitorApp(unknownPaths, monitorPath, currentInfo));

    f.apps->infos.erase(monitorPath);
    EXPECT_FALSE(controller.isValidMonitorApp(app, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning, "Monitor 42 has no readable bundle info."), 1u);

    f.apps->infos[monitorPath] = {"org.quendal.TarnelMonitor", "1.0.0", "6", std::nullopt};
    EXPECT_FALSE(controller.isValidMonitorApp(app, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning, "Monitor 42 version mismatch - Running: org.quendal.TarnelMonitor 1.0.0 (6), "
                                              "Expected: org.quendal.TarnelMonitor 1.0.0 (7)"),
              1u);

    // A wrong bundle and a wrong version: only the first check speaks.
    EXPECT_FALSE(controller.isValidMonitorApp(elsewhere, monitorPath, currentInfo));
    EXPECT_EQ(f.logs.count(LogLevel::warning, "version mismatch"), 1u);
}

TEST(MonitorValidity, AnExecutableChangedMoreThanASecondAfterLaunchIsStale)
{
    Fixture f;
    auto& controller = f.make();
    RunningMonitor app{42, monitorPath, monitorPath, monitorPath, launched()};

    f.apps->modified[monitorPath] = launched() + 900ms;
    auto info = controller.runningInfo(app);
    ASSERT_TRUE(info);
    EXPECT_FALSE(info->staleReason);
    EXPECT_TRUE(controller.isValidMonitorApp(app, monitorPath, currentInfo));

    f.apps->modified[monitorPath] = launched() + 2s;
    info = controller.runningInfo(app);
    ASSERT_TRUE(info && info->staleReason);
    EXPECT_EQ(*info->staleReason, "executable modified after launch; modified=2027-01-15 08:00:02 +0000, "
                                  "launched=2027-01-15 08:00:00 +0000");
    EXPECT_EQ(info->description(), "org.quendal.TarnelMonitor 1.0.0 (7) [stale: " + *info->staleReason + "]");
    EXPECT_FALSE(controller.isValidMonitorApp(app, monitorPath, currentInfo));

    // The start path differs from the file it runs: the file's date decides the bundle reason.
    app.executableURL = "/opt/tarnel/bin/launcher";
    f.apps->modified["/opt/tarnel/bin/launcher"] = launched();
    info = controller.runningInfo(app);
    ASSERT_TRUE(info && info->staleReason);
    EXPECT_TRUE(info->staleReason->starts_with("app bundle modified after monitor launch; modified="));
}

TEST(MonitorStart, AStaleCopyIsReplacedAndAFreshOneKept)
{
    Fixture f;
    f.apps->add(42, monitorPath, launched());
    f.apps->modified[monitorPath] = launched() + 2s;
    auto& controller = f.make();
    EXPECT_TRUE(controller.isMonitorRunning.value());

    // The stale copy: asked to terminate, then a fresh copy launched from the expected place.
    f.apps->exitsOnTerminate = false;
    f.time.await(controller.startMonitor());
    EXPECT_EQ(f.apps->terminateCalls, std::vector<pid_t>{42});
    EXPECT_EQ(f.apps->forceCalls, std::vector<pid_t>{42});
    EXPECT_DOUBLE_EQ(f.time.elapsedSeconds(), 0.5);
    EXPECT_EQ(f.apps->launches, std::vector<std::filesystem::path>{monitorPath});
    EXPECT_TRUE(controller.isMonitorRunning.value());
    EXPECT_FALSE(controller.isChangingMonitorRuntime.value());
    EXPECT_EQ(f.logs.count(LogLevel::info, "Launched Monitor at " + monitorPath.string()), 1u);

    // The fresh copy (launched after the file's date) is valid: nothing is terminated or launched.
    f.apps->running.back().launchDate = launched() + 3s;
    f.time.await(controller.startMonitor());
    EXPECT_EQ(f.apps->terminateCalls.size(), 1u);
    EXPECT_EQ(f.apps->launches.size(), 1u);
}

TEST(MonitorStart, ACopyFromAnotherPathIsTerminatedAndRefusingOnesForced)
{
    Fixture f;
    const std::filesystem::path old = "/home/me/build/tarnel-monitor";
    f.apps->infos[old] = currentInfo;
    f.apps->add(42, old, launched());
    f.apps->terminateDelivers = false;
    auto& controller = f.make();
    f.time.await(controller.startMonitor());
    EXPECT_EQ(f.apps->terminateCalls, std::vector<pid_t>{42});
    // The request was not delivered: forced at once, not after the wait.
    EXPECT_EQ(f.apps->forceCalls, std::vector<pid_t>{42});
    EXPECT_EQ(f.apps->launches, std::vector<std::filesystem::path>{monitorPath});
    EXPECT_EQ(f.logs.count(LogLevel::warning, "Monitor 42 has wrong bundle URL"), 1u);
}

TEST(MonitorStart, TwoStartsInARowLaunchOnce)
{
    Fixture f;
    auto& controller = f.make();
    // A stale copy makes the first start wait, during which the second arrives.
    f.apps->add(42, monitorPath, launched());
    f.apps->modified[monitorPath] = launched() + 2s;
    f.apps->exitsOnTerminate = false;
    auto first = quendal::spawnOnMain(controller.startMonitor());
    auto second = quendal::spawnOnMain(controller.startMonitor());
    f.time.run();
    EXPECT_EQ(f.apps->launches.size(), 1u);
    EXPECT_EQ(f.logs.count(LogLevel::info, "Monitor launch already in progress, skipping duplicate launch request."), 1u);
    EXPECT_FALSE(controller.isLaunchingMonitor());
}

TEST(MonitorStart, WhereToLaunchFromAndWhatAFailureLeaves)
{
    {
        // Without the expected file, an installed copy is launched; without either, nothing.
        Fixture f;
        f.apps->existing.clear();
        f.apps->installed = "/usr/bin/tarnel-monitor";
        f.time.await(f.make().startMonitor());
        EXPECT_EQ(f.apps->launches, std::vector<std::filesystem::path>{"/usr/bin/tarnel-monitor"});
        f.apps->running.clear();
        f.apps->installed.reset();
        f.time.await(f.controller->startMonitor());
        EXPECT_EQ(f.apps->launches.size(), 1u);
        EXPECT_FALSE(f.controller->isMonitorRunning.value());
    }
    {
        Fixture f;
        f.apps->launchFails = true;
        auto& controller = f.make();
        f.time.await(controller.startMonitor());
        EXPECT_FALSE(controller.isMonitorRunning.value());
        EXPECT_FALSE(controller.isChangingMonitorRuntime.value());
        EXPECT_FALSE(controller.isLaunchingMonitor());
        EXPECT_EQ(f.logs.count(LogLevel::error, "Unable to launch " + monitorPath.string()), 1u);
    }
    {
        // Without readable info at the expected place no copy is valid, so one more is launched.
        Fixture f;
        f.apps->add(42, monitorPath, launched());
        f.apps->infos.clear();
        f.time.await(f.make().startMonitor());
        EXPECT_TRUE(f.apps->terminateCalls.empty());
        EXPECT_EQ(f.apps->launches.size(), 1u);
    }
}

TEST(MonitorStart, AnUpdaterInstallationLaunchesNothing)
{
    const auto transient = "/tmp/x/org.sparkle-project.Sparkle/Installation/1/Tarnel/tarnel";
    {
        Fixture f;
        f.mainExecutable = transient;
        f.time.await(f.make().startMonitor());
        EXPECT_TRUE(f.apps->launches.empty());
        EXPECT_EQ(f.logs.count(LogLevel::info, std::string("transient Sparkle installation bundle: ") + transient), 1u);
    }
    for (const auto* partial : {"/tmp/org.sparkle-project.Sparkle/Tarnel/tarnel", "/tmp/Installation/Tarnel/tarnel"}) {
        Fixture f;
        f.mainExecutable = partial;
        f.time.await(f.make().startMonitor());
        EXPECT_EQ(f.apps->launches.size(), 1u) << partial;
    }
}

TEST(MonitorStop, QuitIsSentThenTerminateThenForceEachAfterHalfASecond)
{
    Fixture f;
    f.apps->add(42, monitorPath, launched());
    f.apps->add(43, monitorPath, launched());
    f.apps->exitsOnTerminate = false;
    auto& controller = f.make();
    auto stop = quendal::spawnOnMain(controller.stopMonitor());
    f.time.poll();
    EXPECT_EQ(f.signals->sent, std::vector<MonitorSignal>{MonitorSignal::quit});
    EXPECT_TRUE(f.apps->terminateCalls.empty());
    // A second stop while one runs does nothing.
    auto again = quendal::spawnOnMain(controller.stopMonitor());
    f.time.poll();
    EXPECT_EQ(f.signals->sent.size(), 1u);

    f.time.runFor(0.5);
    EXPECT_EQ(f.apps->terminateCalls, (std::vector<pid_t>{42, 43}));
    EXPECT_TRUE(f.apps->forceCalls.empty());
    f.time.run();
    EXPECT_EQ(f.apps->forceCalls, (std::vector<pid_t>{42, 43}));
    EXPECT_FALSE(controller.isMonitorRunning.value());
    EXPECT_FALSE(controller.isChangingMonitorRuntime.value());

    // Nothing running: no signal at all.
    f.time.await(controller.stopMonitor());
    EXPECT_EQ(f.signals->sent.size(), 1u);
}

TEST(MonitorLogin, TheSwitchStoresWritesOrRemovesTheEntryExportsAndStarts)
{
    Fixture f;
    auto& controller = f.make();
    f.time.await(controller.setRunAtLogin(true));
    EXPECT_TRUE(quendal::read(f.preferences, quendal::PreferenceKeys::runMonitorAtLogin));
    ASSERT_TRUE(std::filesystem::exists(f.autostartEntry()));
    std::ifstream entry(f.autostartEntry());
    const std::string text((std::istreambuf_iterator<char>(entry)), {});
    EXPECT_NE(text.find("Exec=\"" + monitorPath.string() + "\"\n"), std::string::npos);
    EXPECT_NE(text.find("Type=Application\n"), std::string::npos);
    auto snapshot = MonitorConfigurationStore::loadSnapshot(f.home.path() / "Monitor" / MonitorConfigurationStore::snapshotFileName);
    ASSERT_TRUE(snapshot);
    EXPECT_TRUE(snapshot->runAtLogin());
    EXPECT_EQ(f.signals->sent, std::vector<MonitorSignal>{MonitorSignal::configurationChanged});
    EXPECT_EQ(f.apps->launches.size(), 1u);

    f.time.await(controller.setRunAtLogin(false));
    EXPECT_FALSE(quendal::read(f.preferences, quendal::PreferenceKeys::runMonitorAtLogin));
    EXPECT_FALSE(std::filesystem::exists(f.autostartEntry()));
    snapshot = MonitorConfigurationStore::loadSnapshot(f.preferences);
    ASSERT_TRUE(snapshot);
    EXPECT_FALSE(snapshot->runAtLogin());
    // Already running and valid: not launched twice.
    EXPECT_EQ(f.apps->launches.size(), 1u);
}

TEST(MonitorLogin, SynchronizeExportsWhatIsStoredAndAFailedEntryStillExports)
{
    Fixture f;
    quendal::write(f.preferences, quendal::PreferenceKeys::runMonitorAtLogin, false);
    auto settings = std::make_shared<MonitorSettings>(MonitorDeviceCapabilities{.hasBattery = false});
    MonitorSettingsPreference::save(f.preferences, *settings);
    // The autostart folder cannot be made: a file stands where it would be.
    std::ofstream(f.home.path() / "autostart") << "x";
    auto& controller = f.make();
    f.time.await(controller.synchronize());
    auto written = MonitorConfigurationStore::loadSettings(f.home.path() / "Monitor" / MonitorConfigurationStore::settingsFileName);
    ASSERT_TRUE(written);
    EXPECT_EQ(written->encode(), settings->encode());
    auto snapshot = MonitorConfigurationStore::loadSnapshot(f.home.path() / "Monitor" / MonitorConfigurationStore::snapshotFileName);
    ASSERT_TRUE(snapshot);
    EXPECT_FALSE(snapshot->runAtLogin());
    EXPECT_EQ(f.apps->launches.size(), 1u);

    f.time.await(controller.setRunAtLogin(true));
    EXPECT_EQ(f.logs.count(LogLevel::error, "autostart"), 1u);
    EXPECT_EQ(f.signals->sent.size(), 2u);
}

TEST(MonitorBundleInfo, TheIdentityLineIsFoundAmongBinaryBytes)
{
    std::string file("\x7f" "ELF\0\0junk", 9);
    file += "TARNEL-BUNDLE-INFO:\0";
    file += "TARNEL-BUNDLE-INFO:org.quendal.TarnelMonitor||3\n";
    file += "TARNEL-BUNDLE-INFO:org.quendal.TarnelMonitor|1.0.0|7\n";
    file.push_back('\0');
    EXPECT_EQ(parseMonitorBundleInfo(file), currentInfo);
    EXPECT_FALSE(parseMonitorBundleInfo("TARNEL-BUNDLE-INFO:a|b"));
    EXPECT_FALSE(parseMonitorBundleInfo("no marker here"));
}

TEST(MonitorLogin, TheEntryQuotesItsPathAndRemovingNothingIsFine)
{
    tarnel::testing::TemporaryDirectory folder("tarnel-autostart");
    MonitorLoginItem item(folder.path() / "autostart", "/home/me/My \"Apps\"/$bin/tarnel-monitor");
    EXPECT_FALSE(item.isEnabled());
    item.setEnabled(false);
    item.setEnabled(true);
    ASSERT_TRUE(item.isEnabled());
    std::ifstream entry(item.file());
    const std::string text((std::istreambuf_iterator<char>(entry)), {});
    // The desktop entry format: reserved characters inside quotes take a backslash, itself escaped.
    EXPECT_NE(text.find("Exec=\"/home/me/My \\\\\"Apps\\\\\"/\\\\$bin/tarnel-monitor\"\n"), std::string::npos) << text;
    item.setEnabled(false);
    EXPECT_FALSE(item.isEnabled());
    EXPECT_FALSE(std::filesystem::exists(item.file()));
}
