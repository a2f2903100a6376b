#include "LogCapture.h"

#include "TarnelUI/Core/AnyWidget.h"
#include "TarnelUI/Core/MonitorWidget.h"
#include "TarnelUI/Core/WidgetStore.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::ui;
using quendal::LogLevel;

namespace {

using WS = WidgetStatistic;

WidgetPointer processWidget(std::int64_t count)
{
    ProcessUsageWidget model;
    model.setCount(count);
    return MonitorWidget<ProcessUsageWidget>::make(model);
}

std::set<WidgetStatistic> keysOf(const WidgetStatisticsSet& set)
{
    std::set<WidgetStatistic> keys;
    for (const auto& [statistic, indexes] : set.entries)
        keys.insert(statistic);
    return keys;
}

struct ChangeCounter {
    int count = 0;
    quendal::Cancellable subscription;
    explicit ChangeCounter(const quendal::Publisher<bool>& publisher)
        : subscription(publisher.sink([this](bool) { ++count; }))
    {
    }
};

} // namespace

TEST(WidgetStore, WidgetsTakeTheContextOfTheirList)
{
    auto ram = MonitorWidget<RAMUsageWidget>::make();
    auto cpu = MonitorWidget<CPUUsageWidget>::make();
    WidgetStore store({MonitorWidget<CPUCoresWidget>::make()}, {ram, cpu});
    EXPECT_EQ(ram->context(), WidgetContext::status);
    EXPECT_EQ(keysOf(ram->statistics()), std::set{WS::memoryPressure});

    // A list replaced later is assigned again.
    store.setStatusWidgets({cpu});
    store.setPanelWidgets({ram});
    EXPECT_EQ(ram->context(), WidgetContext::panel);
    EXPECT_EQ(store.allWidgets().size(), 2u);
    EXPECT_TRUE(store.allWidgets().contains(cpu->id()));

    // Decoding does the same, whatever the stored contexts say.
    auto document = store.encode();
    document["statusWidgets"][0]["widget"]["model"]["context"] = "panel";
    WidgetStore decoded(document);
    EXPECT_EQ(decoded.statusWidgets().items()[0]->context(), WidgetContext::status);
}

TEST(WidgetStore, AnUnknownKindLosesThatWidgetAlone)
{
    tarnel::testing::LogCapture log;
    WidgetStore store({MonitorWidget<CPUUsageWidget>::make(), MonitorWidget<FanSensorWidget>::make()},
                      {MonitorWidget<UptimeWidget>::make()});
    auto document = store.encode();
    auto alien = document["panelWidgets"][0];
    alien["kind"] = "stockTicker";
    alien["widget"]["kind"] = "stockTicker";
    alien["widget"]["id"] = "6A1C1D2E-0000-4000-8000-000000000001";
    document["panelWidgets"].insert(document["panelWidgets"].begin() + 1, alien);
    document["statusWidgets"].push_back(Json::parse(R"({"widget": {}})"));

    WidgetStore decoded(document);
    ASSERT_EQ(decoded.panelWidgets().items().size(), 2u);
    EXPECT_EQ(decoded.panelWidgets().items()[0]->kind(), WidgetKind::cpuUsage);
    EXPECT_EQ(decoded.panelWidgets().items()[1]->kind(), WidgetKind::fanSensor);
    EXPECT_EQ(decoded.statusWidgets().items().size(), 1u);
    EXPECT_EQ(log.count(LogLevel::error, "Unable to decode widget 6A1C1D2E-0000-4000-8000-000000000001"), 1u);
    EXPECT_EQ(log.count(LogLevel::error, "Unable to decode widget"), 2u);

    // Lists themselves are required.
    document.erase("statusWidgets");
    EXPECT_THROW(WidgetStore{document}, ModelDecodingError);
}

TEST(WidgetStore, StatisticsOfAContextMergeIndexesAndEveryInstanceWins)
{
    WidgetStore store({processWidget(3), processWidget(7), MonitorWidget<CPUUsageWidget>::make()},
                      {processWidget(10), MonitorWidget<TemperatureSensorWidget>::make()});
    auto panel = store.statistics(WidgetContext::panel);
    EXPECT_EQ(panel.entries.at(WS::processCPUUsage).size(), 10u); // panels ask for ten whatever the count
    EXPECT_TRUE(panel.entries.at(WS::cpuUsage).empty());
    auto status = store.statistics(WidgetContext::status);
    EXPECT_EQ(status.entries.at(WS::processCPUUsage), std::set<std::int64_t>{0});
    EXPECT_EQ(status.entries.size(), 2u);
    EXPECT_TRUE(status.entries.contains(WS::cpuGroupTemperatureSensor));

    WidgetStatisticsSet some;
    some.entries[WS::cpuCore] = {1, 2};
    WidgetStatisticsSet others;
    others.entries[WS::cpuCore] = {2, 5};
    mergeStatistics(some, others);
    EXPECT_EQ(some.entries.at(WS::cpuCore), (std::set<std::int64_t>{1, 2, 5}));
    mergeStatistics(some, WidgetStatisticsSet(std::set{WS::cpuCore}));
    EXPECT_TRUE(some.entries.at(WS::cpuCore).empty());
    mergeStatistics(some, others);
    EXPECT_TRUE(some.entries.at(WS::cpuCore).empty());
}

TEST(WidgetStore, ObserversHearOfModelTitleAndLinkChanges)
{
    auto cores = MonitorWidget<CPUCoresWidget>::make();
    auto storage = MonitorWidget<StorageUsageWidget>::make();
    WidgetStore store({cores}, {storage});
    ChangeCounter changes(store.changes());
    EXPECT_EQ(changes.count, 0);

    cores->modify([](CPUCoresWidget& m) { m.showValue = false; });
    EXPECT_EQ(changes.count, 1);
    storage->setTitleSettings({false, "", false});
    EXPECT_EQ(changes.count, 2);
    cores->setLinkedPanel(UUID::random());
    EXPECT_EQ(changes.count, 3);
    // Setting what is already there is no change.
    cores->setLinkedPanel(cores->linkedPanel());
    storage->setTitleSettings(storage->titleSettings());
    cores->setContext(WidgetContext::panel);
    EXPECT_EQ(changes.count, 3);
    // A widget that left the store is no longer heard.
    store.setStatusWidgets({});
    int afterRemoval = changes.count;
    storage->setLinkedPanel(UUID::random());
    EXPECT_EQ(changes.count, afterRemoval);
}

TEST(WidgetStore, LinkedPanelsComeFromPanelWidgetsOnly)
{
    auto a = UUID::random();
    auto b = UUID::random();
    auto linkedPanelWidget = MonitorWidget<CPUUsageWidget>::make();
    linkedPanelWidget->setLinkedPanel(a);
    auto linkedStatusWidget = MonitorWidget<CPUUsageWidget>::make();
    linkedStatusWidget->setLinkedPanel(b);
    WidgetStore store({linkedPanelWidget, MonitorWidget<GPUUsageWidget>::make()}, {linkedStatusWidget});
    EXPECT_EQ(store.linkedPanels(), std::set<UUID>{a});
}

TEST(WidgetStore, ApplyResetsMatchingWidgetsInPlace)
{
    auto kept = MonitorWidget<RAMUsageWidget>::make();
    auto dropped = MonitorWidget<FanSensorWidget>::make();
    WidgetStore store({kept, dropped}, {});

    // The other store: the kept widget changed, a new one added, the fan gone.
    auto changedCopy = std::dynamic_pointer_cast<MonitorWidget<RAMUsageWidget>>(kept->copy(false));
    changedCopy->modify([](RAMUsageWidget& m) { m.setDetailed(false); });
    changedCopy->setTitleSettings({false, "Mem", true});
    auto added = MonitorWidget<UptimeWidget>::make();
    WidgetStore other({added, changedCopy}, {});

    int keptChanges = 0;
    auto observation = kept->changes().sink([&](bool) { ++keptChanges; });
    store.apply(other);

    const auto& items = store.panelWidgets().items();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[1].get(), kept.get());
    EXPECT_EQ(keptChanges, 1);
    EXPECT_FALSE(kept->model().detailed());
    EXPECT_EQ(kept->titleSettings().customTitle, "Mem");
    EXPECT_EQ(items[0]->id(), added->id());
    EXPECT_NE(items[0].get(), added.get()); // the stores do not share objects
    EXPECT_FALSE(store.allWidgets().contains(dropped->id()));
    EXPECT_EQ(store.encode(), other.encode());
}
