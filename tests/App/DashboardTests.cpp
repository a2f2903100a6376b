// The Dashboard's store, cards and header texts against recorded batches and catalogues.
#include "App/Dashboard/DashboardProvider.h"
#include "App/Dashboard/MachineDescription.h"
#include "App/Dashboard/StorageOverview.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include "DashboardCardKinds.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace tarnel;
using W = WidgetStatistic;
using tarnel::testing::VirtualTime;

namespace {

StatsValueSnapshot value(W statistic, std::optional<double> fraction, std::optional<double> v = std::nullopt)
{
    StatsValueSnapshot s;
    s.statistic = statistic;
    s.fraction = fraction;
    s.value = v;
    return s;
}

StatsStorageVolumeSnapshot volume(std::string identifier, std::string name, std::uint64_t total, std::uint64_t used)
{
    StatsStorageVolumeSnapshot v;
    v.identifier = std::move(identifier);
    v.name = std::move(name);
    v.totalBytes = total;
    v.usedBytes = used;
    v.freeBytes = total - used;
    return v;
}

HardwareDiskCatalogItem disk(std::string id, HardwareDiskKind kind, std::optional<std::string> parent,
                             std::optional<std::string> mount = std::nullopt)
{
    HardwareDiskCatalogItem d;
    d.identifier = id;
    d.name = id;
    d.kind = kind;
    d.parentIdentifier = std::move(parent);
    d.mountPoint = std::move(mount);
    d.isInternal = true;
    return d;
}

struct Dashboard {
    Dashboard()
    {
        store = std::make_shared<DashboardDaemonStatsStore>([this](std::vector<W>, StatisticUpdateFrequency) {
            auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
            feed = continuation;
            return stream;
        });
        catalog = std::make_shared<HardwareCatalogStore>([]() -> asio::awaitable<HardwareCatalogSnapshot> { co_return HardwareCatalogSnapshot{}; });
        inventory = std::make_shared<SystemInventoryStore>([]() -> asio::awaitable<SystemInventorySnapshot> { co_return SystemInventorySnapshot{}; });
        provider = std::make_shared<DashboardProvider>(DashboardProvider::Sources{
            store, catalog, inventory, nullptr, [](const StatsProcessUsageSnapshot& p) { return "icon:" + p.name; },
            [] { return quendal::TemperatureUnitFormat::celsius; }});
    }
    std::vector<std::string> cardKinds() { return tarnel::testing::cardKinds(provider->sections().at(1)); }
    std::shared_ptr<DashboardDaemonStatsStore> store;
    std::shared_ptr<HardwareCatalogStore> catalog;
    std::shared_ptr<SystemInventoryStore> inventory;
    std::shared_ptr<DashboardProvider> provider;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
};

} // namespace

TEST(Dashboard, ApplyingBatchesKeepsWhatABatchDoesNotSpeakFor)
{
    Dashboard d;
    auto& store = *d.store;
    for (int i = 0; i < 101; ++i) {
        StatsUpdateBatch b;
        b.values = {value(W::cpuUsage, i / 100.0 + 0.009)};
        store.apply(b);
    }
    ASSERT_EQ(store.cpuUsageHistory.size(), 100u) << "the 101st sample pushes out the first";
    EXPECT_EQ(store.cpuUsageHistory.front(), 1);
    EXPECT_EQ(store.cpuUsageHistory.back(), 100) << "truncated, never rounded: 1.009 gives 100";

    StatsUpdateBatch volumes;
    volumes.services = {DaemonService::storageUsage};
    volumes.storageVolumes = {volume("/", "root", 100, 40)};
    StatsGPUUsageSnapshot gpu;
    gpu.index = 1;
    gpu.name = "Radeon";
    gpu.usageFraction = 0.377;
    volumes.gpuUsages = {gpu};
    store.apply(volumes);
    EXPECT_EQ(store.gpuUsageHistory.at("1"), std::vector<int>{37}) << "no identifier: kept under the decimal index";

    StatsUpdateBatch quiet;
    quiet.values = {value(W::cpuUsage, 0.5)};
    store.apply(quiet);
    EXPECT_EQ(store.storageVolumes.size(), 1u) << "a batch without the storage service leaves the volumes";
    EXPECT_EQ(store.gpuUsages.size(), 1u) << "an empty device list leaves the GPU cards";
    EXPECT_EQ(store.gpuUsageHistory.at("1").size(), 1u);

    StatsUpdateBatch none;
    none.services = {DaemonService::storageUsage};
    store.apply(none);
    EXPECT_TRUE(store.storageVolumes.empty()) << "the service with no volumes says there are none";
    EXPECT_EQ(d.cardKinds()[0], "storagePlaceholder");

    EXPECT_EQ(DashboardProvider::percentText(0.429), "42\u2008%");
    EXPECT_EQ(truncatedPercent(std::nan("")), 0) << "a fraction that is not finite reads as 0";
}

TEST(Dashboard, CardsArriveWithTheirDataAndBatteryHealthAboveTheRangeIsHidden)
{
    VirtualTime time;
    Dashboard d;
    EXPECT_EQ(d.cardKinds(), (std::vector<std::string>{"storagePlaceholder", "cpuPlaceholder", "ramPlaceholder"}))
        << "before the first batch: no battery card, placeholders for storage, CPU and RAM";
    ASSERT_EQ(d.provider->sections().at(0).identifier, "header");
    EXPECT_EQ(tarnel::testing::cardKind(d.provider->sections().at(0).items.at(0)), "header");

    StatsUpdateBatch b;
    b.values = {value(W::batteryCharge, 0.8), value(W::batteryHealth, 2.56), value(W::cpuUsage, 0.25),
                value(W::cpuSystemUsage, 0.1), value(W::memoryPressure, 0.3), value(W::ramAvailable, 0.5, 8e9)};
    for (int i = 0; i < 7; ++i) {
        StatsProcessUsageSnapshot p;
        p.statistic = W::processCPUUsage;
        p.name = "p" + std::to_string(i);
        p.fraction = 0.1 * (7 - i);
        b.processUsages.push_back(p);
    }
    for (double bytes : {2e9, -5.0}) {
        StatsProcessUsageSnapshot p;
        p.statistic = W::processRAMUsage;
        p.name = "m" + std::to_string(b.processUsages.size());
        p.value = bytes;
        b.processUsages.push_back(p);
    }
    StatsTemperatureSnapshot soc;
    soc.statistic = W::socGroupTemperatureSensor;
    soc.celsius = 51.6;
    b.temperatures = {soc};
    d.provider->start();
    d.feed->yield(b);
    time.poll();
    EXPECT_EQ(d.cardKinds(), (std::vector<std::string>{"battery", "storagePlaceholder", "cpu", "ram"}));

    const auto sections = d.provider->sections();
    const auto* battery = sections[1].items[0].as<BatteryOverviewModel>();
    ASSERT_TRUE(battery);
    EXPECT_EQ(sections[1].items[0].identifier, "battery");
    EXPECT_EQ(battery->chargePercentage, 80);
    EXPECT_FALSE(battery->healthPercentage) << "256 % and above is no health";
    const auto* cpu = sections[1].items[2].as<CPUOverviewModel>();
    ASSERT_TRUE(cpu);
    EXPECT_EQ(cpu->lastUsagePercent, 25u);
    ASSERT_EQ(cpu->appEntries.size(), 7u) << "every process the daemon sent: it decides how many, in its order";
    EXPECT_EQ(cpu->appEntries[0].title, "p0");
    EXPECT_EQ(cpu->appEntries[0].icon, "icon:p0");
    EXPECT_EQ(cpu->appEntries[6].title, "p6");
    EXPECT_EQ(cpu->appEntries[6].formattedValue, "10\u2008%");
    EXPECT_EQ(cpu->chartEntries[1].percent, 0u) << "user usage absent reads 0";
    EXPECT_EQ(cpu->temperature, 51.6) << "the SoC group when the CPU group is empty";
    const auto* ram = sections[1].items[3].as<RAMOverviewModel>();
    ASSERT_TRUE(ram);
    EXPECT_EQ(ram->freeEntry.formattedValue, "8 GB");
    EXPECT_EQ(ram->usageEntries[0].formattedValue, "-") << "a statistic without value shows a dash";
    ASSERT_EQ(ram->appEntries.size(), 2u) << "the memory card lists the memory processes alone";
    EXPECT_EQ(ram->appEntries[0].formattedValue, "2 GB");
    EXPECT_EQ(ram->appEntries[1].formattedValue, quendal::ByteCountFormatter::string(0)) << "a negative size reads as none";
    EXPECT_NE(sections[1].items[2].identifier, d.provider->sections()[1].items[2].identifier)
        << "every card but the battery is new at each build";
}

TEST(Dashboard, StorageRowsGroupVolumesByDriveWithTheOneContainerRule)
{
    HardwareCatalogSnapshot catalog;
    auto drive = disk("nvme0n1", HardwareDiskKind::drive, std::nullopt);
    drive.index = 0;
    catalog.storage.disks = {drive, disk("nvme0n1p2", HardwareDiskKind::volume, "nvme0n1", "/"),
                             disk("nvme0n1p3", HardwareDiskKind::volume, "nvme0n1", "/home"),
                             disk("sda1", HardwareDiskKind::volume, "sda", "/mnt/usb")};

    const auto sameTotal = storageOverview({volume("/home", "home", 500, 100), volume("/data", "data", 500, 200)}, catalog);
    ASSERT_EQ(sameTotal.size(), 2u) << "/data is in no catalogue drive: a row of its own";

    auto shared = storageOverview({volume("/home", "home", 500, 100), volume("/", "root", 400, 200)}, catalog);
    ASSERT_EQ(shared.size(), 1u) << "two volumes of one drive make one row";
    EXPECT_EQ(shared[0].usedBytes, 200u) << "the root volume as it stands";

    EXPECT_EQ(capacitySummary({volume("a", "a", 500, 100), volume("b", "b", 500, 200)}).usedBytes, 100u)
        << "one common total: one volume's counts, not the sum";
    EXPECT_EQ(capacitySummary({volume("a", "a", 500, 100), volume("b", "b", 300, 200)}).totalBytes, 800u)
        << "different totals are summed";
    EXPECT_EQ(capacitySummary({volume("a", "a", 500, 100), volume("/", "root", 300, 200)}).totalBytes, 300u)
        << "unless one of them is /";
}

TEST(Dashboard, HeaderTextsAndSerialForms)
{
    EXPECT_EQ(machine::modelYear("MacBook Pro (Retina, 15-inch, mid 2015)"), "Mid 2015");
    EXPECT_FALSE(machine::modelYear("LENOVO ThinkPad X1 Carbon Gen 9"));
    EXPECT_FALSE(machine::modelYear("Desktop (Tower, 2250)")) << "years stop at 2199";
    EXPECT_EQ(machine::cleanedProcessorName("Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz"), "Intel Core i7 8550U 1.80 GHz");
    EXPECT_EQ(machine::cleanedProcessorName(std::nullopt), "Unknown");

    SystemInventorySnapshot inventory;
    EXPECT_EQ(machine::displayName(inventory), "Unknown");
    inventory.operatingSystem.computerName = "workstation";
    EXPECT_EQ(machine::displayName(inventory), "workstation");
    inventory.machine.modelIdentifier = "20XW0055GE";
    inventory.machine.appleProductName = "LENOVO ThinkPad X1 Carbon Gen 9";
    EXPECT_EQ(machine::displayName(inventory), "LENOVO ThinkPad X1 Carbon Gen 9");
    inventory.operatingSystem.versionString = "Debian GNU/Linux 12 (bookworm)";
    inventory.operatingSystem.buildString = "6.1.0-18-amd64";
    EXPECT_EQ(machine::subtitle(inventory.operatingSystem), "Debian GNU/Linux 12 (bookworm) (6.1.0-18-amd64)");

    SystemMachineInventory serial;
    serial.serialNumber = "C1MQG1XXFVH5"; // 12 characters: the serial form
    auto made = machine::decodeManufacture(serial, 2015);
    EXPECT_EQ(made.origin, "China");
    EXPECT_NE(made.date, "Unknown");
    EXPECT_TRUE(made.date.ends_with("2015")) << made.date;

    SystemMachineInventory board;
    board.serialNumber = "PF2ABCDE12"; // ten characters: look at the board serial
    board.mlbSerialNumber = "C0214250ABCDEFGHJ";
    made = machine::decodeManufacture(board);
    EXPECT_EQ(made.origin, "Tech Com – Quanta Computer Subsidiary, China");
    EXPECT_EQ(made.date, machine::weekDateText(2021, 42, 2));
    board.mlbSerialNumber.reset();
    made = machine::decodeManufacture(board);
    EXPECT_EQ(made.date, "Unknown");
    EXPECT_EQ(made.origin, "Unknown");

    EXPECT_EQ(machine::weekDateText(2021, 1, 0), "27 December, 2020") << "week 1 is the Sunday week holding 1 January";
}

TEST(Dashboard, LeavingAndComingBackKeepsTheValuesAndHistoryOfTheOneStream)
{
    VirtualTime time;
    Dashboard d;
    int streamsOpened = 0;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
    auto store = std::make_shared<DashboardDaemonStatsStore>([&](std::vector<W>, StatisticUpdateFrequency) {
        ++streamsOpened;
        auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
        feed = continuation;
        return stream;
    });
    quendal::Published<std::optional<StatsUpdateBatch>> startup{std::nullopt};
    StatsUpdateBatch first;
    first.values = {value(W::cpuUsage, 0.11)};
    startup.set(first);
    auto openDashboard = [&] {
        auto provider = std::make_shared<DashboardProvider>(DashboardProvider::Sources{
            store, d.catalog, d.inventory, [&] { return startup.publisher(); },
            [](const StatsProcessUsageSnapshot& p) { return p.name; }, [] { return quendal::TemperatureUnitFormat::celsius; }});
        provider->start();
        time.poll();
        return provider;
    };
    auto cpuHistory = [](DashboardProvider& provider) -> std::vector<int> {
        const auto sections = provider.sections();
        for (const auto& item : sections.at(1).items)
            if (const auto* cpu = item.as<CPUOverviewModel>())
                return cpu->usageHistory;
        return {};
    };

    auto provider = openDashboard();
    EXPECT_EQ(cpuHistory(*provider), std::vector<int>{11}) << "the start-up batch fills an empty store";
    for (int percent : {20, 30, 40}) {
        StatsUpdateBatch b;
        b.values = {value(W::cpuUsage, percent / 100.0)};
        feed->yield(b);
        time.poll();
    }
    EXPECT_EQ(cpuHistory(*provider), (std::vector<int>{11, 20, 30, 40}));
    provider->stop();
    provider.reset();

    // Away from the Dashboard the stream goes on; a new Dashboard shows everything at once.
    StatsUpdateBatch away;
    away.values = {value(W::cpuUsage, 0.5)};
    feed->yield(away);
    time.poll();
    auto again = openDashboard();
    EXPECT_EQ(cpuHistory(*again), (std::vector<int>{11, 20, 30, 40, 50}))
        << "no placeholder, no empty chart, and the old start-up batch is not added again";
    EXPECT_EQ(streamsOpened, 1) << "one subscription for the life of the process";
    StatsUpdateBatch next;
    next.values = {value(W::cpuUsage, 0.6)};
    feed->yield(next);
    time.poll();
    EXPECT_EQ(cpuHistory(*again).back(), 60) << "the new Dashboard follows the same stream";

    EXPECT_EQ(DashboardDaemonStatsStore::shared(), DashboardDaemonStatsStore::shared())
        << "the application's Dashboards share one store";
}
