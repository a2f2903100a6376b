// The Power screen's sections, status texts and colours and the facts' formatting.
#include "App/Power/PowerEntitiesProvider.h"

#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using tarnel::testing::VirtualTime;

namespace {

StatsBatterySnapshot fullBattery()
{
    StatsBatterySnapshot b;
    b.name = "bat0 model";
    b.manufacturer = "Acme";
    b.serialNumber = "1234";
    b.currentCapacity = 3000;
    b.maximumCapacity = 4000;
    b.designCapacity = 5000;
    b.currentPercent = 75;
    b.healthFraction = 0.8;
    b.healthStatus = StatsBatteryHealthStatus::aging;
    b.voltageMillivolts = 12100;
    b.amperageMilliamps = -1500;
    b.cycleCount = 321;
    b.timeToEmptySeconds = 7500;
    b.temperatureCelsius = 30;
    b.thermalStatus = StatsThermalStatus::cool;
    return b;
}

struct Power {
    Power()
    {
        provider = std::make_shared<PowerEntitiesProvider>(PowerEntitiesProvider::Sources{
            [this] {
                ++opened;
                auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
                feed = continuation;
                return stream;
            },
            [this] { return unit; }});
        provider->setReload([this] { ++reloads; });
    }
    void send(std::optional<StatsBatterySnapshot> battery, VirtualTime& time)
    {
        StatsUpdateBatch b;
        b.battery = std::move(battery);
        feed->yield(b);
        time.poll();
    }
    std::vector<std::string> sectionIds()
    {
        std::vector<std::string> ids;
        for (const auto& s : provider->sections())
            ids.push_back(s.identifier);
        return ids;
    }
    std::shared_ptr<PowerEntitiesProvider> provider;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
    int opened = 0;
    int reloads = 0;
    quendal::TemperatureUnitFormat unit = quendal::TemperatureUnitFormat::celsius;
};

std::string fact(const std::vector<FactRow>& rows, const std::string& title)
{
    for (const auto& r : rows)
        if (r.title == title)
            return r.value;
    ADD_FAILURE() << "no row " << title;
    return {};
}

} // namespace

TEST(Power, SectionsFollowTheSnapshotAndStopEndsTheSubscription)
{
    VirtualTime time;
    Power p;
    p.provider->start();
    time.poll();
    EXPECT_EQ(p.sectionIds(), std::vector<std::string>{"notice"}) << "no battery yet: no battery section";
    EXPECT_EQ(p.provider->sections()[0].items[0].as<PowerNoticeModel>()->text, "Waiting for the battery's readings…");
    p.send(std::nullopt, time);
    EXPECT_EQ(p.sectionIds(), std::vector<std::string>{"notice"}) << "a batch without a battery: still none";
    EXPECT_EQ(p.provider->sections()[0].items[0].as<PowerNoticeModel>()->text, "This computer reports no internal battery.");
    p.send(std::nullopt, time);
    EXPECT_EQ(p.reloads, 1) << "only the first empty batch changes the screen";

    p.send(fullBattery(), time);
    EXPECT_EQ(p.reloads, 2);
    EXPECT_EQ(p.sectionIds(), (std::vector<std::string>{"header", "health", "information"}));

    auto noDesign = fullBattery();
    noDesign.designCapacity.reset();
    p.send(noDesign, time);
    EXPECT_EQ(p.sectionIds(), (std::vector<std::string>{"health", "information"})) << "no design capacity, no header";

    p.provider->stop();
    time.poll();
    EXPECT_FALSE(p.provider->isStreaming());
    p.provider->start();
    time.poll();
    EXPECT_EQ(p.opened, 2) << "each start subscribes again";
}

TEST(Power, HeaderTexts)
{
    auto header = PowerEntitiesProvider::header(fullBattery());
    ASSERT_TRUE(header);
    EXPECT_EQ(header->title, "BAT0 MODEL");
    EXPECT_EQ(header->subtitle, "75%");
    EXPECT_EQ(header->detail, "Acme");
    EXPECT_EQ(header->sizeTitle, "5000 mAh");
    EXPECT_EQ(header->sizeDetailTitle, "Capacity");
    EXPECT_EQ(header->bar.maximumCapacity, 4000);
    auto anonymous = fullBattery();
    anonymous.name.reset();
    anonymous.manufacturer.reset();
    anonymous.isCharging = true;
    header = PowerEntitiesProvider::header(anonymous);
    EXPECT_EQ(header->title, "Unknown");
    EXPECT_EQ(header->detail, "Unknown vendor");
    EXPECT_TRUE(header->bar.isCharging);
    auto noPercent = fullBattery();
    noPercent.currentPercent.reset();
    EXPECT_FALSE(PowerEntitiesProvider::header(noPercent));
}

TEST(Power, EveryHealthAndThermalStatusHasItsTextAndColours)
{
    Power p;
    using H = StatsBatteryHealthStatus;
    const std::pair<H, std::string> health[] = {
        {H::danger, "This battery is in critical condition and should be replaced."},
        {H::low, "This battery is in poor condition and may not last much longer."},
        {H::aging, "This battery is aging and has lost some capacity."},
        {H::medium, "This battery is in good condition but is starting to lose some capacity."},
        {H::max, "This battery is in perfect condition."},
        {H::exceedingMax, "This battery is in better condition than expected."},
        {H::missing, "Unable to retrieve health status."},
    };
    for (const auto& [status, text] : health) {
        auto b = fullBattery();
        b.healthStatus = status;
        auto card = p.provider->healthCard(b);
        EXPECT_EQ(card.description, text);
        EXPECT_EQ(card.topColor, BadgeColor::healthTop) << "health colours never change";
        EXPECT_EQ(card.bottomColor, BadgeColor::healthBottom);
    }
    auto better = fullBattery();
    better.healthFraction = 1.04;
    better.healthStatus = H::exceedingMax;
    EXPECT_EQ(p.provider->healthCard(better).title, "104\u2008%") << "above 100 % printed unchanged";
    better.healthFraction.reset();
    EXPECT_EQ(p.provider->healthCard(better).title, "-");

    using T = StatsThermalStatus;
    using C = BadgeColor;
    const std::tuple<T, std::string, C, C> thermal[] = {
        {T::cool, "The temperature is within normal working conditions.", C::tempCoolTop, C::tempCoolBottom},
        {T::hot, "The temperature is in the higher range of safe thresholds.", C::tempHotTop, C::tempHotBottom},
        {T::warning, "Warning! The temperature is exceeding safe thresholds.", C::tempDangerTop, C::tempDangerBottom},
        {T::missing, "Unable to perform a temperature reading.", C::systemLightGray, C::systemGray},
    };
    for (const auto& [status, text, top, bottom] : thermal) {
        auto b = fullBattery();
        b.thermalStatus = status;
        auto card = p.provider->temperatureCard(b);
        EXPECT_EQ(card.description, text);
        EXPECT_EQ(card.topColor, top);
        EXPECT_EQ(card.bottomColor, bottom);
    }
    auto b = fullBattery();
    EXPECT_EQ(p.provider->temperatureCard(b).title, "30 °C");
    p.unit = quendal::TemperatureUnitFormat::fahrenheit;
    EXPECT_EQ(p.provider->temperatureCard(b).title, "86 °F");
    b.temperatureCelsius.reset();
    EXPECT_EQ(p.provider->temperatureCard(b).title, "-");
}

TEST(Power, FactsKeepTheirOrderUnitsAndUnknowns)
{
    auto b = fullBattery();
    auto rows = PowerEntitiesProvider::facts(b);
    ASSERT_EQ(rows.size(), 12u);
    EXPECT_EQ(rows.front().title, "Serial #");
    EXPECT_EQ(rows.back().title, "Cycle count");
    EXPECT_EQ(fact(rows, "Voltage"), "12100 mV");
    EXPECT_EQ(fact(rows, "Amperage"), "-1500 mA");
    EXPECT_EQ(fact(rows, "Pack reserve"), "Unknown mA") << "an absent value keeps its unit";
    EXPECT_EQ(fact(rows, "Time remaining"), "2 h 5 min remaining");
    EXPECT_EQ(fact(rows, "Manufacture date"), "Unknown");
    EXPECT_EQ(fact(rows, "Design cycle count"), "Unknown");
    EXPECT_EQ(fact(rows, "Cycle count"), "321");
    EXPECT_EQ(fact(rows, "Cell count"), "Unknown") << "no count is not zero cells";
    b.cellCount = 3;
    EXPECT_EQ(fact(PowerEntitiesProvider::facts(b), "Cell count"), "3");

    // A driver that counts charge, not energy, still gives capacities; one that gives neither leaves them unknown.
    b.designCapacity.reset();
    b.maximumCapacity.reset();
    b.manufactureDate = Date::fromUnixSeconds(1'700'000'000); // 14 November 2023
    rows = PowerEntitiesProvider::facts(b);
    EXPECT_EQ(fact(rows, "Design capacity"), "Unknown mAh");
    EXPECT_EQ(fact(rows, "Max capacity"), "Unknown mAh");
    EXPECT_EQ(fact(rows, "Manufacture date"), "14 November 2023");
    EXPECT_EQ(PowerEntitiesProvider::dateText(Date::fromUnixSeconds(1'704'067'200).unixSeconds()), "01 January 2024");
}

TEST(Power, RemainingTextFollowsTheDirectionOfCharge)
{
    auto b = fullBattery();
    b.timeToEmptySeconds = -1;
    EXPECT_EQ(PowerEntitiesProvider::remainingText(b), "Calculating...") << "a negative estimate is still measuring";
    b.timeToEmptySeconds.reset();
    EXPECT_EQ(PowerEntitiesProvider::remainingText(b), "Unknown");
    b.timeToEmptySeconds = 30;
    EXPECT_EQ(PowerEntitiesProvider::remainingText(b), "less than a minute remaining");
    b.isCharging = true;
    b.timeToFullSeconds = 45 * 60;
    EXPECT_EQ(PowerEntitiesProvider::remainingText(b), "45 min until fully charged") << "charging reads time to full";
    b.timeToFullSeconds.reset();
    EXPECT_EQ(PowerEntitiesProvider::remainingText(b), "Unknown") << "never the time to empty while charging";
}
