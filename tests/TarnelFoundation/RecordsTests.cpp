#include "SampleRecords.h"

#include "TarnelFoundation/Catalog/DisplayCatalog.h"
#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelFoundation/Statistics/UsageReports.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace tarnel;
using tarnel::codec::DecodingError;

namespace {

template <class T>
void expectRoundTrips(const T& original)
{
    EXPECT_EQ(codec::decode<T>(codec::encode(original)), original) << "through the wire value tree";
    EXPECT_EQ(codec::fromJson<T>(codec::toJson(original)), original) << "through JSON";
}

std::string decodeError(const Value& value)
{
    try {
        codec::decode<StatsUpdateBatch>(value);
    } catch (const DecodingError& e) {
        return e.what();
    }
    return "decoded";
}

} // namespace

TEST(Records, EveryFamilyRoundTripsThroughBothCodecs)
{
    expectRoundTrips(tarnel::testing::fullBatch());
    expectRoundTrips(tarnel::testing::laptopCatalog());
    expectRoundTrips(tarnel::testing::inventory());

    DisplayCatalogItem display;
    display.identifier = "DP-1";
    display.displayID = 1;
    display.vendorID = "DEL";
    display.productID = "41154";
    display.serialNumber = 808464432u;
    display.edid = Value::Bytes{0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    display.widthMillimeters = 597;
    display.heightMillimeters = 336;
    display.currentMode = DisplayModeSnapshot{1, 2560, 1440};
    display.currentMode->refreshRate = 59.951;
    display.modes = {*display.currentMode, DisplayModeSnapshot{2, 1920, 1080}};
    expectRoundTrips(DisplayCatalogSnapshot{{display}, Date{785000000}});

    StatsSubscriptionRequest request(StatsClientID{}, StatsSubscriptionID{},
                                     WidgetStatisticsSet({WidgetStatistic::cpuUsage, WidgetStatistic::fanSpeed}),
                                     {DaemonService::cpu, DaemonService::sensors}, StatisticUpdateFrequency::slow);
    request.statistics.entries[WidgetStatistic::cpuCore] = {0, 1};
    expectRoundTrips(request);
    expectRoundTrips(CPUUsageReport::fromCores({CPUUsageSample::fromTicks(10, 5, 85, 2)}, 12.5));
    expectRoundTrips(RAMUsageReport{SwapUsageSample::make(2000000000, 500000000, 1500000000), RAMUsageSample{1, 2, 3}, 1.0});

    // Bytes travel as the data kind on the wire and base64 in JSON.
    auto wire = codec::encode(tarnel::testing::laptopCatalog());
    const auto* firmware = wire.find("gpus")->asArray()->front().find("firmware")->find("data");
    ASSERT_NE(firmware, nullptr);
    EXPECT_EQ(firmware->kind(), Value::Kind::Data);
    EXPECT_NE(codec::toJson(tarnel::testing::laptopCatalog()).find("\"3q2+7w==\""), std::string::npos);
}

TEST(Records, WireShapesFollowTheEncodingRules)
{
    auto batch = tarnel::testing::fullBatch(1, 1, 1);
    batch.battery.reset();
    auto encoded = codec::encode(batch);
    EXPECT_EQ(encoded.find("battery"), nullptr) << "an absent optional has no key";
    EXPECT_EQ(*encoded.find("services")->asArray(),
              (Value::Array{Value(std::int64_t{5}), Value(std::int64_t{4}), Value(std::int64_t{0}), Value(std::int64_t{6})}))
        << "services are their raw integers";
    EXPECT_EQ(encoded.find("generatedAt")->kind(), Value::Kind::Double);
    EXPECT_EQ(*encoded.find("storageStatistics")->asArray()->front().find("statistic"), Value("Bytes (Read)"));
    EXPECT_EQ(*encoded.find("values")->asArray()->front().find("statistic"), Value("cpuUsage"));
    const auto* id = encoded.find("subscriptionID")->find("rawValue")->asString();
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(UUID::parse(*id), batch.subscriptionID.rawValue);

    // The set is a flat array alternating statistic and indexes, sorted by position.
    WidgetStatisticsSet set({WidgetStatistic::gpuTemperature, WidgetStatistic::cpuCore});
    set.entries[WidgetStatistic::cpuCore] = {1, 0};
    auto flat = *codec::encode(set).find("entries")->asArray();
    ASSERT_EQ(flat.size(), 4u);
    EXPECT_EQ(flat[0], Value("cpuCore")) << "position decides, not the name";
    EXPECT_EQ(flat[1], Value(Value::Array{Value(std::int64_t{0}), Value(std::int64_t{1})}));
    EXPECT_EQ(flat[2], Value("gpuTemperature"));
    Value reordered(Value::Dictionary{{"entries", Value(Value::Array{flat[2], flat[3], flat[0], flat[1]})}});
    EXPECT_EQ(codec::decode<WidgetStatisticsSet>(reordered), set);
}

TEST(Records, DecodingRulesThatCatchRealFaults)
{
    // Only the four mandatory keys: every array empty, the optionals absent.
    Value minimal = Value::dictionary();
    minimal.set("subscriptionID", codec::encode(StatsSubscriptionID{}));
    minimal.set("services", Value::array());
    minimal.set("values", Value::array());
    minimal.set("generatedAt", 1.0);
    auto batch = codec::decode<StatsUpdateBatch>(minimal);
    EXPECT_TRUE(batch.processUsages.empty() && batch.temperatures.empty() && batch.storageVolumes.empty());
    EXPECT_FALSE(batch.battery);
    EXPECT_FALSE(batch.systemUsage);

    for (const auto* key : {"subscriptionID", "services", "values", "generatedAt"}) {
        Value missing = minimal;
        auto& entries = *missing.asDictionary();
        std::erase_if(entries, [&](const auto& e) { return e.first == key; });
        EXPECT_NE(decodeError(missing).find(key), std::string::npos) << key << " is mandatory";
    }

    // A request without `services` decodes with the empty set.
    auto request = codec::encode(StatsSubscriptionRequest(StatsClientID{}, StatsSubscriptionID{}, {DaemonService::cpu},
                                                          StatisticUpdateFrequency::fast));
    std::erase_if(*request.asDictionary(), [](const auto& e) { return e.first == "services"; });
    EXPECT_TRUE(codec::decode<StatsSubscriptionRequest>(request).services.empty());

    // An unknown statistic fails the whole decode and says where.
    Value bad = codec::encode(tarnel::testing::fullBatch(2, 2, 1));
    (*bad.find("values")->asArray())[1].set("statistic", "cpuWarpDrive");
    auto message = decodeError(bad);
    EXPECT_NE(message.find("values[1].statistic"), std::string::npos) << message;
    EXPECT_NE(message.find("cpuWarpDrive"), std::string::npos) << message;

    // A frequency raw value of 7 is no case.
    auto withFrequency = codec::encode(StatsSubscriptionRequest());
    withFrequency.set("frequency", std::int64_t{7});
    EXPECT_THROW(codec::decode<StatsSubscriptionRequest>(withFrequency), DecodingError);
    withFrequency.set("frequency", std::int64_t{6});
    EXPECT_EQ(codec::decode<StatsSubscriptionRequest>(withFrequency).frequency, StatisticUpdateFrequency::ultraSlow);

    // An int64 where a uint64 belongs fails on the wire, and is accepted from JSON.
    Value volume = codec::encode(tarnel::testing::fullBatch(0, 0, 1).storageVolumes.front());
    volume.set("freeBytes", std::int64_t{5});
    EXPECT_THROW(codec::decode<StatsStorageVolumeSnapshot>(volume), DecodingError);
    EXPECT_EQ(codec::fromJson<StatsStorageVolumeSnapshot>(codec::toJsonText(volume)).freeBytes, 5u);

    EXPECT_THROW(codec::fromJson<StatsUpdateBatch>("{not json"), DecodingError);
    EXPECT_THROW(codec::decode<WidgetStatisticsSet>(Value(Value::Dictionary{{"entries", Value(Value::Array{Value("cpuUsage")})}})),
                 DecodingError);
}

TEST(Records, IdentitiesFrequenciesAndOptions)
{
    EXPECT_EQ(MonitorAppIdentity::daemon(), "org.quendal.Tarnel.Daemon");
    EXPECT_EQ(MonitorAppIdentity::daemonStats(true), "org.quendal.Tarnel.Daemon-debug.stats");
    EXPECT_EQ(MonitorAppIdentity::monitorApp(true), "org.quendal.TarnelMonitor-debug");
    EXPECT_EQ(MonitorAppIdentity::statsServiceName("custom.daemon"), "custom.daemon.stats");
    EXPECT_EQ(MonitorAppIdentity::registeredHostBuildKey(MonitorAppIdentity::daemon(), 19),
              "org.quendal.Tarnel.daemon.org.quendal.Tarnel.Daemon.api19.registeredHostBuild");

    std::vector<std::uint64_t> periods;
    for (auto f : allUpdateFrequencies)
        periods.push_back(ticks(f));
    EXPECT_EQ(periods, (std::vector<std::uint64_t>{1, 2, 4, 6, 12, 24, 48}));
    EXPECT_EQ(UpdateFrequencyClock::cycleLength(), 48u);
    EXPECT_EQ(description(StatisticUpdateFrequency::superSlow), "Super slow");

    WidgetStatisticOption option(WidgetStatistic::cpuCore, 7);
    option.setKind(WidgetStatistic::cpuCore);
    EXPECT_EQ(option.index(), 7);
    option.setKind(WidgetStatistic::gpuUsage);
    EXPECT_EQ(option.index(), 0);
    auto encodedOption = codec::encode(option);
    EXPECT_EQ(codec::decode<WidgetStatisticOption>(encodedOption), option);
    std::erase_if(*encodedOption.asDictionary(), [](const auto& e) { return e.first == "index"; });
    EXPECT_THROW(codec::fromJson<WidgetStatisticOption>(codec::toJsonText(encodedOption)), DecodingError)
        << "all three keys are required, in stored documents too";
    EXPECT_NE(WidgetStatisticOption(WidgetStatistic::cpuCore, 1), WidgetStatisticOption(WidgetStatistic::cpuCore, 1))
        << "each option has its own identity";

    std::set<WidgetStatistic> sorted{WidgetStatistic::gpuTemperature, WidgetStatistic::cpuCore};
    EXPECT_EQ(*sorted.begin(), WidgetStatistic::cpuCore);
    EXPECT_EQ(codec::nameOf(WidgetStatistic::fanSpeed), "fanSpeed");
    EXPECT_EQ(static_cast<int>(WidgetStatistic::fanSpeed), 67);
}

TEST(Records, ReportsComputeTheirFractions)
{
    auto empty = CPUUsageReport::fromCores({}, 0);
    EXPECT_EQ(empty.total, CPUUsageSample{});
    auto niceOnly = CPUUsageReport::fromCores({CPUUsageSample::fromTicks(0, 0, 0, 40)}, 0);
    EXPECT_EQ(niceOnly.total.nice, 40u);
    EXPECT_EQ(niceOnly.total.niceFraction, 0.0) << "T excludes nice, so it is 0 here";
    auto report = CPUUsageReport::fromCores({CPUUsageSample::fromTicks(30, 10, 60, 5), CPUUsageSample::fromTicks(10, 10, 80, 5)}, 1);
    EXPECT_EQ(report.total.user, 40u);
    EXPECT_DOUBLE_EQ(report.total.usageFraction, 60.0 / 200.0);
    EXPECT_DOUBLE_EQ(report.total.niceFraction, 10.0 / 200.0);

    auto none = SwapUsageSample::make(0, 0, 0);
    EXPECT_EQ(none.fractionUsed, 0.0);
    EXPECT_EQ(none.formattedValue, "Zero KB / Zero KB");
    auto swap = SwapUsageSample::make(2147483648ULL, 536870912ULL, 1610612736ULL);
    EXPECT_DOUBLE_EQ(swap.fractionUsed, 0.25);
    EXPECT_EQ(swap.formattedValue, "536.9 MB / 2.15 GB");
    EXPECT_EQ(RAMUsageSample::title(RAMUsageSample::UsageType::appMemory), "App Memory");
}
