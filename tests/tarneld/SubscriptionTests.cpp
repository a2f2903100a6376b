#include "Statistics/SubscriptionManager.h"

#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::daemon;
using tarnel::testing::VirtualTime;

namespace {

// A collector that records what it was asked for and yields two cores and a process list.
struct FakeCollector {
    std::vector<std::set<DaemonService>> calls;
    CollectedState operator()(const std::set<DaemonService>& services)
    {
        calls.push_back(services);
        CollectedState state;
        state.services = services;
        if (services.contains(DaemonService::cpu)) {
            state.values.push_back({WidgetStatistic::cpuUsage, 0, 0.5, 0.5, std::nullopt, {}});
            state.values.push_back({WidgetStatistic::cpuCore, 0, 0.2, 0.2, std::nullopt, {}});
            state.values.push_back({WidgetStatistic::cpuCore, 1, 0.8, 0.8, std::nullopt, {}});
        }
        if (services.contains(DaemonService::processCPUUsage))
            state.arrays.processUsages.push_back({WidgetStatistic::processCPUUsage, 0, 42, "42", "x", "/x", "", 1, 1, {}});
        if (services.contains(DaemonService::battery))
            state.arrays.battery = StatsBatterySnapshot{};
        return state;
    }
};

struct Inbox {
    std::vector<double> times;
    std::vector<StatsUpdateBatch> batches;
    bool connected = true;
};

StatsSubscriptionRequest request(std::set<WidgetStatistic> statistics, StatisticUpdateFrequency frequency,
                                 std::set<DaemonService> services = {})
{
    return StatsSubscriptionRequest(StatsClientID{}, StatsSubscriptionID{}, WidgetStatisticsSet(statistics), services, frequency);
}

} // namespace

TEST(Subscriptions, EachSubscriptionGetsItsOwnPaceAndOnlyWhatItAskedFor)
{
    VirtualTime time;
    FakeCollector collector;
    SubscriptionManager manager(time.executor(), {time.clockPointer(), std::ref(collector), nullptr, 60});
    Inbox fast, slow;
    auto deliver = [&](Inbox& inbox) {
        return [&](const StatsUpdateBatch& batch) {
            inbox.times.push_back(time.elapsedSeconds());
            inbox.batches.push_back(batch);
            return inbox.connected;
        };
    };
    auto fastRequest = request({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    auto slowRequest = request({}, StatisticUpdateFrequency::slow, {DaemonService::processCPUUsage});
    slowRequest.statistics.entries[WidgetStatistic::cpuCore] = {1};
    manager.subscribe(fastRequest, deliver(fast), 1);
    manager.subscribe(slowRequest, deliver(slow), 2);
    ASSERT_EQ(collector.calls.size(), 2u) << "new services are primed at once";

    time.runFor(12.5);
    EXPECT_EQ(fast.times, (std::vector<double>{2, 4, 6, 8, 10, 12}));
    EXPECT_EQ(slow.times, (std::vector<double>{6, 12}));

    // Only the statistics and indexes asked for, and the services they came from.
    ASSERT_FALSE(fast.batches.empty());
    EXPECT_EQ(fast.batches[0].values.size(), 1u);
    EXPECT_EQ(fast.batches[0].values[0].statistic, WidgetStatistic::cpuUsage);
    EXPECT_EQ(fast.batches[0].services, std::vector<DaemonService>{DaemonService::cpu});
    EXPECT_TRUE(fast.batches[0].processUsages.empty());
    EXPECT_EQ(fast.batches[0].subscriptionID, fastRequest.subscriptionID);
    ASSERT_FALSE(slow.batches.empty());
    ASSERT_EQ(slow.batches[0].values.size(), 1u);
    EXPECT_EQ(slow.batches[0].values[0].index, 1);
    EXPECT_EQ(slow.batches[0].processUsages.size(), 1u);
    EXPECT_EQ(slow.batches[0].services, (std::vector<DaemonService>{DaemonService::cpu, DaemonService::processCPUUsage}));

    // One sample per tick serves every subscription due at it, merged.
    EXPECT_EQ(collector.calls[2 + 2], (std::set<DaemonService>{DaemonService::cpu, DaemonService::processCPUUsage}))
        << "at 6 s both are due";

    // Unsubscribing stops that stream only; a vanished client is dropped on its next batch.
    manager.unsubscribe(slowRequest.key());
    fast.connected = false;
    time.runFor(12);
    EXPECT_EQ(slow.times.size(), 2u);
    EXPECT_EQ(fast.times.back(), 14);
    EXPECT_EQ(manager.count(), 0u);
    time.run();
    EXPECT_EQ(time.clock().pendingSleeps(), 0u) << "the tick loop ends with the last subscription";
}

TEST(Subscriptions, AStatisticBringsTheArraysOfItsService)
{
    VirtualTime time;
    FakeCollector collector;
    SubscriptionManager manager(time.executor(), {time.clockPointer(), std::ref(collector), nullptr, 60});
    std::vector<StatsUpdateBatch> batches;
    auto byStatistic = request({WidgetStatistic::processCPUUsage}, StatisticUpdateFrequency::fast);
    manager.subscribe(byStatistic, [&](const StatsUpdateBatch& batch) { batches.push_back(batch); return true; }, 1);
    time.runFor(2.5);
    ASSERT_EQ(batches.size(), 1u);
    EXPECT_EQ(batches[0].processUsages.size(), 1u) << "the top-process list is what the statistic shows";
    EXPECT_EQ(batches[0].services, std::vector<DaemonService>{DaemonService::processCPUUsage});
    EXPECT_FALSE(batches[0].battery) << "a service nobody asked for stays out";
    manager.unsubscribe(byStatistic.key());
    time.run();
}

TEST(Subscriptions, RenewalsKeepASubscriptionAliveForSixtySeconds)
{
    VirtualTime time;
    FakeCollector collector;
    SubscriptionManager manager(time.executor(), {time.clockPointer(), std::ref(collector), nullptr, 60});
    int batches = 0;
    auto r = request({WidgetStatistic::batteryCharge}, StatisticUpdateFrequency::ultraSlow);
    manager.subscribe(r, [&](const StatsUpdateBatch& b) {
        ++batches;
        EXPECT_TRUE(b.battery.has_value()) << "battery statistics bring the battery record";
        return true;
    }, 7);
    for (int i = 0; i < 4; ++i) {
        time.runFor(20);
        r.frequency = StatisticUpdateFrequency::medium;
        EXPECT_TRUE(manager.update(r));
    }
    EXPECT_EQ(manager.count(), 1u);
    time.runFor(61);
    EXPECT_EQ(manager.count(), 0u) << "no renewal for 60 seconds";
    EXPECT_FALSE(manager.update(r));
    EXPECT_GT(batches, 10);

    manager.subscribe(request({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast), [](const auto&) { return true; }, 9);
    manager.subscribe(request({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast), [](const auto&) { return true; }, 10);
    manager.dropConnection(9);
    EXPECT_EQ(manager.count(), 1u);
}

TEST(Subscriptions, ALapsedSubscriptionEndsItsSequenceOnceAndOthersGoOn)
{
    VirtualTime time;
    FakeCollector collector;
    SubscriptionManager manager(time.executor(), {time.clockPointer(), std::ref(collector), nullptr, 60});
    auto lapsing = request({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    auto renewed = request({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    std::vector<double> ends;
    int renewedEnds = 0, renewedBatches = 0;
    manager.subscribe(lapsing, [](const auto&) { return true; }, 1, [&] { ends.push_back(time.elapsedSeconds()); });
    manager.subscribe(renewed, [&](const auto&) { return ++renewedBatches, true; }, 1, [&] { ++renewedEnds; });
    for (int i = 0; i < 6; ++i) {
        time.runFor(20);
        EXPECT_TRUE(manager.update(renewed));
    }
    // The first tick past 60 s without a renewal ends the sequence, and only once.
    ASSERT_EQ(ends.size(), 1u);
    EXPECT_GT(ends[0], 60);
    EXPECT_LE(ends[0], 61);
    EXPECT_EQ(renewedEnds, 0);
    EXPECT_EQ(manager.count(), 1u);
    const int before = renewedBatches;
    time.runFor(10);
    EXPECT_GT(renewedBatches, before);

    // Ending it by hand, or losing the client, is no lapse.
    manager.unsubscribe(renewed.key());
    time.runFor(120);
    EXPECT_EQ(renewedEnds, 0);
    EXPECT_EQ(ends.size(), 1u);
}
