#include "Statistics/StatisticsCollector.h"
#include "Statistics/SubscriptionManager.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>

using namespace tarnel;
using namespace tarnel::daemon;

namespace {

std::optional<StatsValueSnapshot> valueOf(const CollectedState& state, WidgetStatistic statistic, std::int64_t index = 0)
{
    for (const auto& v : state.values)
        if (v.statistic == statistic && v.index == index)
            return v;
    return std::nullopt;
}

platform::SystemRoot fixture(const char* machine)
{
    return platform::SystemRoot(tarnel::testing::sourceDirectory() / "tests" / "fixtures" / machine);
}

} // namespace

TEST(Collector, ALaptopReportsItsBatteryAndADesktopHasNone)
{
    const std::set<DaemonService> services{DaemonService::battery, DaemonService::ram, DaemonService::power};
    StatisticsCollector laptop(fixture("laptop"));
    auto state = laptop.collect(services);
    ASSERT_TRUE(state.arrays.battery);
    const auto& battery = *state.arrays.battery;
    ASSERT_TRUE(battery.healthFraction);
    EXPECT_GT(*battery.healthFraction, 0.3);
    EXPECT_LT(*battery.healthFraction, 1.2);
    EXPECT_NE(battery.healthStatus, StatsBatteryHealthStatus::missing);
    ASSERT_TRUE(valueOf(state, WidgetStatistic::batteryCharge));
    EXPECT_EQ(valueOf(state, WidgetStatistic::batteryCharge)->fraction, battery.chargeFraction);
    EXPECT_TRUE(valueOf(state, WidgetStatistic::batteryCycles));
    EXPECT_TRUE(valueOf(state, WidgetStatistic::ramAvailable));
    ASSERT_TRUE(state.arrays.systemUsage);
    EXPECT_TRUE(state.arrays.systemUsage->bootTime);

    StatisticsCollector desktop(fixture("desktop"));
    auto none = desktop.collect(services);
    EXPECT_FALSE(none.arrays.battery) << "no battery is absent, never zero";
    EXPECT_FALSE(valueOf(none, WidgetStatistic::batteryCharge));
    EXPECT_FALSE(valueOf(none, WidgetStatistic::memoryPressure)) << "this kernel has no pressure file";
    EXPECT_TRUE(valueOf(none, WidgetStatistic::ramWired));
}

TEST(Collector, RatesNeedTwoSamplesAndOnlyAskedServicesAreRead)
{
    auto now = std::chrono::steady_clock::time_point{};
    StatisticsCollector collector(fixture("build-vm"), [&] { return now; });
    auto first = collector.collect({DaemonService::cpu});
    EXPECT_FALSE(valueOf(first, WidgetStatistic::cpuUsage)) << "no interval yet: no rate, not a zero";
    now += std::chrono::seconds(2);
    auto second = collector.collect({DaemonService::cpu});
    // The fixture does not change between samples: no ticks passed, so nothing was used.
    ASSERT_TRUE(valueOf(second, WidgetStatistic::cpuUsage));
    EXPECT_EQ(*valueOf(second, WidgetStatistic::cpuUsage)->fraction, 0.0);
    EXPECT_TRUE(second.arrays.storageVolumes.empty());
    EXPECT_FALSE(second.arrays.battery);

    // Live, on this machine: two samples give usage between 0 and 1 and per-core values.
    StatisticsCollector live;
    live.collect({DaemonService::cpu});
    volatile double spin = 0;
    for (int i = 0; i < 20000000; ++i)
        spin = spin + i;
    auto measured = live.collect({DaemonService::cpu, DaemonService::storageUsage});
    ASSERT_TRUE(valueOf(measured, WidgetStatistic::cpuUsage));
    EXPECT_GE(*valueOf(measured, WidgetStatistic::cpuUsage)->fraction, 0.0);
    EXPECT_LE(*valueOf(measured, WidgetStatistic::cpuUsage)->fraction, 1.0);
    EXPECT_TRUE(valueOf(measured, WidgetStatistic::cpuCore, 0));
    EXPECT_FALSE(measured.arrays.storageVolumes.empty());
}

TEST(Collector, EveryServiceAndStatisticHasExactlyOneCollector)
{
    auto collectors = makeServiceCollectors(CollectorSetup{});
    std::map<DaemonService, int> owners;
    for (const auto& collector : collectors)
        for (auto service : collector->services())
            ++owners[service];
    for (auto service : allDaemonServices)
        EXPECT_EQ(owners[service], 1) << daemonServiceName(service);

    // A statistic's service is served by the one collector that claims it, and by no other.
    for (std::size_t i = 0; i < widgetStatisticCount; ++i) {
        const auto statistic = static_cast<WidgetStatistic>(i);
        int claims = 0;
        for (const auto& collector : collectors) {
            auto service = collector->serviceOf(statistic);
            if (!service)
                continue;
            ++claims;
            EXPECT_TRUE(collector->serves(*service)) << i;
            EXPECT_EQ(requiredService(statistic), *service) << i;
        }
        EXPECT_EQ(claims, 1) << "statistic " << i;
    }
}

TEST(Collector, AStatisticsFamilyBelongsToItsService)
{
    // Rows of a name's prefix or suffix and the services its statistics may come from.
    struct Row {
        std::string_view part;
        bool suffix;
        std::set<DaemonService> services;
    };
    const std::vector<Row> rows{
        {"TemperatureSensor", true, {DaemonService::sensors}},
        {"fan", false, {DaemonService::sensors}},
        {"cpu", false, {DaemonService::cpu}},
        {"ram", false, {DaemonService::ram}},
        {"memory", false, {DaemonService::ram}},
        {"process", false, {DaemonService::processCPUUsage, DaemonService::processRAMUsage, DaemonService::processEnergyUsage}},
        {"gpu", false, {DaemonService::gpuUsage}},
        {"storage", false, {DaemonService::storageUsage}},
        {"battery", false, {DaemonService::battery}},
        {"network", false, {DaemonService::networkService}},
        {"sleep", false, {DaemonService::power}},
        {"wake", false, {DaemonService::power}},
        {"uptime", false, {DaemonService::power}},
    };
    const auto& names = codec::EnumNames<WidgetStatistic>::names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string_view name = names[i];
        const auto matches = [&](const Row& row) {
            return row.suffix ? name.ends_with(row.part) : name.starts_with(row.part);
        };
        // The first matching row decides: a suffix row comes before the prefixes it overrides.
        auto row = std::find_if(rows.begin(), rows.end(), matches);
        ASSERT_NE(row, rows.end()) << name << " belongs to no family";
        EXPECT_TRUE(row->services.contains(requiredService(static_cast<WidgetStatistic>(i)))) << name;
    }
}

TEST(Collector, ABatchCarriesTheArraysOfItsServicesOnly)
{
    // A tick where every service produced something.
    CollectedState state;
    state.services.insert(allDaemonServices.begin(), allDaemonServices.end());
    auto& a = state.arrays;
    a.battery = StatsBatterySnapshot{};
    a.systemUsage = StatsSystemUsageSnapshot{};
    a.networkServices.resize(1);
    a.networkInterfaces.resize(1);
    a.storageVolumes.resize(1);
    a.storageStatistics.resize(1);
    a.storageSmartReports.resize(1);
    a.gpuUsages.resize(1);
    a.fans.resize(1);
    a.temperatures.resize(1);
    for (auto statistic : {WidgetStatistic::processCPUUsage, WidgetStatistic::processRAMUsage, WidgetStatistic::processRAMRealUsage}) {
        StatsProcessUsageSnapshot p;
        p.statistic = statistic;
        a.processUsages.push_back(p);
    }
    // The number of arrays (or records) a batch holds.
    auto filled = [](const StatsUpdateBatch& b) {
        return std::size_t(b.battery.has_value()) + b.systemUsage.has_value() + !b.networkServices.empty() +
               !b.networkInterfaces.empty() + !b.storageVolumes.empty() + !b.storageStatistics.empty() +
               !b.storageSmartReports.empty() + !b.gpuUsages.empty() + !b.fans.empty() + !b.temperatures.empty() +
               b.processUsages.size();
    };

    std::size_t total = 0;
    for (auto service : allDaemonServices) {
        const StatsSubscriptionRequest request(StatsClientID{}, StatsSubscriptionID{}, {service}, StatisticUpdateFrequency::fast);
        const auto batch = SubscriptionManager::batchFor(request, state);
        EXPECT_EQ(batch.services, std::vector<DaemonService>{service});
        EXPECT_TRUE(batch.values.empty()) << "no statistic was asked for";
        // Services that share a collector share its arrays; the rest split them.
        if (service != DaemonService::gpuStatistics)
            total += filled(batch);
        for (const auto& p : batch.processUsages)
            EXPECT_EQ(requiredService(p.statistic), service) << "a process row goes with its own service only";
    }
    EXPECT_EQ(total, filled(state.arrays)) << "every array goes with exactly one service";

    // A service not sampled at the tick brings nothing, even when asked for.
    state.services = {DaemonService::cpu};
    const StatsSubscriptionRequest batteryOnly(StatsClientID{}, StatsSubscriptionID{}, {DaemonService::battery},
                                               StatisticUpdateFrequency::fast);
    const auto none = SubscriptionManager::batchFor(batteryOnly, state);
    EXPECT_TRUE(none.services.empty());
    EXPECT_EQ(filled(none), 0u);
}

TEST(Collector, AFailedSourceCostsItsOwnValuesAndIsLoggedOnce)
{
    tarnel::testing::TemporaryDirectory root;
    std::filesystem::create_directories(root.path() / "proc");
    auto write = [&](const char* file, const char* text) { std::ofstream(root.path() / "proc" / file) << text; };
    write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 400 kB\n");
    std::vector<std::string> lines;
    StatisticsCollector collector(platform::SystemRoot(root.path()), &std::chrono::steady_clock::now,
                                  [&](const std::string& line) { lines.push_back(line); });

    // No /proc/stat: the processor has nothing, memory still reports.
    for (int tick = 0; tick < 3; ++tick) {
        auto state = collector.collect({DaemonService::cpu, DaemonService::ram});
        EXPECT_FALSE(valueOf(state, WidgetStatistic::cpuUsage));
        ASSERT_TRUE(valueOf(state, WidgetStatistic::ramAvailable)) << tick;
        EXPECT_EQ(valueOf(state, WidgetStatistic::ramAvailable)->value, 400.0 * 1024);
    }
    ASSERT_EQ(lines.size(), 1u) << "told once, not at every tick";
    EXPECT_NE(lines[0].find("cpu"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("proc/stat"), std::string::npos) << lines[0];

    // Another service's source is told on its own.
    std::filesystem::remove(root.path() / "proc" / "meminfo");
    collector.collect({DaemonService::cpu, DaemonService::ram});
    collector.collect({DaemonService::ram});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[1].find("ram"), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("proc/meminfo"), std::string::npos) << lines[1];

    // A source that comes back reports again, without a line.
    write("stat", "cpu  10 0 10 80 0 0 0 0 0 0\ncpu0 10 0 10 80 0 0 0 0 0 0\n");
    collector.collect({DaemonService::cpu});
    write("stat", "cpu  20 0 20 160 0 0 0 0 0 0\ncpu0 20 0 20 160 0 0 0 0 0 0\n");
    auto state = collector.collect({DaemonService::cpu});
    ASSERT_TRUE(valueOf(state, WidgetStatistic::cpuUsage));
    EXPECT_DOUBLE_EQ(*valueOf(state, WidgetStatistic::cpuUsage)->fraction, 0.2);
    EXPECT_EQ(lines.size(), 2u);
}
