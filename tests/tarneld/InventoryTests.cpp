#include "Catalog/SystemInventoryCollector.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace tarnel;
using namespace tarnel::daemon;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

TEST(Inventory, AHybridLaptopFromItsFiles)
{
    TemporaryDirectory root;
    const auto r = root.path();
    std::string cpuinfo;
    for (int p = 0; p < 4; ++p)
        cpuinfo += "processor\t: " + std::to_string(p) +
                   "\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel name\t: 12th Gen Intel(R) Core(TM) i7-1260P\n"
                   "physical id\t: 0\ncore id\t: " + std::to_string(p < 2 ? 0 : p) + "\n\n";
    writeFile(r / "proc/cpuinfo", cpuinfo);
    writeFile(r / "proc/meminfo", "MemTotal:       16000000 kB\nMemFree: 1000 kB\n");
    writeFile(r / "sys/devices/cpu_core/cpus", "0-1\n");
    writeFile(r / "sys/devices/cpu_atom/cpus", "2-3\n");
    writeFile(r / "sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4700000\n");
    writeFile(r / "sys/devices/system/cpu/cpu0/cache/index2/level", "2\n");
    writeFile(r / "sys/devices/system/cpu/cpu0/cache/index2/size", "1280K\n");
    writeFile(r / "sys/devices/system/cpu/cpu0/cache/index3/level", "3\n");
    writeFile(r / "sys/devices/system/cpu/cpu0/cache/index3/size", "18M\n");
    writeFile(r / "sys/class/dmi/id/sys_vendor", "LENOVO\n");
    writeFile(r / "sys/class/dmi/id/product_name", "21CB0067GE\n");
    writeFile(r / "sys/class/dmi/id/product_version", "ThinkPad X1 Carbon Gen 10\n");
    writeFile(r / "sys/class/dmi/id/board_serial", "To be filled by O.E.M.\n");
    writeFile(r / "etc/machine-id", "5f0c7c1e11112222333344445555666\n");
    writeFile(r / "etc/os-release", "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");
    writeFile(r / "sys/class/bluetooth/hci0/address", "AA:BB\n");
    writeFile(r / "sys/bus/usb/devices/1-2/idVendor", "046d\n");
    writeFile(r / "sys/bus/usb/devices/1-2/idProduct", "c52b\n");
    writeFile(r / "sys/bus/usb/devices/1-2/product", "USB Receiver\n");
    writeFile(r / "sys/bus/usb/devices/1-2/manufacturer", "Logitech\n");
    writeFile(r / "sys/bus/usb/devices/1-2/speed", "12\n");
    writeFile(r / "sys/bus/usb/devices/1-2/bMaxPower", "98mA\n");
    writeFile(r / "sys/bus/usb/devices/1-2:1.0/idVendor", "046d\n"); // an interface, not a device
    writeFile(r / "sys/bus/usb/devices/usb1/idVendor", "1d6b\n");    // a root hub

    SystemInventoryCollector collector(platform::SystemRoot(r), SystemInventoryCollector::Host{"x86_64", "6.1.0-18-amd64", "ada"});
    auto inventory = collector.collect();
    EXPECT_EQ(inventory.cpu.name, "12th Gen Intel(R) Core(TM) i7-1260P");
    EXPECT_EQ(inventory.cpu.logicalCores, 4);
    EXPECT_EQ(inventory.cpu.physicalCores, 3) << "two threads share core 0";
    EXPECT_EQ(inventory.cpu.performanceCores, 2);
    EXPECT_EQ(inventory.cpu.efficiencyCores, 2);
    EXPECT_EQ(inventory.cpu.frequencyHz, 4700000000ULL);
    EXPECT_EQ(inventory.cpu.l2CacheBytes, 1280 * 1024);
    EXPECT_EQ(inventory.cpu.l3CacheBytes, 18 * 1024 * 1024);
    ASSERT_EQ(inventory.cpu.cores.size(), 4u);
    EXPECT_EQ(inventory.cpu.cores[0].kind, SystemCPUCoreKind::performance);
    EXPECT_EQ(inventory.cpu.cores[3].kind, SystemCPUCoreKind::efficiency);
    EXPECT_EQ(inventory.memory.totalBytes, 16000000ULL * 1024);
    EXPECT_EQ(inventory.machine.appleProductName, "LENOVO ThinkPad X1 Carbon Gen 10");
    EXPECT_EQ(inventory.machine.modelIdentifier, "21CB0067GE");
    EXPECT_FALSE(inventory.machine.mlbSerialNumber) << "firmware placeholders are no values";
    EXPECT_FALSE(inventory.machine.serialNumber);
    EXPECT_EQ(inventory.operatingSystem.versionString, "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(inventory.operatingSystem.majorVersion, 12);
    EXPECT_EQ(inventory.operatingSystem.buildString, "6.1.0-18-amd64");
    EXPECT_EQ(inventory.operatingSystem.computerName, "ada");
    EXPECT_TRUE(inventory.bluetooth.isAvailable);
    ASSERT_EQ(inventory.usb.devices.size(), 1u);
    EXPECT_EQ(inventory.usb.devices[0].name, "USB Receiver");
    EXPECT_EQ(inventory.usb.devices[0].speed, "12 Mb/s");
    EXPECT_EQ(inventory.usb.devices[0].powerUsed, 98);

    // An empty tree: nothing invented.
    TemporaryDirectory empty;
    auto bare = SystemInventoryCollector(platform::SystemRoot(empty.path()), SystemInventoryCollector::Host{}).collect();
    EXPECT_FALSE(bare.cpu.name);
    EXPECT_FALSE(bare.cpu.performanceCores);
    EXPECT_FALSE(bare.machine.appleProductName);
    EXPECT_EQ(bare.memory.totalBytes, 0u);
    EXPECT_FALSE(bare.bluetooth.isAvailable);
}

TEST(Inventory, ThisMachine)
{
    auto inventory = SystemInventoryCollector().collect();
    EXPECT_EQ(inventory.cpu.logicalCores, ::sysconf(_SC_NPROCESSORS_CONF));
    EXPECT_GT(inventory.memory.totalBytes, 0u);
    EXPECT_FALSE(inventory.operatingSystem.versionString.empty());
    EXPECT_TRUE(inventory.operatingSystem.hostName);
}
