// Every reader against this machine's own /proc and /sys, asserting only what must hold anywhere.
#include "Platform/Statistics/CpuUsage.h"
#include "Platform/Statistics/DiskStatsReader.h"
#include "Platform/Statistics/EnergyCounterReader.h"
#include "Platform/Statistics/InterfaceAddresses.h"
#include "Platform/Statistics/MemoryInfoReader.h"
#include "Platform/Statistics/MemoryPressureReader.h"
#include "Platform/Statistics/NetworkInterfaceReader.h"
#include "Platform/Statistics/PowerSupplyReader.h"
#include "Platform/Statistics/ProcessUsage.h"
#include "Platform/Statistics/RouteTableReader.h"
#include "Platform/Statistics/StorageVolumeReader.h"
#include "Platform/Statistics/SystemLoadReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <unistd.h>

using namespace tarnel::platform;

TEST(Live, ProcessorAndLoad)
{
    auto times = CpuTimesReader().read();
    EXPECT_FALSE(times.cores.empty());
    ASSERT_TRUE(times.bootTime);
    EXPECT_LT(*times.bootTime, std::time(nullptr));
    auto later = CpuTimesReader().read();
    auto interval = cpuUsageBetween(times, later);
    ASSERT_TRUE(interval.total); // the kernel's counters never go back between two reads
    EXPECT_GE(interval.total->usageFraction(), 0.0);
    EXPECT_LE(interval.total->usageFraction(), 1.0);

    auto load = SystemLoadReader().read();
    ASSERT_TRUE(load.uptimeSeconds);
    EXPECT_GT(*load.uptimeSeconds, 0.0);
    EXPECT_EQ(load.loadAverage.size(), 3u);
}

TEST(Live, Memory)
{
    auto memory = MemoryInfoReader().read();
    EXPECT_GT(*memory.totalBytes, 0u);
    ASSERT_TRUE(memory.availableBytes);
    EXPECT_LE(*memory.availableBytes, *memory.totalBytes);
    EXPECT_TRUE(memory.swapUsedBytes());
    if (auto pressure = MemoryPressureReader().read()) {
        EXPECT_GE(pressure->fraction(), 0.0);
        EXPECT_LE(pressure->fraction(), 1.0);
    }
}

TEST(Live, ProcessesIncludeThisOne)
{
    ProcessReader reader;
    auto processes = reader.readAll();
    auto self = std::find_if(processes.begin(), processes.end(), [](const ProcessSample& p) { return p.pid == ::getpid(); });
    ASSERT_NE(self, processes.end());
    EXPECT_GT(self->residentBytes, 0u);
    auto details = reader.details(*self);
    ASSERT_TRUE(details.executablePath);
    EXPECT_NE(details.executablePath->find("test_Platform_Live"), std::string::npos);
    EXPECT_FALSE(topByResidentMemory(processes, 5).empty());
}

TEST(Live, RootFileSystemAndDrives)
{
    auto volumes = StorageVolumeReader().read();
    auto root = std::find_if(volumes.begin(), volumes.end(), [](const StorageVolume& v) { return v.mountPoint == "/"; });
    ASSERT_NE(root, volumes.end());
    EXPECT_GT(root->figures.totalBytes, 0u);
    EXPECT_LE(root->figures.availableBytes, root->figures.freeBytes);
    EXPECT_FALSE(DiskStatsReader().read().empty());
    for (const auto& drive : DiskStatsReader().readDrives())
        EXPECT_FALSE(drive.name.starts_with("loop"));
}

TEST(Live, PowerAndNetwork)
{
    // This machine may have neither battery nor readable RAPL; what it reports must make sense.
    for (const auto& battery : PowerSupplyReader().read().batteries) {
        if (battery.capacityPercent) {
            EXPECT_LE(*battery.capacityPercent, 100);
        }
    }
    for (const auto& counter : EnergyCounterReader().read())
        EXPECT_LE(counter.energyMicrojoules, counter.rangeMicrojoules);

    auto interfaces = NetworkInterfaceReader().read();
    auto loopback = std::find_if(interfaces.begin(), interfaces.end(), [](const NetworkInterface& i) { return i.isLoopback; });
    ASSERT_NE(loopback, interfaces.end());
    auto addresses = SystemInterfaceAddresses().addresses();
    EXPECT_TRUE(std::any_of(addresses.begin(), addresses.end(),
        [&](const InterfaceAddress& a) { return a.interfaceName == loopback->name && a.address == "127.0.0.1"; }));
    for (const auto& route : RouteTableReader().defaultRoutes())
        EXPECT_FALSE(route.gateway.empty());
}
