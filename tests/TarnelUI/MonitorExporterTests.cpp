#include "FakeMonitorApps.h"
#include "LogCapture.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "TarnelUI/Export/MonitorConfigurationExporter.h"
#include "TarnelUI/Export/MonitorConfigurationSnapshot.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Panel/MonitorSettings.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace tarnel;
using namespace tarnel::ui;
using quendal::LogLevel;
using tarnel::testing::RecordingSignals;

namespace {

const Date someDay{785000000.0};
namespace Store = MonitorConfigurationStore;

struct Fixture {
    tarnel::testing::TemporaryDirectory home{"tarnel-monitor-export"};
    tarnel::testing::LogCapture logs;
    std::filesystem::path directory = home.path() / "Monitor";
    std::unique_ptr<quendal::Preferences> preferences =
        std::make_unique<quendal::Preferences>(home.path() / "config" / "preferences.json");
    std::shared_ptr<RecordingSignals> signals = std::make_shared<RecordingSignals>();
    MonitorSettings settings{MonitorDeviceCapabilities{.hasBattery = true}};

    void exportNow(bool runAtLogin = true)
    {
        MonitorConfigurationExporter(*preferences, signals, directory).exportConfiguration(settings, runAtLogin, someDay);
    }
};

} // namespace

TEST(MonitorExporter, WritesThePreferenceBothFilesThenSignals)
{
    Fixture f;
    f.exportNow(false);
    const auto expected = MonitorConfigurationSnapshot::make(f.settings, false, someDay);
    EXPECT_EQ(expected.version(), 2);
    EXPECT_TRUE(expected.isEnabled());
    EXPECT_EQ(Store::loadSnapshot(*f.preferences), expected);
    EXPECT_EQ(Store::loadSnapshot(f.directory / Store::snapshotFileName), expected);
    auto settings = Store::loadSettings(f.directory / Store::settingsFileName);
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->encode(), f.settings.encode());
    EXPECT_EQ(f.signals->sent, std::vector<MonitorSignal>{MonitorSignal::configurationChanged});
    EXPECT_EQ(f.logs.count(LogLevel::error, ""), 0u);
}

TEST(MonitorExporter, EachFailingStepIsLoggedAndTheNextStillRuns)
{
    {
        // The preferences cannot be written: both files still are, and the signal goes out.
        Fixture f;
        std::ofstream(f.home.path() / "config") << "a file where the folder should be";
        f.exportNow();
        EXPECT_EQ(f.logs.count(LogLevel::error, ""), 1u);
        EXPECT_TRUE(Store::loadSnapshot(f.directory / Store::snapshotFileName));
        EXPECT_TRUE(Store::loadSettings(f.directory / Store::settingsFileName));
        EXPECT_EQ(f.signals->sent.size(), 1u);
    }
    {
        // The snapshot file cannot be replaced (a folder stands in its place): the settings file
        // is still written.
        Fixture f;
        std::filesystem::create_directories(f.directory / Store::snapshotFileName);
        f.exportNow();
        EXPECT_EQ(f.logs.count(LogLevel::error, (f.directory / Store::snapshotFileName).string()), 1u);
        EXPECT_TRUE(Store::loadSnapshot(*f.preferences));
        EXPECT_TRUE(Store::loadSettings(f.directory / Store::settingsFileName));
        EXPECT_EQ(f.signals->sent.size(), 1u);
    }
    {
        // Neither file can be written (the folder is a file), nor the signal sent: three lines,
        // the preference written, the older files untouched.
        Fixture f;
        std::ofstream(f.directory) << "not a folder";
        f.signals->fails = true;
        f.exportNow();
        EXPECT_EQ(f.logs.count(LogLevel::error, ""), 3u);
        EXPECT_EQ(f.logs.count(LogLevel::error, "no session bus"), 1u);
        EXPECT_TRUE(Store::loadSnapshot(*f.preferences));
        std::ifstream kept(f.directory);
        std::string text;
        std::getline(kept, text);
        EXPECT_EQ(text, "not a folder");
    }
}

TEST(MonitorExporter, ALaterExportReplacesTheFilesWhole)
{
    Fixture f;
    f.exportNow(true);
    auto store = f.settings.panelStore();
    store->setEnabled(store->combinedPanel()->id(), false);
    f.exportNow(false);
    auto settings = Store::loadSettings(f.directory / Store::settingsFileName);
    ASSERT_TRUE(settings);
    EXPECT_FALSE(settings->panelStore()->isCombinedEnabled());
    auto snapshot = Store::loadSnapshot(f.directory / Store::snapshotFileName);
    ASSERT_TRUE(snapshot);
    EXPECT_FALSE(snapshot->runAtLogin());
    EXPECT_EQ(snapshot->panelStatistics(), MonitorConfigurationSnapshot::make(f.settings, false, someDay).panelStatistics());
    // Nothing of the temporary files is left beside them.
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(f.directory))
        ++entries;
    EXPECT_EQ(entries, 2u);
    EXPECT_EQ(f.signals->sent.size(), 2u);
}
