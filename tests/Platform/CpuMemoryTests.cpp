#include "Fixtures.h"
#include "Platform/Statistics/CpuUsage.h"
#include "Platform/Statistics/MemoryInfoReader.h"
#include "Platform/Statistics/MemoryPressureReader.h"
#include "Platform/Statistics/SystemLoadReader.h"

#include <gtest/gtest.h>

using namespace tarnel::platform;
using tarnel::testing::fixtureMachine;

TEST(CpuTimes, ReadsRecordedMachinesWithOfflineCoresAndSkipsBrokenLines)
{
    auto laptop = CpuTimesReader(fixtureMachine("laptop")).read();
    ASSERT_EQ(laptop.cores.size(), 8u);
    EXPECT_EQ(laptop.cores[7].core, 7);
    EXPECT_EQ(laptop.cores[0].ticks.user, 41230u);
    EXPECT_EQ(laptop.cores[0].ticks.iowait, 2011u);
    EXPECT_EQ(laptop.bootTime, 1717401600);

    // cpu2 was taken offline: the numbering keeps its gap.
    auto desktop = CpuTimesReader(fixtureMachine("desktop")).read();
    ASSERT_EQ(desktop.cores.size(), 3u);
    EXPECT_EQ(desktop.cores[2].core, 3);

    auto parsed = CpuTimesReader::parse("cpu  10 0 5 100\ncpu1 4 x 2 50\ncpu0 6 0 3\ncpu3 1 2 3 4 5 6 7 8 9 10\n"
                                        "btime nonsense\ncpu",
        "stat");
    ASSERT_EQ(parsed.cores.size(), 1u); // cpu1 has a non-number, cpu0 is cut short
    EXPECT_EQ(parsed.cores[0].core, 3);
    EXPECT_EQ(parsed.cores[0].ticks.steal, 8u);
    EXPECT_FALSE(parsed.bootTime);
    EXPECT_THROW(CpuTimesReader::parse("cpu0 1 2 3 4\n", "stat"), ReadError);
    EXPECT_THROW(CpuTimesReader(fixtureMachine("no-such-machine")).read(), ReadError);
}

TEST(CpuUsage, FoldsStatesAndSurvivesResetsAndUnpluggedCores)
{
    CpuTimes earlier;
    earlier.total = {100, 10, 50, 1000, 20, 5, 5, 7};
    earlier.cores = {{0, {50, 5, 25, 500, 10, 0, 0, 0}}, {1, {50, 5, 25, 500, 10, 5, 5, 7}}};
    CpuTimes later;
    later.total = {160, 30, 80, 1100, 40, 10, 10, 50};
    // Core 1 went offline; core 2 came online; core 0's counters went back (a reset).
    later.cores = {{0, {10, 0, 0, 10, 0, 0, 0, 0}}, {2, {1, 1, 1, 1, 0, 0, 0, 0}}};

    auto interval = cpuUsageBetween(earlier, later);
    ASSERT_TRUE(interval.total);
    EXPECT_EQ(interval.total->user, 60u);
    EXPECT_EQ(interval.total->nice, 20u);
    EXPECT_EQ(interval.total->system, 30u + 5 + 5);
    EXPECT_EQ(interval.total->idle, 100u + 20); // steal is in none of them
    EXPECT_DOUBLE_EQ(interval.total->usageFraction(), 100.0 / 220.0);
    EXPECT_DOUBLE_EQ(interval.total->niceFraction(), 20.0 / 220.0);
    ASSERT_EQ(interval.cores.size(), 2u);
    EXPECT_EQ(interval.cores[0].core, 0);
    EXPECT_FALSE(interval.cores[0].usage);
    EXPECT_EQ(interval.cores[1].core, 2);
    EXPECT_FALSE(interval.cores[1].usage);

    // iowait may go back on an idle core; the interval still counts.
    auto dipping = cpuUsageBetween(CpuTicks{10, 0, 10, 100, 50}, CpuTicks{20, 0, 10, 200, 40});
    ASSERT_TRUE(dipping);
    EXPECT_EQ(dipping->idle, 100u);
    // Only nice ticks: nothing in T, so every fraction is 0 rather than a division by zero.
    auto niceOnly = cpuUsageBetween(CpuTicks{0, 0, 0, 0}, CpuTicks{0, 40, 0, 0});
    ASSERT_TRUE(niceOnly);
    EXPECT_EQ(niceOnly->niceFraction(), 0.0);
    EXPECT_EQ(niceOnly->usageFraction(), 0.0);
}

TEST(SystemLoad, ReadsUptimeAndLoadAndLeavesBrokenFilesAbsent)
{
    auto laptop = SystemLoadReader(fixtureMachine("laptop")).read();
    EXPECT_DOUBLE_EQ(*laptop.uptimeSeconds, 93784.52);
    EXPECT_EQ(laptop.loadAverage, (std::vector<double>{1.52, 1.31, 0.97}));
    EXPECT_EQ(laptop.runnableTasks, 3u);
    EXPECT_EQ(laptop.totalTasks, 1245u);

    SystemLoad broken;
    SystemLoadReader::parseUptime("12.5\n", broken);
    SystemLoadReader::parseLoadAverage("0.5 -1 0.2 1/2 3\n", broken);
    EXPECT_FALSE(broken.uptimeSeconds);
    EXPECT_TRUE(broken.loadAverage.empty());
    EXPECT_FALSE(SystemLoadReader(fixtureMachine("no-such-machine")).read().uptimeSeconds);
}

TEST(MemoryInfo, ReadsWiredCompressedAndSwapInBytes)
{
    auto laptop = MemoryInfoReader(fixtureMachine("laptop")).read();
    EXPECT_EQ(laptop.totalBytes, 15977832ull * 1024);
    EXPECT_EQ(laptop.availableBytes, 8123456ull * 1024);
    EXPECT_EQ(laptop.activeBytes, 7543210ull * 1024);
    // Mlocked pages are part of Unevictable and are not counted twice.
    EXPECT_EQ(laptop.wiredBytes(), 104560ull * 1024);
    EXPECT_EQ(laptop.compressedBytes, 212992ull * 1024);
    EXPECT_EQ(laptop.compressedOriginalBytes, 851968ull * 1024);
    EXPECT_EQ(laptop.swapUsedBytes(), (8388604ull - 7340028) * 1024);

    // A kernel without zswap lines: compressed is absent, not zero; no swap is a real zero.
    auto desktop = MemoryInfoReader(fixtureMachine("desktop")).read();
    EXPECT_FALSE(desktop.compressedBytes);
    EXPECT_EQ(desktop.swapUsedBytes(), 0u);

    auto odd = MemoryInfoReader::parse("MemTotal: 100 kB\nActive: lots kB\nInactive 5 kB\nMlocked: 8 kB\nSwapTotal: 1 kB\n", "meminfo");
    EXPECT_FALSE(odd.activeBytes);
    EXPECT_FALSE(odd.inactiveBytes);
    EXPECT_EQ(odd.wiredBytes(), 8u * 1024);
    EXPECT_FALSE(odd.swapUsedBytes());
    EXPECT_THROW(MemoryInfoReader::parse("MemFree: 5 kB\n", "meminfo"), ReadError);
}

TEST(MemoryPressure, ReadsBothLinesAndIsAbsentWithoutTheFile)
{
    auto pressure = MemoryPressureReader(fixtureMachine("laptop")).read();
    ASSERT_TRUE(pressure);
    EXPECT_DOUBLE_EQ(pressure->some.average10, 1.25);
    EXPECT_DOUBLE_EQ(pressure->fraction(), 0.0125);
    ASSERT_TRUE(pressure->full);
    EXPECT_EQ(pressure->full->totalMicroseconds, 20113004u);

    EXPECT_FALSE(MemoryPressureReader(fixtureMachine("desktop")).read());
    EXPECT_FALSE(MemoryPressureReader::parse("some avg10=1.00 avg60=2.00 total=5\n")); // cut short
    EXPECT_FALSE(MemoryPressureReader::parse("full avg10=1.00 avg60=2.00 avg300=3.00 total=5\n"));
    auto onlySome = MemoryPressureReader::parse("some avg10=0.5 avg60=0.1 avg300=0 total=9\n");
    ASSERT_TRUE(onlySome);
    EXPECT_FALSE(onlySome->full);
}
