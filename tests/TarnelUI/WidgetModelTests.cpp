#include "LogCapture.h"

#include "TarnelUI/Core/AnyWidget.h"
#include "TarnelUI/Core/MonitorWidget.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::ui;
using quendal::LogLevel;

namespace {

using WS = WidgetStatistic;

template <class Model>
std::shared_ptr<MonitorWidget<Model>> roundTrip(const MonitorWidget<Model>& widget)
{
    auto decoded = AnyWidget::decode(AnyWidget{widget.copy(false)}.encode()).widget;
    auto typed = std::dynamic_pointer_cast<MonitorWidget<Model>>(decoded);
    EXPECT_NE(typed, nullptr);
    return typed;
}

std::set<std::int64_t> indexesOf(const WidgetStatisticsSet& set, WidgetStatistic statistic)
{
    auto found = set.entries.find(statistic);
    EXPECT_NE(found, set.entries.end()) << codec::nameOf(statistic);
    return found == set.entries.end() ? std::set<std::int64_t>{} : found->second;
}

std::set<WidgetStatistic> keysOf(const WidgetStatisticsSet& set)
{
    std::set<WidgetStatistic> keys;
    for (const auto& [statistic, indexes] : set.entries)
        keys.insert(statistic);
    return keys;
}

} // namespace

TEST(WidgetCoding, EnvelopeHoldsTheKindTwiceAndTheLinkOnlyWhenSet)
{
    auto widget = MonitorWidget<FanSensorWidget>::make();
    auto element = AnyWidget{widget}.encode();
    EXPECT_EQ(element["kind"], "fanSensor");
    EXPECT_EQ(element["widget"]["kind"], "fanSensor");
    EXPECT_EQ(element["widget"]["id"], widget->id().text());
    EXPECT_EQ(element["widget"]["model"]["context"], "panel");
    EXPECT_EQ(element["widget"]["titleSettings"], Json::parse(R"({"showTitle":true,"customTitle":"","customOverride":false})"));
    EXPECT_FALSE(element["widget"].contains("linkedPanel"));

    auto panel = UUID::random();
    widget->setLinkedPanel(panel);
    element = AnyWidget{widget}.encode();
    EXPECT_EQ(element["widget"]["linkedPanel"], panel.text());
    auto back = AnyWidget::decode(element).widget;
    EXPECT_EQ(back->linkedPanel(), panel);
    EXPECT_TRUE(back->isEqual(*widget));
}

TEST(WidgetCoding, DefaultedFieldsAreLeftOutAtTheirDefaultAndReadBackEitherWay)
{
    auto process = MonitorWidget<ProcessUsageWidget>::make();
    auto model = process->encode()["model"];
    EXPECT_FALSE(model.contains("kind"));
    EXPECT_FALSE(model.contains("count"));
    auto back = roundTrip(*process);
    EXPECT_EQ(back->model().processKind(), ProcessUsageWidget::Kind::cpu);
    EXPECT_EQ(back->model().count(), 10);

    process->modify([](ProcessUsageWidget& m) {
        m.setProcessKind(ProcessUsageWidget::Kind::realRam);
        m.setCount(5);
    });
    model = process->encode()["model"];
    EXPECT_EQ(model["kind"], "realRam");
    EXPECT_EQ(model["count"], 5);
    back = roundTrip(*process);
    EXPECT_EQ(back->model().processKind(), ProcessUsageWidget::Kind::realRam);
    EXPECT_EQ(indexesOf(back->statistics(), WS::processRAMRealUsage), (std::set<std::int64_t>{0, 1, 2, 3, 4}));

    auto storage = MonitorWidget<StorageUsageWidget>::make();
    model = storage->encode()["model"];
    for (auto key : {"compactStyle", "showVolumes", "showValue"})
        EXPECT_FALSE(model.contains(key)) << key;
    storage->modify([](StorageUsageWidget& m) { m.compactStyle = true; });
    model = storage->encode()["model"];
    EXPECT_EQ(model["compactStyle"], true);
    EXPECT_FALSE(model.contains("showVolumes"));
    EXPECT_FALSE(model.contains("showValue"));
    storage->modify([](StorageUsageWidget& m) {
        m.compactStyle = false;
        m.showValue = false;
    });
    model = storage->encode()["model"];
    EXPECT_EQ(model["showValue"], false);
    EXPECT_FALSE(model.contains("compactStyle"));
    EXPECT_FALSE(roundTrip(*storage)->model().showValue);

    // A stored null reads as the default too.
    model["showValue"] = nullptr;
    EXPECT_TRUE(StorageUsageWidget::decode(model).showValue);
}

TEST(WidgetCoding, BrokenSettingsGiveANewWidgetOfTheSameKindAndAnErrorLine)
{
    tarnel::testing::LogCapture log;
    auto ram = MonitorWidget<RAMUsageWidget>::make();
    ram->setLinkedPanel(UUID::random());
    ram->setTitleSettings({false, "Mine", true});
    auto element = AnyWidget{ram}.encode();
    element["widget"]["model"].erase("statistics");

    auto back = AnyWidget::decode(element).widget;
    EXPECT_EQ(back->kind(), WidgetKind::ramUsage);
    EXPECT_NE(back->id(), ram->id());
    EXPECT_EQ(back->linkedPanel(), std::nullopt);
    EXPECT_EQ(back->titleSettings(), WidgetTitleSettings{});
    EXPECT_EQ(back->context(), WidgetContext::panel);
    EXPECT_EQ(log.count(LogLevel::error, "Unable to decode widget ramUsage: the key \"statistics\" is missing."), 1u);

    // An unknown statistic, a wrong value type or a missing required key fail the same way.
    auto cores = AnyWidget{MonitorWidget<CPUCoresWidget>::make()}.encode();
    auto unknownStatistic = cores;
    unknownStatistic["widget"]["model"]["statistics"]["entries"][0] = "cpuWarpDrive";
    auto wrongType = cores;
    wrongType["widget"]["model"]["showValue"] = "yes";
    auto missingTitle = cores;
    missingTitle["widget"]["titleSettings"].erase("customOverride");
    for (const auto& broken : {unknownStatistic, wrongType, missingTitle}) {
        auto widget = AnyWidget::decode(broken).widget;
        EXPECT_EQ(widget->kind(), WidgetKind::cpuCores);
        EXPECT_NE(widget->id().text(), cores["widget"]["id"]);
    }
    EXPECT_EQ(log.count(LogLevel::error, "Unable to decode widget cpuCores:"), 3u);

    // An unknown kind is not this function's to replace.
    auto unknown = cores;
    unknown["kind"] = "weatherForecast";
    EXPECT_THROW(AnyWidget::decode(unknown), UnknownWidgetKindError);
}

TEST(WidgetContexts, MovingAWidgetRecomputesWhatItDemands)
{
    auto ram = MonitorWidget<RAMUsageWidget>::make();
    EXPECT_EQ(ram->statistics().entries.size(), 6u);
    ram->setContext(WidgetContext::status);
    EXPECT_EQ(keysOf(ram->statistics()), std::set<WidgetStatistic>{WS::memoryPressure});
    ram->setContext(WidgetContext::panel);
    EXPECT_EQ(ram->statistics().entries.size(), 6u);
    ram->modify([](RAMUsageWidget& m) { m.setDetailed(false); });
    EXPECT_EQ(keysOf(ram->statistics()), std::set<WidgetStatistic>{WS::memoryPressure});

    // The interface widget lives in panels only: moving it does nothing at all.
    auto interface = MonitorWidget<NetworkInterfaceWidget>::make();
    int changes = 0;
    auto observation = interface->changes().sink([&](bool) { ++changes; });
    interface->setContext(WidgetContext::status);
    EXPECT_EQ(interface->context(), WidgetContext::panel);
    EXPECT_EQ(changes, 0);

    // Processes: ten in a panel, one in a status item, whatever the count.
    auto process = MonitorWidget<ProcessUsageWidget>::make();
    process->modify([](ProcessUsageWidget& m) { m.setCount(3); });
    process->setContext(WidgetContext::status);
    EXPECT_EQ(indexesOf(process->statistics(), WS::processCPUUsage), std::set<std::int64_t>{0});
    process->setContext(WidgetContext::panel);
    EXPECT_EQ(indexesOf(process->statistics(), WS::processCPUUsage).size(), 10u);
    EXPECT_EQ(process->model().count(), 3);
    // Loading brings the stored demand back to the count.
    EXPECT_EQ(indexesOf(roundTrip(*process)->statistics(), WS::processCPUUsage).size(), 3u);
}

TEST(WidgetContexts, ASensorWidgetInAStatusItemTracksOneGroupForGood)
{
    using Tracking = TemperatureSensorWidget::TrackingType;
    auto sensors = MonitorWidget<TemperatureSensorWidget>::make(
        TemperatureSensorWidget(WidgetSensorGroup::gpu, false, Tracking::individual));
    EXPECT_EQ(sensors->statistics().entries.size(), 15u);
    EXPECT_TRUE(sensors->statistics().entries.contains(WS::psuTemperatureSensor));
    EXPECT_EQ(sensors->modelTitle(), "Sensors");

    sensors->setContext(WidgetContext::status);
    EXPECT_EQ(keysOf(sensors->statistics()), std::set<WidgetStatistic>{WS::gpuGroupTemperatureSensor});
    EXPECT_EQ(sensors->modelTitle(), "GPU");
    sensors->setContext(WidgetContext::panel);
    EXPECT_TRUE(sensors->model().filter());
    EXPECT_EQ(sensors->model().trackingType(), Tracking::group);
    EXPECT_EQ(sensors->modelTitle(), "GPU Sensors");

    sensors->modify([](TemperatureSensorWidget& m) {
        m.setTrackingType(Tracking::individual);
        m.setGroup(WidgetSensorGroup::airport);
    });
    EXPECT_EQ(keysOf(sensors->statistics()), std::set<WidgetStatistic>{WS::airportTemperatureSensor});
    auto status = sensors->copy(true);
    status->setContext(WidgetContext::status);
    EXPECT_EQ(status->modelTitle(), "APT");
}

TEST(WidgetCoding, ShortcutsToTheRenamedSettingsEntryAreRepairedOnLoad)
{
    auto shortcuts = MonitorWidget<ShortcutWidget>::make();
    EXPECT_EQ(shortcuts->model().urls.size(), 6u);
    EXPECT_TRUE(shortcuts->statistics().empty());
    shortcuts->modify([](ShortcutWidget& m) {
        m.urls = {{UUID::random(), "file:///usr/share/applications/gnome-control-center.desktop"},
                  {UUID::random(), "file:///usr/share/applications/my-gnome-control-center.desktop"},
                  {UUID::random(), "file:///opt/gnome-control-center.desktop/bin/app.desktop"}};
    });
    auto back = roundTrip(*shortcuts);
    const auto& urls = back->model().urls;
    EXPECT_EQ(urls[0].url, ShortcutWidget::settingsURL);
    EXPECT_EQ(urls[0].id, shortcuts->model().urls[0].id);
    EXPECT_EQ(urls[1].url, shortcuts->model().urls[1].url);
    EXPECT_EQ(urls[2].url, ShortcutWidget::settingsURL);

    auto notAFile = AnyWidget{shortcuts}.encode();
    notAFile["widget"]["model"]["urls"][0]["url"] = "https://example.org";
    EXPECT_EQ(std::dynamic_pointer_cast<MonitorWidget<ShortcutWidget>>(AnyWidget::decode(notAFile).widget)
                  ->model()
                  .urls.size(),
              6u);
}

TEST(WidgetIdentity, CopiesResetsAndEquality)
{
    tarnel::testing::LogCapture log;
    auto cpu = MonitorWidget<CPUUsageWidget>::make();
    cpu->setTitleSettings({true, "Processor", true});
    auto same = cpu->copy(false);
    auto fresh = cpu->copy(true);
    EXPECT_EQ(same->id(), cpu->id());
    EXPECT_TRUE(same->isEqual(*cpu));
    EXPECT_NE(fresh->id(), cpu->id());
    EXPECT_FALSE(fresh->isEqual(*cpu));
    EXPECT_TRUE(fresh->isEqual(*cpu, true));
    EXPECT_NE(same.get(), cpu.get());

    auto gpu = MonitorWidget<GPUUsageWidget>::make();
    EXPECT_FALSE(gpu->isEqual(*cpu, true));

    // Reset keeps this id and takes the rest.
    auto other = MonitorWidget<CPUUsageWidget>::make();
    other->setLinkedPanel(UUID::random());
    other->reset(*cpu);
    EXPECT_TRUE(other->isEqual(*cpu, true));
    EXPECT_NE(other->id(), cpu->id());

    // Across types nothing changes and the attempt is logged.
    auto before = gpu->encode();
    gpu->reset(*cpu);
    EXPECT_EQ(gpu->encode(), before);
    EXPECT_EQ(log.count(LogLevel::error, "Error: Unable to reset gpuUsage " + gpu->id().text() + " to cpuUsage"), 1u);
}
