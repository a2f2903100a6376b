#include "Statistics/StatisticsCollector.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>

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
