#include "Fixtures.h"
#include "Platform/Statistics/EnergyCounterReader.h"
#include "Platform/Statistics/NetworkInterfaceReader.h"
#include "Platform/Statistics/PowerSupplyReader.h"
#include "Platform/Statistics/RouteTableReader.h"

#include <gtest/gtest.h>

using namespace tarnel::platform;
using tarnel::testing::fixtureMachine;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

TEST(PowerSupplies, ReadsTheLaptopBatteryInMilliampHours)
{
    auto supplies = PowerSupplyReader(fixtureMachine("laptop")).read();
    ASSERT_EQ(supplies.batteries.size(), 1u); // the mouse's battery is no source of the machine
    EXPECT_EQ(supplies.externalPowerOnline, false);
    const auto& battery = supplies.batteries[0];
    EXPECT_EQ(battery.identifier, "BAT0");
    EXPECT_EQ(battery.manufacturer, "SMP");
    EXPECT_EQ(battery.model, "5B10W13975");
    EXPECT_EQ(battery.serialNumber, "1234");
    EXPECT_EQ(battery.technology, "Li-poly");
    EXPECT_EQ(battery.capacityPercent, 76);
    // µWh through the 11.58 V design voltage.
    EXPECT_EQ(battery.designCapacity, 4922);
    EXPECT_EQ(battery.maximumCapacity, 4532);
    EXPECT_EQ(battery.currentCapacity, 3443);
    EXPECT_NEAR(*battery.healthFraction(), 4532.0 / 4922.0, 1e-12);
    EXPECT_EQ(battery.cycleCount, 213);
    EXPECT_EQ(battery.voltageMillivolts, 12145);
    EXPECT_EQ(battery.amperageMilliamps, -684); // from power and voltage, negative while discharging
    EXPECT_DOUBLE_EQ(*battery.powerWatts, 8.312);
    EXPECT_FALSE(battery.isCharging());
    EXPECT_FALSE(battery.temperatureCelsius);
    EXPECT_NEAR(*battery.timeToEmptySeconds, 3443.0 / 684.0 * 3600.0, 1e-6);
    EXPECT_FALSE(battery.timeToFullSeconds);

    auto desktop = PowerSupplyReader(fixtureMachine("desktop")).read();
    EXPECT_TRUE(desktop.batteries.empty());
    EXPECT_FALSE(desktop.externalPowerOnline);
}

TEST(PowerSupplies, ChargeCountingDriversAndMissingDesignVoltage)
{
    TemporaryDirectory root;
    auto bat = root.path() / "sys/class/power_supply/BAT1";
    writeFile(bat / "type", "Battery\n");
    writeFile(bat / "status", "Charging\n");
    writeFile(bat / "charge_now", "2000000\n");
    writeFile(bat / "charge_full", "4000000\n");
    writeFile(bat / "charge_full_design", "0\n"); // the driver does not know
    writeFile(bat / "current_now", "-1000000\n");
    writeFile(bat / "voltage_now", "8000000\n");
    writeFile(bat / "temp", "312\n");
    writeFile(bat / "cycle_count", "0\n");
    auto energy = root.path() / "sys/class/power_supply/BAT2";
    writeFile(energy / "type", "Battery\n");
    writeFile(energy / "energy_full", "50000000\n");
    writeFile(root.path() / "sys/class/power_supply/ucsi-source-psy-USBC000:001/type", "USB\n");
    writeFile(root.path() / "sys/class/power_supply/ucsi-source-psy-USBC000:001/online", "1\n");

    auto supplies = PowerSupplyReader(tarnel::platform::SystemRoot(root.path())).read();
    ASSERT_EQ(supplies.batteries.size(), 2u);
    const auto& charging = supplies.batteries[0];
    EXPECT_EQ(charging.currentCapacity, 2000);
    EXPECT_EQ(charging.maximumCapacity, 4000);
    EXPECT_FALSE(charging.designCapacity);
    EXPECT_FALSE(charging.healthFraction());
    EXPECT_FALSE(charging.cycleCount);
    EXPECT_EQ(charging.amperageMilliamps, 1000); // charging flows in, whatever the driver's sign
    EXPECT_DOUBLE_EQ(*charging.temperatureCelsius, 31.2);
    EXPECT_DOUBLE_EQ(*charging.timeToFullSeconds, 2.0 * 3600);
    // Energy without a design voltage gives no mAh rather than a guessed one.
    EXPECT_FALSE(supplies.batteries[1].maximumCapacity);
    EXPECT_EQ(supplies.externalPowerOnline, true);
}

TEST(EnergyCounters, PowerAcrossTheCounterWrap)
{
    auto counters = EnergyCounterReader(fixtureMachine("laptop")).read();
    ASSERT_EQ(counters.size(), 4u); // the control folder "intel-rapl" holds no counter
    EXPECT_EQ(counters[0].identifier, "intel-rapl:0");
    EXPECT_EQ(counters[0].name, "package-0");
    EXPECT_TRUE(counters[0].isTopLevel());
    EXPECT_FALSE(counters[1].isTopLevel());

    const std::uint64_t range = 262143328850;
    std::vector<EnergyCounter> earlier{{"intel-rapl:0", "package-0", range - 1'000'000, range},
        {"intel-rapl:0:0", "core", 5'000'000, range}, {"intel-rapl:1", "psys", 1'000'000, range}};
    std::vector<EnergyCounter> later{{"intel-rapl:0", "package-0", 2'999'999, range},
        {"intel-rapl:0:0", "core", 7'000'000, range}, {"intel-rapl:1", "psys", 11'000'000, range}};
    auto zones = powerBetween(earlier, later, 2.0);
    ASSERT_EQ(zones.size(), 3u);
    EXPECT_DOUBLE_EQ(zones[0].watts, 2.0); // 4 J across the wrap in 2 s
    EXPECT_DOUBLE_EQ(zones[1].watts, 1.0);
    EXPECT_EQ(machinePowerWatts(zones), 5.0); // the platform zone covers the package
    zones.pop_back();
    EXPECT_EQ(machinePowerWatts(zones), 2.0); // subzones never add to the packages
    EXPECT_FALSE(machinePowerWatts({}));
    later[0].energyMicrojoules = range + 5; // beyond the range: nonsense
    EXPECT_EQ(powerBetween(earlier, later, 2.0).size(), 2u);
    EXPECT_TRUE(EnergyCounterReader(fixtureMachine("build-vm")).read().empty());
}

TEST(NetworkInterfaces, KindsAddressesAndRates)
{
    auto interfaces = NetworkInterfaceReader(fixtureMachine("laptop")).read();
    ASSERT_EQ(interfaces.size(), 5u);
    auto byName = [&](const std::string& name) {
        return *std::find_if(interfaces.begin(), interfaces.end(), [&](const NetworkInterface& i) { return i.name == name; });
    };
    EXPECT_EQ(byName("wlp0s20f3").kind, InterfaceKind::wifi);
    EXPECT_EQ(byName("wlp0s20f3").macAddress, "3c:58:c2:1a:2b:3c");
    EXPECT_EQ(byName("wlp0s20f3").receivedBytes, 8812345678u);
    EXPECT_FALSE(byName("wlp0s20f3").speedMegabitsPerSecond);
    EXPECT_EQ(byName("enp0s31f6").kind, InterfaceKind::ethernet);
    EXPECT_FALSE(byName("enp0s31f6").speedMegabitsPerSecond); // -1 while the cable is out
    EXPECT_EQ(byName("docker0").kind, InterfaceKind::other);
    EXPECT_EQ(byName("bnep0").kind, InterfaceKind::bluetooth);
    EXPECT_TRUE(byName("lo").isLoopback);
    EXPECT_FALSE(byName("lo").macAddress);

    auto desktop = NetworkInterfaceReader(fixtureMachine("desktop")).read("enp5s0");
    ASSERT_TRUE(desktop);
    EXPECT_EQ(desktop->kind, InterfaceKind::ethernet);
    EXPECT_EQ(desktop->speedMegabitsPerSecond, 1000);
    EXPECT_TRUE(desktop->isUp());

    NetworkInterface before{"eth0"};
    before.receivedBytes = 1000;
    before.transmittedBytes = 500;
    NetworkInterface after = before;
    after.receivedBytes = 5000;
    after.transmittedBytes = 700;
    NetworkInterface recreated = before;
    recreated.name = "wg0";
    NetworkInterface recreatedLater = recreated;
    recreatedLater.receivedBytes = 10;
    auto rates = interfaceRatesBetween({before, recreated}, {after, recreatedLater}, 4.0);
    ASSERT_EQ(rates.size(), 1u);
    EXPECT_DOUBLE_EQ(rates[0].receivedBytesPerSecond, 1000.0);
    EXPECT_DOUBLE_EQ(rates[0].transmittedBytesPerSecond, 50.0);
}

TEST(RouteTable, DefaultGatewaysByMetric)
{
    auto routes = RouteTableReader(fixtureMachine("laptop")).defaultRoutes();
    ASSERT_EQ(routes.size(), 1u);
    EXPECT_EQ(routes[0].interfaceName, "wlp0s20f3");
    EXPECT_EQ(routes[0].gateway, "192.168.1.1");
    EXPECT_EQ(RouteTableReader::gatewayOf(routes, "wlp0s20f3"), "192.168.1.1");
    EXPECT_FALSE(RouteTableReader::gatewayOf(routes, "docker0"));

    auto parsed = RouteTableReader::parse("Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\n"
                                          "wlan0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\n"
                                          "eth0\t00000000\t0100000A\t0003\t0\t0\t100\t00000000\n"
                                          "tun0\t00000000\t00000000\t0001\t0\t0\t50\t00000000\n"
                                          "bad\tzz\t0100000A\t0003\t0\t0\t1\t00000000\n"
                                          "cut\t00000000\n");
    ASSERT_EQ(parsed.size(), 2u); // tun0 has no gateway
    EXPECT_EQ(parsed[0].interfaceName, "eth0");
    EXPECT_EQ(parsed[0].gateway, "10.0.0.1");
    EXPECT_TRUE(RouteTableReader(fixtureMachine("no-such-machine")).defaultRoutes().empty());
}

TEST(NetworkInterfaces, RecordedBuildMachine)
{
    auto interfaces = NetworkInterfaceReader(fixtureMachine("build-vm")).read();
    ASSERT_EQ(interfaces.size(), 4u);
    EXPECT_EQ(interfaces[0].name, "eth0");
    EXPECT_EQ(interfaces[0].kind, InterfaceKind::ethernet);
    EXPECT_EQ(interfaces[1].kind, InterfaceKind::other); // ifb0 has no device behind it
    EXPECT_EQ(RouteTableReader::gatewayOf(RouteTableReader(fixtureMachine("build-vm")).defaultRoutes(), "eth0"), "192.0.2.1");
    EXPECT_TRUE(PowerSupplyReader(fixtureMachine("build-vm")).read().batteries.empty());
}
