#include "TarnelUI/Core/LocalizedText.h"
#include "TarnelUI/Core/MonitorWidget.h"
#include "TarnelUI/Core/WidgetStatisticDisplay.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>

using namespace tarnel;
using namespace tarnel::ui;

namespace {

using WS = WidgetStatistic;

std::set<WidgetStatistic> where(auto predicate)
{
    std::set<WidgetStatistic> found;
    for (auto statistic : allWidgetStatistics)
        if (predicate(statistic))
            found.insert(statistic);
    return found;
}

// Installs a translator for one test and counts its calls.
struct Translation {
    int calls = 0;
    using Texts = std::map<std::string, std::string>;
    explicit Translation(Texts texts)
    {
        LocalizedText::shared().setTranslator([this, texts](std::string_view key, std::string_view english) {
            ++calls;
            auto found = texts.find(std::string(key));
            return found == texts.end() ? std::string(english) : found->second;
        });
    }
    ~Translation() { LocalizedText::shared().setTranslator({}); }
};

} // namespace

TEST(Catalogue, SetsAreWrittenInCatalogueOrderNotInTheOrderAWidgetListsThem)
{
    // The CPU widget names user before system; the catalogue puts system first.
    auto widget = MonitorWidget<CPUUsageWidget>::make();
    auto entries = widget->encode()["model"]["statistics"]["entries"];
    ASSERT_EQ(entries.size(), 6u);
    EXPECT_EQ(entries[0], "cpuUsage");
    EXPECT_EQ(entries[2], "cpuSystemUsage");
    EXPECT_EQ(entries[4], "cpuUserUsage");

    for (std::size_t i = 0; i < allWidgetStatistics.size(); ++i)
        EXPECT_EQ(static_cast<std::size_t>(allWidgetStatistics[i]), i);
    EXPECT_LT(WS::cpuSystemUsage, WS::cpuUserUsage);
    EXPECT_LT(WS::otherGroupTemperatureSensor, WS::fanSpeed);
}

TEST(Catalogue, IndexedTitlesCountFromOneAndExistOnlyWithAPrefix)
{
    EXPECT_EQ(tarnel::indexedTitle(WS::cpuCore, 0), "Core #1");
    EXPECT_EQ(ui::indexedTitle(WS::cpuCore, 0), "Core #1");
    EXPECT_EQ(tarnel::indexedTitle(WS::processRAMRealUsage, 11), "Real RAM Usage #12");
    EXPECT_EQ(tarnel::indexedTitle(WS::gpuUsage, 0), std::nullopt);
    EXPECT_EQ(ui::indexedTitle(WS::gpuUsage, 0), std::nullopt);
    // Network statistics have instance titles but are not indexed statistics.
    EXPECT_EQ(tarnel::indexedTitle(WS::networkInterface, 1), "Network Interface #2");
    EXPECT_FALSE(isIndexed(WS::networkInterface));
    EXPECT_FALSE(isIndexed(WS::storageUsage));
    EXPECT_FALSE(isIndexed(WS::gpuUsage));

    // Only the widget module's core prefix is translated.
    Translation translation(Translation::Texts{{"panel_statistic_core", "Kern"}});
    EXPECT_EQ(ui::indexedTitle(WS::cpuCore, 3), "Kern #4");
    EXPECT_EQ(tarnel::indexedTitle(WS::cpuCore, 3), "Core #4");
}

TEST(Catalogue, IndexedKindsCoverExactlyTheIndexedStatistics)
{
    auto indexed = where([](WidgetStatistic s) { return isIndexed(s); });
    EXPECT_EQ(indexed, where([](WidgetStatistic s) { return indexedKind(s).has_value(); }));
    EXPECT_EQ(indexed.size(), 1u + 4u + 18u + 1u);
    EXPECT_EQ(indexedKind(WS::cpuCore), IndexedWidgetStatisticKind::cpuCore);
    EXPECT_EQ(indexedKind(WS::processEnergyUsage), IndexedWidgetStatisticKind::process);
    EXPECT_EQ(indexedKind(WS::otherTemperatureSensor), IndexedWidgetStatisticKind::temperatureSensor);
    EXPECT_EQ(indexedKind(WS::socGroupTemperatureSensor), std::nullopt);
    EXPECT_EQ(indexedKind(WS::fanSpeed), IndexedWidgetStatisticKind::fanSensor);
    // No statistic reaches the gpu or storage kinds.
    EXPECT_TRUE(where([](WidgetStatistic s) {
                    auto kind = indexedKind(s);
                    return kind == IndexedWidgetStatisticKind::gpu || kind == IndexedWidgetStatisticKind::storage;
                }).empty());
}

TEST(Catalogue, EachSensorAndItsGroupCaseShareEveryLookup)
{
    for (int i = 0; i < 18; ++i) {
        auto individual = static_cast<WS>(static_cast<int>(WS::socTemperatureSensor) + i);
        auto group = static_cast<WS>(static_cast<int>(WS::socGroupTemperatureSensor) + i);
        SCOPED_TRACE(title(individual));
        EXPECT_EQ(title(individual), title(group));
        EXPECT_EQ(shortTitle(individual), shortTitle(group));
        EXPECT_EQ(statusTitle(individual), statusTitle(group));
        EXPECT_EQ(tarnel::symbolName(individual), tarnel::symbolName(group));
        EXPECT_EQ(ui::symbolName(individual), ui::symbolName(group));
        EXPECT_EQ(dataFormat(individual), dataFormat(group));
        EXPECT_EQ(requiredService(individual), DaemonService::sensors);
        EXPECT_EQ(requiredService(group), DaemonService::sensors);
    }
}

TEST(Catalogue, SensorGroupsPairTheirTwoCasesAndSomeTitlesDifferFromTheirSensor)
{
    EXPECT_EQ(title(WS::psuTemperatureSensor), "PSU Sensors");
    EXPECT_EQ(title(WidgetSensorGroup::psu), "Power Supply");
    EXPECT_EQ(title(WS::airportTemperatureSensor), "Wi-Fi Sensors");
    EXPECT_EQ(title(WidgetSensorGroup::airport), "Airport Wireless");

    std::set<WidgetStatistic> reachable;
    for (auto group : allWidgetSensorGroups) {
        SCOPED_TRACE(name(group));
        EXPECT_EQ(sensorGroupNamed(name(group)), group);
        EXPECT_TRUE(isIndividualTemperatureSensor(individualStatistic(group)));
        EXPECT_TRUE(isGroupTemperatureSensor(groupStatistic(group)));
        EXPECT_EQ(title(individualStatistic(group)), title(groupStatistic(group)));
        EXPECT_EQ(sensorGroup(individualStatistic(group)), group);
        EXPECT_EQ(sensorGroup(groupStatistic(group)), std::nullopt);
        reachable.insert(individualStatistic(group));
    }
    EXPECT_EQ(allWidgetSensorGroups.front(), WidgetSensorGroup::cpu);
    EXPECT_EQ(reachable.size(), 15u);
    EXPECT_EQ(sensorGroup(WS::neuralEngineTemperatureSensor), std::nullopt);
    EXPECT_EQ(sensorGroupNamed("neuralEngine"), std::nullopt);
}

TEST(Catalogue, SensorFamiliesWithoutAGroupHaveNoFormatTagOrWidgetSymbol)
{
    auto ungrouped = where([](WidgetStatistic s) {
        return (isIndividualTemperatureSensor(s) || isGroupTemperatureSensor(s))
            && !sensorGroup(isGroupTemperatureSensor(s)
                                ? static_cast<WS>(static_cast<int>(s) - 18)
                                : s);
    });
    EXPECT_EQ(ungrouped.size(), 6u);
    EXPECT_EQ(ungrouped, where([](WidgetStatistic s) {
                  return tarnel::symbolName(s) != ui::symbolName(s);
              }));
    for (auto s : ungrouped) {
        EXPECT_EQ(tarnel::symbolName(s), "thermometer");
        EXPECT_EQ(statusTitle(s), std::nullopt);
    }
    // Only strings and those six sensor families go without a format.
    std::set<WidgetStatistic> unformatted = ungrouped;
    unformatted.insert({WS::sleepReason, WS::wakeReason, WS::networkService, WS::networkInterface});
    EXPECT_EQ(where([](WidgetStatistic s) { return !dataFormat(s); }), unformatted);
}

TEST(Catalogue, StatusTagsAreShortUpperCaseAndEveryStatisticHasAService)
{
    for (auto statistic : allWidgetStatistics) {
        SCOPED_TRACE(title(statistic));
        EXPECT_FALSE(title(statistic).empty());
        EXPECT_FALSE(shortTitle(statistic).empty());
        if (auto tag = statusTitle(statistic)) {
            EXPECT_LE(tag->size(), 4u);
            for (char c : *tag)
                EXPECT_TRUE(std::isupper(static_cast<unsigned char>(c)));
        }
    }
    // Services follow the family: one of each kind is enough to catch a shifted row.
    EXPECT_EQ(requiredService(WS::processRAMRealUsage), DaemonService::processRAMUsage);
    EXPECT_EQ(requiredService(WS::gpuTemperature), DaemonService::gpuUsage);
    EXPECT_EQ(requiredService(WS::networkInterface), DaemonService::networkService);
    EXPECT_EQ(requiredService(WS::wakeReason), DaemonService::power);
    EXPECT_EQ(requiredService(WS::fanSpeed), DaemonService::sensors);
    EXPECT_EQ(title(WS::fanSpeed), "Fans");
}

TEST(Catalogue, DisplayTitlesDifferFromPlainTitlesOnlyWhereTheWidgetWordsThemOtherwise)
{
    auto differing = where([](WidgetStatistic s) { return displayTitle(s) != title(s); });
    EXPECT_EQ(differing, (std::set<WidgetStatistic>{WS::cpuSystemUsage, WS::cpuUserUsage, WS::ramWired, WS::ramActive,
                                                    WS::ramCompressed, WS::ramAvailable}));
    EXPECT_EQ(displayTitle(WS::cpuSystemUsage), "CPU Usage (System)");
    EXPECT_EQ(displayTitle(WS::ramWired), "Wired RAM");
    EXPECT_TRUE(where([](WidgetStatistic s) { return displayShortTitle(s) != shortTitle(s); }).empty());

    // A translation applies to the keyed cases; unkeyed ones never change.
    Translation translation(
        Translation::Texts{{"panel_statistic_usage", "Auslastung"}, {"panel_statistic_memory_pressure", "Druck"}});
    EXPECT_EQ(displayShortTitle(WS::cpuUsage), "Auslastung");
    EXPECT_EQ(displayShortTitle(WS::gpuUsage), "Auslastung");
    EXPECT_EQ(displayTitle(WS::memoryPressure), "Druck");
    EXPECT_EQ(displayShortTitle(WS::memoryPressure), "Pressure");
    EXPECT_EQ(displayTitle(WS::storageUsage), "Storage");
    // Each key is translated once and then kept.
    int calls = translation.calls;
    for (int i = 0; i < 5; ++i)
        displayShortTitle(WS::cpuUsage);
    EXPECT_EQ(translation.calls, calls);
}
