#include "LogCapture.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Panel/MonitorSettings.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace tarnel;
using namespace tarnel::ui;
using quendal::LogLevel;

namespace {

using WS = WidgetStatistic;
using S = DaemonService;
const Date someDay{785000000.0};

std::vector<WidgetStatistic> casesOf(const WidgetStatisticsSet& set)
{
    std::vector<WidgetStatistic> statistics;
    for (const auto& [statistic, indexes] : set.entries)
        statistics.push_back(statistic);
    return statistics;
}

bool contains(const std::vector<WidgetStatistic>& list, WidgetStatistic statistic)
{
    return std::find(list.begin(), list.end(), statistic) != list.end();
}

// Points $XDG_DATA_HOME at a fresh folder for one test.
struct DataHome {
    tarnel::testing::TemporaryDirectory directory{"tarnel-monitor-data"};
    std::string previous;
    bool hadPrevious = false;
    DataHome()
    {
        if (const char* value = std::getenv("XDG_DATA_HOME")) {
            previous = value;
            hadPrevious = true;
        }
        ::setenv("XDG_DATA_HOME", directory.path().c_str(), 1);
    }
    ~DataHome()
    {
        if (hadPrevious)
            ::setenv("XDG_DATA_HOME", previous.c_str(), 1);
        else
            ::unsetenv("XDG_DATA_HOME");
    }
};

} // namespace

TEST(ConfigurationSnapshot, ListsAreSortedByTheCatalogueAndServicesDerivedOnce)
{
    MonitorConfigurationSnapshot snapshot(2, true, false, {WS::cpuUserUsage, WS::fanSpeed, WS::cpuSystemUsage, WS::cpuUserUsage},
                                          {WS::batteryCharge, WS::gpuTemperature, WS::gpuUsage}, someDay);
    EXPECT_EQ(snapshot.statusStatistics(), (std::vector{WS::cpuSystemUsage, WS::cpuUserUsage, WS::fanSpeed}));
    EXPECT_EQ(snapshot.panelStatistics(), (std::vector{WS::gpuUsage, WS::gpuTemperature, WS::batteryCharge}));
    // Declaration order of the services, not the order the statistics name them.
    EXPECT_EQ(snapshot.requiredServices(), (std::vector{S::battery, S::gpuUsage, S::cpu, S::sensors}));
    EXPECT_EQ(snapshot.allStatistics(), (std::vector{WS::cpuSystemUsage, WS::cpuUserUsage, WS::gpuUsage,
                                                     WS::gpuTemperature, WS::batteryCharge, WS::fanSpeed}));

    auto document = snapshot.encode();
    EXPECT_EQ(document["statusStatistics"][0], "cpuSystemUsage");
    EXPECT_EQ(document["requiredServices"][3], "sensors");
    EXPECT_EQ(document["updatedAt"], 785000000.0);
    EXPECT_EQ(MonitorConfigurationSnapshot::decode(document), snapshot);
}

TEST(ConfigurationSnapshot, AbsentKeysTakeTheirDefaults)
{
    auto snapshot = MonitorConfigurationSnapshot::decode(
        Json::parse(R"({"isEnabled": false, "statusStatistics": [],
                        "panelStatistics": ["gpuTemperature", "gpuUsage", "gpuTemperature"]})"),
        someDay);
    EXPECT_EQ(snapshot.requiredServices(), std::vector{S::gpuUsage});
    EXPECT_EQ(snapshot.panelStatistics(), (std::vector{WS::gpuUsage, WS::gpuTemperature}));
    EXPECT_FALSE(snapshot.runAtLogin());
    EXPECT_EQ(snapshot.version(), 1);
    EXPECT_EQ(snapshot.updatedAt(), someDay);

    auto enabled = MonitorConfigurationSnapshot::decode(
        Json::parse(R"({"statusStatistics": [], "panelStatistics": [], "runAtLogin": null})"), someDay);
    EXPECT_TRUE(enabled.isEnabled());
    EXPECT_TRUE(enabled.runAtLogin());
    EXPECT_TRUE(enabled.requiredServices().empty());

    // Stored services are taken as written.
    auto stored = MonitorConfigurationSnapshot::decode(
        Json::parse(R"({"statusStatistics": ["cpuUsage"], "panelStatistics": [], "requiredServices": ["ram", "cpu"]})"));
    EXPECT_EQ(stored.requiredServices(), (std::vector{S::ram, S::cpu}));

    for (const char* broken : {R"({"statusStatistics": []})", R"({"statusStatistics": ["warp"], "panelStatistics": []})",
                               R"({"statusStatistics": [], "panelStatistics": [], "requiredServices": ["radio"]})",
                               R"({"statusStatistics": [], "panelStatistics": [], "updatedAt": "today"})"})
        EXPECT_THROW(MonitorConfigurationSnapshot::decode(Json::parse(broken)), ModelDecodingError) << broken;
}

TEST(ConfigurationSnapshot, CombinedStatusItemsShowOnlyWhatTheCombinedPanelNeeds)
{
    MonitorSettings settings(MonitorDeviceCapabilities{true});
    auto store = settings.panelStore();
    auto snapshot = MonitorConfigurationSnapshot::make(settings, true, someDay);
    EXPECT_EQ(snapshot.version(), 2);
    EXPECT_TRUE(snapshot.isEnabled());
    EXPECT_TRUE(snapshot.runAtLogin());
    EXPECT_EQ(snapshot.statusStatistics(), casesOf(store->combinedPanel()->widgetStore().statistics(WidgetContext::status)));
    EXPECT_FALSE(contains(snapshot.statusStatistics(), WS::processCPUUsage)); // the CPU & GPU panel's status item
    EXPECT_FALSE(contains(snapshot.statusStatistics(), WS::batteryCharge));
    // The panels linked from Combined are open to hover, so their panel widgets count.
    EXPECT_TRUE(contains(snapshot.panelStatistics(), WS::cpuCore));
    EXPECT_TRUE(contains(snapshot.panelStatistics(), WS::processEnergyUsage));
    WidgetStatisticsSet activePanelWidgets;
    for (const auto& panel : store->activePanels())
        mergeStatistics(activePanelWidgets, panel->widgetStore().statistics(WidgetContext::panel));
    EXPECT_EQ(snapshot.panelStatistics(), casesOf(activePanelWidgets));

    // Without Combined, every active panel's status item is shown.
    store->setEnabled(store->combinedPanel()->id(), false);
    snapshot = MonitorConfigurationSnapshot::make(settings, false, someDay);
    EXPECT_TRUE(contains(snapshot.statusStatistics(), WS::processCPUUsage));
    EXPECT_TRUE(contains(snapshot.statusStatistics(), WS::batteryCharge));
    EXPECT_EQ(snapshot.allStatistics(), casesOf(store->activeStatistics()));
    EXPECT_FALSE(snapshot.runAtLogin());

    store->setEnabledIds({});
    snapshot = MonitorConfigurationSnapshot::make(settings, false, someDay);
    EXPECT_TRUE(snapshot.allStatistics().empty());
    EXPECT_TRUE(snapshot.requiredServices().empty());
}

TEST(ConfigurationStore, FilesLiveInTheDataHomeAndReadBackWhatWasWritten)
{
    tarnel::testing::LogCapture log;
    DataHome home;
    EXPECT_EQ(MonitorConfigurationStore::snapshotFileURL(),
              home.directory.path() / "Tarnel/Monitor/MonitorConfigurationSnapshot.json");
    EXPECT_EQ(MonitorConfigurationStore::settingsFileURL().filename(), "MonitorSettings.json");

    MonitorSettings settings(MonitorDeviceCapabilities{false});
    auto snapshot = MonitorConfigurationSnapshot::make(settings, true, someDay);
    EXPECT_EQ(MonitorConfigurationStore::loadSnapshot(MonitorConfigurationStore::snapshotFileURL()), std::nullopt);
    MonitorConfigurationStore::saveSnapshot(snapshot, MonitorConfigurationStore::snapshotFileURL());
    MonitorConfigurationStore::saveSettings(settings, MonitorConfigurationStore::settingsFileURL());
    EXPECT_EQ(MonitorConfigurationStore::loadSnapshot(MonitorConfigurationStore::snapshotFileURL()), snapshot);
    auto loaded = MonitorConfigurationStore::loadSettings(MonitorConfigurationStore::settingsFileURL());
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->encode(), settings.encode());

    // Unreadable documents read as nothing, with a line that names the file.
    tarnel::testing::writeFile(MonitorConfigurationStore::snapshotFileURL(), R"({"statusStatistics": 3})");
    EXPECT_EQ(MonitorConfigurationStore::loadSnapshot(MonitorConfigurationStore::snapshotFileURL()), std::nullopt);
    EXPECT_EQ(log.count(LogLevel::error, "MonitorConfigurationSnapshot.json"), 1u);
    tarnel::testing::writeFile(MonitorConfigurationStore::settingsFileURL(), R"({"panelStore": {}})");
    EXPECT_EQ(MonitorConfigurationStore::loadSettings(MonitorConfigurationStore::settingsFileURL()), nullptr);
    tarnel::testing::writeFile(MonitorConfigurationStore::settingsFileURL(), "{ half a docu");
    EXPECT_EQ(MonitorConfigurationStore::loadSettings(MonitorConfigurationStore::settingsFileURL()), nullptr);
}

TEST(ConfigurationStore, AFailedWriteThrowsAndLeavesNothingBehind)
{
    tarnel::testing::TemporaryDirectory directory;
    auto snapshot = MonitorConfigurationSnapshot(2, true, true, {WS::cpuUsage}, {}, someDay);

    // The place of the file is taken by a folder: the rename fails and the folder stays whole.
    auto taken = directory.path() / "Monitor" / "MonitorConfigurationSnapshot.json";
    std::filesystem::create_directories(taken / "inside");
    EXPECT_THROW(MonitorConfigurationStore::saveSnapshot(snapshot, taken), std::system_error);
    EXPECT_TRUE(std::filesystem::is_directory(taken / "inside"));
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(taken.parent_path()))
        ++entries;
    EXPECT_EQ(entries, 1u);

    // A folder that cannot be made.
    tarnel::testing::writeFile(directory.path() / "plain", "x");
    EXPECT_THROW(MonitorConfigurationStore::saveSnapshot(snapshot, directory.path() / "plain" / "Monitor" / "s.json"),
                 std::system_error);
}

TEST(ConfigurationStore, TheSnapshotInThePreferences)
{
    tarnel::testing::LogCapture log;
    tarnel::testing::TemporaryDirectory directory;
    quendal::Preferences preferences(directory.path() / "preferences.json");
    EXPECT_EQ(MonitorConfigurationStore::loadSnapshot(preferences), std::nullopt);
    auto snapshot = MonitorConfigurationSnapshot(2, true, false, {WS::fanSpeed}, {WS::uptime}, someDay);
    MonitorConfigurationStore::saveSnapshot(snapshot, preferences);
    EXPECT_EQ(MonitorConfigurationStore::loadSnapshot(preferences), snapshot);
    preferences.setJson("monitorConfigurationSnapshot", R"({"panelStatistics": []})");
    EXPECT_EQ(MonitorConfigurationStore::loadSnapshot(preferences), std::nullopt);
}
