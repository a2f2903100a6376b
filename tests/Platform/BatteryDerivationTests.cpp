// What the daemon derives from the parts a battery driver gives: health, power and cycles.
#include "Fixtures.h"
#include "Platform/Statistics/PowerSupplyReader.h"

#include <gtest/gtest.h>

using namespace tarnel::platform;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

TEST(BatteryDerivation, HealthAndPowerFromWhicheverCountersTheDriverGives)
{
    TemporaryDirectory root;
    const auto folder = root.path() / "sys/class/power_supply";
    // Charge, not energy: a driver that counts µAh.
    writeFile(folder / "BAT0/type", "Battery\n");
    writeFile(folder / "BAT0/status", "Discharging\n");
    writeFile(folder / "BAT0/charge_now", "1500000\n");
    writeFile(folder / "BAT0/charge_full", "3800000\n");
    writeFile(folder / "BAT0/charge_full_design", "4000000\n");
    writeFile(folder / "BAT0/current_now", "750000\n");
    writeFile(folder / "BAT0/voltage_now", "11000000\n");
    writeFile(folder / "BAT0/cycle_count", "87\n");
    // Energy without a design voltage: no mAh, but full over design is still known.
    writeFile(folder / "BAT1/type", "Battery\n");
    writeFile(folder / "BAT1/status", "Full\n");
    writeFile(folder / "BAT1/energy_full", "41000000\n");
    writeFile(folder / "BAT1/energy_full_design", "50000000\n");
    writeFile(folder / "BAT1/power_now", "0\n");
    // Energy with a full above design: reported as it is, not clipped.
    writeFile(folder / "BAT2/type", "Battery\n");
    writeFile(folder / "BAT2/energy_full", "52000000\n");
    writeFile(folder / "BAT2/energy_full_design", "50000000\n");
    writeFile(folder / "BAT2/energy_full_design", "50000000\n");
    writeFile(folder / "BAT2/cycle_count", "0\n");

    const auto batteries = PowerSupplyReader(SystemRoot(root.path())).read().batteries;
    ASSERT_EQ(batteries.size(), 3u);

    const auto& charge = batteries[0];
    EXPECT_EQ(charge.maximumCapacity, 3800);
    EXPECT_EQ(charge.designCapacity, 4000);
    EXPECT_DOUBLE_EQ(*charge.healthFraction(), 0.95);
    EXPECT_EQ(charge.amperageMilliamps, -750);
    EXPECT_DOUBLE_EQ(*charge.powerWatts, 0.75 * 11.0) << "current × voltage where power_now is absent";
    EXPECT_EQ(charge.cycleCount, 87);

    const auto& energy = batteries[1];
    EXPECT_FALSE(energy.maximumCapacity) << "no design voltage, no invented mAh";
    EXPECT_FALSE(energy.designCapacity);
    ASSERT_TRUE(energy.healthFraction()) << "health from the energy counters alone";
    EXPECT_DOUBLE_EQ(*energy.healthFraction(), 0.82);
    EXPECT_FALSE(energy.cycleCount) << "no cycle_count file, no count";

    const auto& better = batteries[2];
    EXPECT_DOUBLE_EQ(*better.healthFraction(), 1.04);
    EXPECT_FALSE(better.cycleCount) << "a cycle count of 0 is the driver's unknown";

    BatteryState partial;
    partial.maximumCapacity = 100;
    EXPECT_FALSE(partial.healthFraction()) << "half a ratio is no health";
}
