// The cooling cache's histories and the provider's fan and sensor cards against fed batches.
#include "App/Cooling/CoolingEntitiesProvider.h"
#include "App/Cooling/CoolingSensorGroup.h"

#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace tarnel;
using W = WidgetStatistic;
using tarnel::testing::VirtualTime;

namespace {

StatsFanSnapshot fan(std::string id, std::int64_t index, std::optional<double> rpm, std::optional<double> fraction = std::nullopt)
{
    StatsFanSnapshot f;
    f.identifier = id;
    f.name = "Fan " + id;
    f.index = index;
    f.currentRPM = rpm;
    f.fraction = fraction;
    return f;
}

StatsTemperatureSnapshot sensor(std::string id, W statistic, double celsius, std::string name = {}, std::int64_t index = 0)
{
    StatsTemperatureSnapshot s;
    s.identifier = id;
    s.name = name.empty() ? id : name;
    s.statistic = statistic;
    s.celsius = celsius;
    s.index = index;
    return s;
}

struct Cooling {
    Cooling()
    {
        cache = std::make_shared<CoolingStatsCache>([this](std::vector<W> statistics, StatisticUpdateFrequency frequency) {
            asked = statistics;
            askedFrequency = frequency;
            ++opened;
            auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
            feed = continuation;
            return stream;
        });
        provider = makeProvider();
    }
    std::shared_ptr<CoolingEntitiesProvider> makeProvider()
    {
        auto p = std::make_shared<CoolingEntitiesProvider>(
            CoolingEntitiesProvider::Sources{cache, [this] { return unit; }});
        p->setReload([this] { ++reloads; });
        return p;
    }
    void send(StatsUpdateBatch batch, VirtualTime& time)
    {
        feed->yield(std::move(batch));
        time.poll();
    }
    std::shared_ptr<CoolingStatsCache> cache;
    std::shared_ptr<CoolingEntitiesProvider> provider;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
    std::vector<W> asked;
    StatisticUpdateFrequency askedFrequency = StatisticUpdateFrequency::fast;
    int opened = 0;
    int reloads = 0;
    quendal::TemperatureUnitFormat unit = quendal::TemperatureUnitFormat::celsius;
};

std::vector<std::string> identifiers(const CollectionViewSection& section)
{
    std::vector<std::string> ids;
    for (const auto& item : section.items)
        ids.push_back(item.identifier);
    return ids;
}

} // namespace

TEST(Cooling, SubscriptionAsksForFansSensorsThenGroupsAtSlowOnceForTheApplication)
{
    VirtualTime time;
    Cooling c;
    c.provider->start();
    time.poll();
    ASSERT_EQ(c.asked.size(), 37u);
    EXPECT_EQ(c.asked.front(), W::fanSpeed);
    EXPECT_EQ(c.asked[1], W::socTemperatureSensor) << "sensor statistics in their own order, not the groups'";
    EXPECT_EQ(c.asked[18], W::otherTemperatureSensor);
    EXPECT_EQ(c.asked[19], W::socGroupTemperatureSensor);
    EXPECT_EQ(c.asked[36], W::otherGroupTemperatureSensor);
    EXPECT_EQ(c.askedFrequency, StatisticUpdateFrequency::slow);

    c.provider->stop();
    auto second = c.makeProvider();
    second->start();
    time.poll();
    EXPECT_EQ(c.opened, 1) << "a second screen shares the running subscription";
}

TEST(Cooling, HistoriesAreCappedAndSurviveLeavingAndReturning)
{
    VirtualTime time;
    Cooling c;
    c.provider->start();
    time.poll();
    for (int i = 0; i < 201; ++i) {
        StatsUpdateBatch b;
        b.fans = {fan("f0", 0, 1000 + i + 0.9, i / 1000.0)};
        b.temperatures = {sensor("tc0", W::cpuTemperatureSensor, 30 + i * 0.1),
                          sensor("cpu-group", W::cpuGroupTemperatureSensor, 50)};
        c.send(b, time);
    }
    auto stats = c.cache->snapshot.value();
    const auto& current = stats.fanReadings.at("f0").current;
    ASSERT_EQ(current.size(), 200u) << "the 201st reading pushes the first out";
    EXPECT_EQ(current[0], 1001) << "the first (1000) is gone";
    EXPECT_EQ(current[199], 1200) << "readings are truncated, never rounded";
    EXPECT_EQ(stats.temperatureReadings.at("tc0").size(), 200u);
    EXPECT_EQ(stats.groupTemperatureReadings.at(W::cpuGroupTemperatureSensor).size(), 200u);
    EXPECT_FALSE(stats.temperatureReadings.contains("cpu-group")) << "a group statistic is no sensor history";
    EXPECT_TRUE(stats.fanReadings.at("f0").target.empty()) << "no target reported, none appended";

    c.provider->stop();
    const int reloadsWhileAway = c.reloads;
    StatsUpdateBatch away;
    away.fans = {fan("f0", 0, 2000)};
    c.send(away, time);
    EXPECT_EQ(c.reloads, reloadsWhileAway) << "a stopped screen is not reloaded";
    EXPECT_EQ(c.cache->snapshot.value().fanReadings.at("f0").current.elements().back(), 2000)
        << "the cache keeps collecting while no screen shows it";

    auto back = c.makeProvider();
    back->start();
    auto fans = back->fanItems();
    ASSERT_EQ(fans.size(), 1u);
    EXPECT_EQ(fans[0].as<FanViewItemModel>()->chartModel.value, "2000 RPM") << "the history is there at once on return";
    EXPECT_EQ(fans[0].as<FanViewItemModel>()->chartModel.chartModel.values.size(), 200u);
}

TEST(Cooling, FanCardsSortByIndexAndPrintUnknownForWhatIsMissing)
{
    VirtualTime time;
    Cooling c;
    c.provider->start();
    time.poll();
    ASSERT_EQ(c.provider->sections().size(), 1u);
    EXPECT_EQ(c.provider->sections()[0].identifier, "notice") << "before the first batch, a note and no card";
    c.send(StatsUpdateBatch{}, time);
    const auto none = c.provider->sections();
    ASSERT_EQ(none.size(), 1u) << "a machine with no fans and no sensors has neither section";
    ASSERT_TRUE(none[0].items[0].as<CoolingNoticeModel>());
    EXPECT_EQ(none[0].items[0].as<CoolingNoticeModel>()->text, "This computer reports no fans and no temperature sensors.");

    auto onlyRpm = fan("b", 1, 1500.0);
    onlyRpm.maximumRPM = 5999.6;
    auto onlyFraction = fan("a", 2, std::nullopt, 0.456);
    auto stopped = fan("c", 0, 0.0, 0.0);
    stopped.minimumRPM = 0;
    StatsUpdateBatch b;
    b.fans = {onlyRpm, onlyFraction, stopped};
    c.send(b, time);

    auto sections = c.provider->sections();
    ASSERT_EQ(sections.size(), 1u) << "no sensors: the temperature section is left out";
    EXPECT_EQ(sections[0].identifier, "fans");
    EXPECT_EQ(sections[0].header, "Fans");
    EXPECT_EQ(identifiers(sections[0]), (std::vector<std::string>{"c", "b", "a"})) << "by index";

    const auto* zero = sections[0].items[0].as<FanViewItemModel>();
    ASSERT_TRUE(zero);
    EXPECT_EQ(zero->currentRpm, 0) << "a fan at 0 rpm is a reading, not an absence";
    EXPECT_EQ(zero->chartModel.value, "0 RPM");
    EXPECT_EQ(zero->chartModel.detail, "Min 0");
    EXPECT_EQ(zero->chartModel.title, "Max Unknown");
    EXPECT_EQ(zero->chartModel.chartModel.values, std::vector<int>{0});

    const auto* rpm = sections[0].items[1].as<FanViewItemModel>();
    EXPECT_EQ(rpm->chartModel.title, "Max 6000") << "rounded, plain digits";
    EXPECT_EQ(rpm->chartModel.detail, "Min Unknown");
    EXPECT_TRUE(rpm->chartModel.chartModel.values.empty()) << "only currentRPM: an empty chart";

    const auto* fraction = sections[0].items[2].as<FanViewItemModel>();
    EXPECT_FALSE(fraction->currentRpm);
    EXPECT_EQ(fraction->chartModel.value, "Unknown RPM");
    EXPECT_EQ(fraction->chartModel.chartModel.values, std::vector<int>{45}) << "fraction × 100, truncated";
    EXPECT_EQ(fraction->chartModel.chartModel.color, CoolingChartColor::controlAccent);

    auto view = rpm->fanView;
    EXPECT_EQ(view->speed(), 1500);
    StatsUpdateBatch next;
    next.fans = {fan("b", 1, 2500.0)};
    c.send(next, time);
    const auto rebuilt = c.provider->sections();
    const auto* again = rebuilt[0].items[1].as<FanViewItemModel>();
    EXPECT_EQ(again->fanView, view) << "the same spinning view across rebuilds";
    EXPECT_EQ(view->speed(), 2500);
}

TEST(Cooling, SensorGroupsSortWithOtherLastAndSensorsInNaturalOrder)
{
    VirtualTime time;
    Cooling c;
    c.provider->start();
    time.poll();
    StatsUpdateBatch b;
    b.temperatures = {
        sensor("o1", W::otherTemperatureSensor, 30),
        sensor("s10", W::cpuTemperatureSensor, 40, "Sensor 10", 1),
        sensor("s2", W::cpuTemperatureSensor, 50, "Sensor 2", 1),
        sensor("s0", W::cpuTemperatureSensor, 60, "Core", 0),
        sensor("amb", W::ambientTemperatureSensor, 21.7),
        sensor("bat", W::batteryTemperatureSensor, 31),
        sensor("gpu-group", W::gpuGroupTemperatureSensor, 70),
        sensor("bat-group", W::batteryGroupTemperatureSensor, 33.4),
    };
    c.send(b, time);

    auto sections = c.provider->sections();
    ASSERT_EQ(sections.size(), 1u) << "no fans: only the sensors";
    EXPECT_EQ(sections[0].header, "Thermal Sensors");
    EXPECT_EQ(identifiers(sections[0]), (std::vector<std::string>{"ambient", "battery", "cpu", "other"}))
        << "by raw value with other last; the GPU group statistic alone gives no card";

    const auto* cpu = sections[0].items[2].as<ModularBlockChartModel>();
    ASSERT_TRUE(cpu);
    EXPECT_EQ(cpu->title, "CPU");
    ASSERT_EQ(cpu->chartModels.size(), 3u);
    EXPECT_EQ(cpu->chartModels[0].title, "Core") << "index before name";
    EXPECT_EQ(cpu->chartModels[1].title, "Sensor 2") << "natural order: 2 before 10";
    EXPECT_EQ(cpu->chartModels[2].title, "Sensor 10");
    EXPECT_EQ(cpu->average, "50 °C") << "the mean of the latest readings when no group statistic came";
    EXPECT_EQ(cpu->chartModels[0].value, "60 °C");

    const auto* battery = sections[0].items[1].as<ModularBlockChartModel>();
    EXPECT_EQ(battery->average, "33 °C") << "the group statistic wins over the mean";

    c.unit = quendal::TemperatureUnitFormat::fahrenheit;
    const auto inFahrenheit = c.provider->sections();
    const auto* fahrenheit = inFahrenheit[0].items[2].as<ModularBlockChartModel>();
    EXPECT_EQ(fahrenheit->chartModels[0].value, "140 °F") << "the unit setting is read at each build";
    EXPECT_EQ(fahrenheit->chartModels[0].chartModel.values, std::vector<int>{60}) << "charts stay in Celsius";

    StatsUpdateBatch later;
    later.temperatures = {sensor("s0", W::cpuTemperatureSensor, 61.9, "Core", 0)};
    c.send(later, time);
    const auto afterLeaving = c.provider->sections();
    const auto* stays = afterLeaving[0].items[2].as<ModularBlockChartModel>();
    ASSERT_EQ(stays->chartModels.size(), 3u) << "sensors that left the batch stay with their last value";
    EXPECT_EQ(stays->chartModels[1].chartModel.values, std::vector<int>{50});
    EXPECT_EQ(stays->chartModels[0].chartModel.values, (std::vector<int>{60, 61}));
}

TEST(Cooling, GroupOrderMappingAndTemperatureRamp)
{
    for (auto group : allCoolingSensorGroups) {
        EXPECT_EQ(sensorGroup(sensorStatistic(group)), group) << rawValue(group);
        EXPECT_FALSE(sensorGroup(groupStatistic(group))) << "a group statistic is no sensor: " << rawValue(group);
        EXPECT_TRUE(isGroupTemperatureStatistic(groupStatistic(group)));
        EXPECT_FALSE(precedes(CoolingSensorGroup::other, group));
    }
    EXPECT_TRUE(precedes(CoolingSensorGroup::airport, CoolingSensorGroup::ambient));
    EXPECT_TRUE(precedes(CoolingSensorGroup::thunderbolt, CoolingSensorGroup::other));
    EXPECT_FALSE(precedes(CoolingSensorGroup::soc, CoolingSensorGroup::cpu));
    EXPECT_EQ(title(CoolingSensorGroup::psu), "Power Supply");

    using C = CoolingChartColor;
    const std::pair<double, C> steps[] = {{0, C::tempCoolBottom},    {39.99, C::tempCoolBottom}, {40, C::tempCoolTop},
                                          {48, C::green},            {60, C::yellowTowardsGreen}, {70, C::orangeTowardsYellow},
                                          {80, C::redTowardsOrange}, {89.9, C::redTowardsOrange}, {90, C::red}};
    for (auto [celsius, color] : steps)
        EXPECT_EQ(temperatureColor(celsius), color) << celsius;
}

TEST(Cooling, AFailedStreamKeepsTheSnapshotAndTheNextStartOpensItAgain)
{
    VirtualTime time;
    Cooling c;
    c.provider->start();
    time.poll();
    StatsUpdateBatch b;
    b.fans = {fan("f0", 0, 1200)};
    c.send(b, time);
    c.feed->finish(std::make_exception_ptr(std::runtime_error("daemon went away")));
    time.poll();
    EXPECT_FALSE(c.cache->isStreaming());
    EXPECT_EQ(c.provider->fanItems().size(), 1u) << "the last snapshot stays on screen";

    c.provider->start();
    time.poll();
    EXPECT_EQ(c.opened, 2);
    EXPECT_TRUE(c.cache->isStreaming());
    EXPECT_EQ(c.cache->snapshot.value().fanReadings.at("f0").current.size(), 1u) << "histories outlive the stream";
}
