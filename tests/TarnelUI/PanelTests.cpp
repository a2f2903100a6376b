#include "LogCapture.h"

#include "Platform/Statistics/PowerSupplyReader.h"
#include "TarnelUI/Core/MonitorWidget.h"
#include "TarnelUI/Panel/DefaultPanels.h"
#include "TarnelUI/Panel/PanelStore.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::ui;
using quendal::LogLevel;

namespace {

using K = PanelItemKind;
const MonitorDeviceCapabilities withBattery{true};
const MonitorDeviceCapabilities withoutBattery{false};

std::vector<PanelItemKind> kindsOf(const std::vector<PanelPointer>& panels)
{
    std::vector<PanelItemKind> kinds;
    for (const auto& panel : panels)
        kinds.push_back(panel->kind());
    return kinds;
}

std::vector<WidgetKind> widgetKinds(const WidgetStore::WidgetList& list)
{
    std::vector<WidgetKind> kinds;
    for (const auto& widget : list.items())
        kinds.push_back(widget->kind());
    return kinds;
}

PanelPointer ofKind(const PanelStore& store, PanelItemKind kind)
{
    for (const auto& panel : store.panels().items())
        if (panel->kind() == kind)
            return panel;
    return nullptr;
}

std::set<DaemonService> servicesOf(const WidgetStatisticsSet& statistics)
{
    std::set<DaemonService> services;
    for (const auto& [statistic, indexes] : statistics.entries)
        services.insert(requiredService(statistic));
    return services;
}

} // namespace

TEST(DefaultPanels, TheDocumentListsCombinedFirstWithEverythingEnabledAndLinked)
{
    auto store = PanelStore::makeDefault(withBattery);
    const auto& panels = store->panels().items();
    EXPECT_EQ(kindsOf(panels), (std::vector{K::combined, K::cpuGpu, K::memory, K::storage, K::sensors, K::network, K::power}));
    EXPECT_EQ(store->enabledIds().size(), 7u);
    EXPECT_EQ(store->combinedPanel(), panels[0]);

    // Every Combined widget links to the panel of its kind; shortcuts link nowhere.
    auto combined = store->combinedPanel();
    const auto& widgets = combined->widgetStore().panelWidgets().items();
    ASSERT_EQ(widgets.size(), 9u);
    EXPECT_EQ(store->linkedPanel(widgets[0]->id()), ofKind(*store, K::cpuGpu));
    EXPECT_EQ(store->linkedPanel(widgets[2]->id()), ofKind(*store, K::cpuGpu));
    EXPECT_EQ(store->linkedPanel(widgets[7]->id()), ofKind(*store, K::power));
    EXPECT_EQ(widgets[8]->kind(), WidgetKind::shortcuts);
    EXPECT_EQ(widgets[8]->linkedPanel(), std::nullopt);
    EXPECT_FALSE(widgets[8]->titleSettings().showTitle);
    EXPECT_EQ(combined->widgetStore().linkedPanels().size(), 6u);
    EXPECT_EQ(store->linkedPanel(UUID::random()), nullptr);

    // The settings the Combined panel gives its widgets.
    auto ram = std::dynamic_pointer_cast<MonitorWidget<RAMUsageWidget>>(widgets[1]);
    ASSERT_TRUE(ram);
    EXPECT_FALSE(ram->model().detailed());
    auto statusRam = std::dynamic_pointer_cast<MonitorWidget<RAMUsageWidget>>(
        combined->widgetStore().statusWidgets().items()[1]);
    ASSERT_TRUE(statusRam);
    EXPECT_TRUE(statusRam->model().detailed());
    EXPECT_EQ(statusRam->context(), WidgetContext::status);

    // Panel ids are fresh for every document.
    EXPECT_NE(PanelStore::makeDefault(withBattery)->panels().items()[1]->id(), panels[1]->id());
}

TEST(DefaultPanels, WithoutABatteryPowerShowsProcessesAndCombinedLeavesTheBatteryOut)
{
    auto store = PanelStore::makeDefault(withoutBattery);
    auto power = ofKind(*store, K::power);
    EXPECT_EQ(widgetKinds(power->widgetStore().panelWidgets()), (std::vector{WidgetKind::processUsage, WidgetKind::uptime}));
    EXPECT_EQ(widgetKinds(power->widgetStore().statusWidgets()), std::vector{WidgetKind::processUsage});
    auto energy = std::dynamic_pointer_cast<MonitorWidget<ProcessUsageWidget>>(
        power->widgetStore().statusWidgets().items()[0]);
    ASSERT_TRUE(energy);
    EXPECT_EQ(energy->model().processKind(), ProcessUsageWidget::Kind::energy);

    auto combined = store->combinedPanel();
    EXPECT_EQ(combined->widgetStore().panelWidgets().items().size(), 8u);
    EXPECT_FALSE(combined->widgetStore().linkedPanels().contains(power->id()));
    // So the power panel, though enabled, is not in effect while Combined is.
    EXPECT_EQ(kindsOf(store->activePanels()),
              (std::vector{K::combined, K::cpuGpu, K::memory, K::storage, K::sensors, K::network}));
}

TEST(DefaultPanels, TheCombinedDefaultAloneLinksNothingAndSaysSo)
{
    tarnel::testing::LogCapture log;
    auto combined = PanelItem::defaultItem(K::combined, withBattery);
    EXPECT_EQ(combined->kind(), K::combined);
    EXPECT_TRUE(combined->widgetStore().linkedPanels().empty());
    EXPECT_EQ(log.count(LogLevel::warning, "Warning: Should not attempt to get Combined default item! Use separate method."),
              1u);

    // When a kind occurs twice the later panel is linked.
    auto first = PanelItem::defaultItem(K::memory, withBattery);
    auto second = PanelItem::defaultItem(K::memory, withBattery);
    auto linked = makeCombinedPanel({first, second}, withBattery)->widgetStore().linkedPanels();
    EXPECT_EQ(linked, std::set<UUID>{second->id()});

    auto custom = PanelItem::defaultItem(K::custom, withBattery);
    EXPECT_TRUE(custom->widgetStore().allWidgets().empty());
}

TEST(ActivePanels, CombinedDecidesWhatIsInEffect)
{
    auto store = PanelStore::makeDefault(withBattery);
    auto custom = std::get<PanelPointer>(store->createCustomPanel("Mine"));
    auto combined = store->combinedPanel();
    EXPECT_TRUE(store->isCombinedEnabled());
    // Enabled but not linked from Combined: not in effect.
    auto active = store->activePanels();
    EXPECT_EQ(active.size(), 7u);
    EXPECT_EQ(std::find(active.begin(), active.end(), custom), active.end());
    // Linked but disabled: not in effect either; Combined is never repeated.
    store->setEnabled(ofKind(*store, K::memory)->id(), false);
    active = store->activePanels();
    EXPECT_EQ(kindsOf(active), (std::vector{K::combined, K::cpuGpu, K::storage, K::sensors, K::network, K::power}));

    // Without Combined, enabledIds alone decide, in list order, whatever the links say.
    store->setEnabled(combined->id(), false);
    EXPECT_FALSE(store->isCombinedEnabled());
    active = store->activePanels();
    EXPECT_EQ(kindsOf(active), (std::vector{K::cpuGpu, K::storage, K::sensors, K::network, K::power, K::custom}));

    // Unknown ids have no effect; no ids, no panels.
    store->setEnabled(UUID::random(), true);
    EXPECT_EQ(store->activePanels().size(), 6u);
    store->setEnabledIds({});
    EXPECT_TRUE(store->activePanels().empty());
    EXPECT_TRUE(store->activeStatistics().empty());
    EXPECT_FALSE(store->allStatistics().empty());
}

TEST(ActivePanels, StatisticsOfActivePanelsCoverBothListsOfEach)
{
    auto store = PanelStore::makeDefault(withBattery);
    store->setEnabledIds({ofKind(*store, K::cpuGpu)->id()});
    auto statistics = store->activeStatistics();
    // The status Process widget asks for one process, the panel one for ten: the union has ten.
    EXPECT_EQ(statistics.entries.at(WidgetStatistic::processCPUUsage).size(), 10u);
    EXPECT_TRUE(statistics.entries.contains(WidgetStatistic::cpuCore));
    EXPECT_TRUE(statistics.entries.contains(WidgetStatistic::gpuMemoryUsage));
    EXPECT_FALSE(statistics.entries.contains(WidgetStatistic::memoryPressure));
}

TEST(PanelNames, NamesAreUniqueByWhatIsShownAndOneToTwentyCharacters)
{
    auto store = PanelStore::makeDefault(withBattery);
    std::size_t panels = store->panels().items().size();
    auto refused = std::get<PanelNameRefusal>(store->createCustomPanel("Memory"));
    EXPECT_EQ(refused.title, "Unable to create panel");
    EXPECT_EQ(refused.message, "Panel names must be unique and contain 1-20 characters.");
    EXPECT_TRUE(std::holds_alternative<PanelNameRefusal>(store->createCustomPanel("")));
    EXPECT_TRUE(std::holds_alternative<PanelNameRefusal>(store->createCustomPanel(std::string(21, 'x'))));
    EXPECT_EQ(store->panels().items().size(), panels);

    auto custom = std::get<PanelPointer>(store->createCustomPanel(std::string(20, 'x')));
    EXPECT_TRUE(store->enabledIds().contains(custom->id()));
    EXPECT_EQ(custom->name(), std::string(20, 'x'));
    // Twenty characters of two bytes each are still twenty characters.
    std::string umlauts;
    for (int i = 0; i < 20; ++i)
        umlauts += "ü";
    EXPECT_TRUE(std::holds_alternative<PanelPointer>(store->createCustomPanel(umlauts)));

    auto rename = store->renamePanel(custom->id(), "Memory");
    ASSERT_TRUE(rename);
    EXPECT_EQ(rename->title, "Unable to rename panel");
    EXPECT_EQ(custom->name(), std::string(20, 'x'));
    // Keeping one's own name is no collision.
    EXPECT_EQ(store->renamePanel(custom->id(), std::string(20, 'x')), std::nullopt);
    EXPECT_EQ(store->renamePanel(custom->id(), "Games"), std::nullopt);
    EXPECT_EQ(custom->name(), "Games");
    // The default panels keep their titles.
    EXPECT_TRUE(store->renamePanel(ofKind(*store, K::memory)->id(), "RAM"));
    EXPECT_EQ(ofKind(*store, K::memory)->name(), "Memory");
    EXPECT_EQ(deleteConfirmationText(*custom), "Do you want to delete Games? This action cannot be reversed.");
}

TEST(PanelOperations, DeleteAndResetKeepTheRestOfTheStore)
{
    auto store = PanelStore::makeDefault(withBattery);
    int changes = 0;
    auto observation = store->changes().sink([&](bool) { ++changes; });
    auto custom = std::get<PanelPointer>(store->createCustomPanel("Games"));
    EXPECT_GT(changes, 0);

    EXPECT_FALSE(store->deletePanel(ofKind(*store, K::storage)->id()));
    EXPECT_TRUE(store->deletePanel(custom->id()));
    EXPECT_EQ(store->panel(custom->id()), nullptr);
    EXPECT_FALSE(store->enabledIds().contains(custom->id()));
    EXPECT_EQ(store->panels().items().size(), 7u);

    // Reset brings back the widgets of the kind and keeps the panel's id.
    auto memory = ofKind(*store, K::memory);
    auto id = memory->id();
    memory->widgetStore().setPanelWidgets({});
    store->resetPanel(id, withBattery);
    EXPECT_EQ(memory->id(), id);
    EXPECT_EQ(widgetKinds(memory->widgetStore().panelWidgets()),
              (std::vector{WidgetKind::ramUsage, WidgetKind::processUsage, WidgetKind::shortcuts}));

    // Reset of Combined links to the panels the store has now.
    auto combined = store->combinedPanel();
    auto replacement = PanelItem::defaultItem(K::storage, withBattery);
    auto items = store->panels().items();
    items.push_back(replacement);
    store->setPanels(items);
    store->resetPanel(combined->id(), withoutBattery);
    EXPECT_TRUE(combined->widgetStore().linkedPanels().contains(replacement->id()));
    EXPECT_FALSE(combined->widgetStore().linkedPanels().contains(ofKind(*store, K::power)->id()));
}

TEST(DefaultPanels, RecordedMachines)
{
    using S = DaemonService;
    const std::set<S> common{S::cpu, S::ram, S::gpuUsage, S::processCPUUsage, S::processRAMUsage,
                             S::storageUsage, S::sensors, S::networkService};
    auto plus = [&common](std::set<S> more) {
        more.insert(common.begin(), common.end());
        return more;
    };
    const std::vector<PanelItemKind> all{K::combined, K::cpuGpu, K::memory, K::storage, K::sensors, K::network, K::power};
    const std::vector<PanelItemKind> noPower{K::combined, K::cpuGpu, K::memory, K::storage, K::sensors, K::network};
    struct Machine {
        const char* name;
        bool hasBattery;
        std::vector<PanelItemKind> active;
        std::set<S> services;
    };
    const std::vector<Machine> machines{
        {"laptop", true, all, plus({S::battery, S::power, S::processEnergyUsage})},
        {"desktop", false, noPower, common},
        {"workstation", false, noPower, common},
        {"build-vm", false, noPower, common},
    };
    for (const auto& machine : machines) {
        SCOPED_TRACE(machine.name);
        platform::PowerSupplyReader reader(platform::SystemRoot(tarnel::testing::sourceDirectory() / "tests/fixtures" / machine.name));
        MonitorDeviceCapabilities capabilities{!reader.read().batteries.empty()};
        EXPECT_EQ(capabilities.hasBattery, machine.hasBattery);

        auto store = PanelStore::makeDefault(capabilities);
        EXPECT_EQ(kindsOf(store->panels().items()), all);
        EXPECT_EQ(store->enabledIds().size(), 7u);
        EXPECT_EQ(kindsOf(store->activePanels()), machine.active);
        EXPECT_EQ(servicesOf(store->activeStatistics()), machine.services);
    }
}
