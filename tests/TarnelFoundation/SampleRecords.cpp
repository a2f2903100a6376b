#include "SampleRecords.h"

namespace tarnel::testing {

StatsUpdateBatch fullBatch(int processes, int sensors, int volumes)
{
    StatsUpdateBatch batch;
    batch.services = {DaemonService::cpu, DaemonService::ram, DaemonService::battery, DaemonService::processCPUUsage};
    const Date at{785000000.25};
    batch.generatedAt = at;
    batch.values.push_back({WidgetStatistic::cpuUsage, 0, 0.42, 0.42, std::nullopt, at});
    batch.values.push_back({WidgetStatistic::cpuCore, 3, 0.1, 0.1, std::nullopt, at});
    batch.values.push_back({WidgetStatistic::networkService, 0, std::nullopt, std::nullopt, std::string("Wi-Fi"), at});
    batch.systemUsage = StatsSystemUsageSnapshot{86400.5, Date{784000000}, std::nullopt, Date{784900000}, {0.5, 0.7, 0.9}, at};
    StatsBatterySnapshot battery;
    battery.name = "BAT0";
    battery.manufacturer = "SMP";
    battery.currentCapacity = 4100;
    battery.maximumCapacity = 5200;
    battery.designCapacity = 5700;
    battery.healthFraction = 5200.0 / 5700.0;
    battery.healthStatus = StatsBatteryHealthStatus::medium;
    battery.cycleCount = 312;
    battery.cellCount = 3;
    battery.isCharging = true;
    battery.thermalStatus = StatsThermalStatus::cool;
    battery.updatedAt = at;
    batch.battery = battery;
    batch.networkServices.push_back({0, "wlan0", "Wi-Fi", StatsNetworkInterfaceKind::wifi, "home", std::nullopt, 70,
                                     std::nullopt, "192.168.1.20", "255.255.255.0", "192.168.1.1", at});
    batch.networkInterfaces.push_back({0, "wlan0", "Wi-Fi", StatsNetworkInterfaceKind::wifi, "aa:bb:cc:dd:ee:ff", 866.7,
                                       "36", std::nullopt, -52, -95, 43, 0.7f, at});
    for (int i = 0; i < volumes; ++i)
        batch.storageVolumes.push_back({i, "nvme0n1p" + std::to_string(i + 1), "Volume " + std::to_string(i),
                                        StatsStorageDriveKind::solidState, 100000000000ULL + static_cast<std::uint64_t>(i),
                                        512000000000ULL, 412000000000ULL, 100000000000ULL, 0, 97, at});
    batch.storageStatistics.push_back({"nvme0n1", StatsStorageStatisticKind::readBytes, 1.5e6, at});
    batch.storageSmartReports.push_back(
        {"nvme0n1", 97, StatsHealthStatus::ok, 38.0, {{"Percentage Used", "3%", 3.0, StatsSmartValueType::percentage, StatsHealthStatus::ok}}, at});
    for (int i = 0; i < processes; ++i)
        batch.processUsages.push_back({i % 2 ? WidgetStatistic::processRAMUsage : WidgetStatistic::processCPUUsage,
                                       i / 2, 1000 + i, "pid-" + std::to_string(1000 + i), "process " + std::to_string(i),
                                       "/usr/bin/process" + std::to_string(i), "/usr/share/applications/x.desktop",
                                       0.01 * i, 0.001 * i, at});
    batch.gpuUsages.push_back({0, "pci-0000:00:02.0", "Intel Iris Xe", 0.2, 512e6, 0.1, std::nullopt, std::nullopt, 51.0,
                               std::nullopt, at});
    batch.fans.push_back({0, "thinkpad-fan1", "Fan", 2900.0, std::nullopt, 0.0, 5400.0, 0.53, at});
    for (int i = 0; i < sensors; ++i)
        batch.temperatures.push_back({WidgetStatistic::cpuGroupTemperatureSensor, i, "coretemp-core" + std::to_string(i),
                                      "Core " + std::to_string(i), 40.0 + i, at});
    return batch;
}

namespace {
HardwareDiskCatalogItem item(std::int64_t index, std::string id, std::optional<std::string> parent,
                             std::vector<std::string> children, HardwareDiskKind kind)
{
    HardwareDiskCatalogItem d;
    d.index = index;
    d.identifier = std::move(id);
    d.parentIdentifier = std::move(parent);
    d.childIdentifiers = std::move(children);
    d.name = d.identifier;
    d.kind = kind;
    return d;
}
} // namespace

HardwareCatalogSnapshot laptopCatalog()
{
    HardwareCatalogSnapshot snapshot;
    auto& disks = snapshot.storage.disks;
    auto nvme = item(0, "nvme0n1", std::nullopt, {"nvme0n1p1", "nvme0n1p2", "nvme0n1p3"}, HardwareDiskKind::drive);
    nvme.driveKind = HardwareDriveKind::solidState;
    nvme.protocolName = "NVMe";
    nvme.vendor = "Samsung";
    nvme.serialNumber = "S5GXNX0R123456";
    nvme.sizeBytes = 1024209543168ULL;
    nvme.isInternal = true;
    nvme.isWholeDisk = true;
    nvme.smartCapable = true;
    nvme.smartStatus = HardwareSmartStatus::verified;
    nvme.blockSizeBytes = 512;
    disks.push_back(nvme);
    auto efi = item(0, "nvme0n1p1", "nvme0n1", {}, HardwareDiskKind::partition);
    efi.filesystemName = "vfat";
    efi.mountPoint = "/boot/efi";
    efi.content = "c12a7328-f81f-11d2-ba4b-00a0c93ec93b";
    disks.push_back(efi);
    auto boot = item(0, "nvme0n1p2", "nvme0n1", {}, HardwareDiskKind::partition);
    boot.filesystemName = "ext4";
    boot.mountPoint = "/boot";
    disks.push_back(boot);
    disks.push_back(item(0, "nvme0n1p3", "nvme0n1", {"dm-0"}, HardwareDiskKind::partition));
    auto luks = item(1, "dm-0", "nvme0n1p3", {"dm-1", "dm-2"}, HardwareDiskKind::container);
    luks.content = "crypto_LUKS";
    disks.push_back(luks);
    auto root = item(2, "dm-1", "dm-0", {}, HardwareDiskKind::volume);
    root.name = "root";
    root.filesystemName = "ext4";
    root.mountPoint = "/";
    root.freeBytes = 200000000000ULL;
    disks.push_back(root);
    auto home = item(2, "dm-2", "dm-0", {}, HardwareDiskKind::volume);
    home.name = "home";
    home.mountPoint = "/home/";
    disks.push_back(home);
    auto usb = item(0, "sda", std::nullopt, {"sda1"}, HardwareDiskKind::drive);
    usb.protocolName = "USB";
    usb.isRemovable = true;
    disks.push_back(usb);
    auto stick = item(0, "sda1", "sda", {}, HardwareDiskKind::partition);
    stick.mountPoint = "/media/ada/STICK";
    disks.push_back(stick);
    disks.push_back(item(3, "loop0", std::nullopt, {}, HardwareDiskKind::diskImage));

    HardwareGPUCatalogItem gpu;
    gpu.identifier = "pci-0000:00:02.0";
    gpu.name = "Intel Iris Xe Graphics";
    gpu.kind = HardwareGPUKind::integrated;
    gpu.supportedFeatureSets = {"OpenGL 4.6", "Vulkan 1.3"};
    gpu.firmware = HardwareGPUFirmwareSnapshot{Value::Bytes{0xde, 0xad, 0xbe, 0xef}, "2023-01-01", std::nullopt, "70.1", std::nullopt};
    snapshot.gpus.push_back(gpu);
    snapshot.fans.push_back({0, "thinkpad-fan1", "Fan", 0.0, 5400.0});
    snapshot.temperatureSensors.push_back({WidgetStatistic::cpuGroupTemperatureSensor, 0, "coretemp-package", "CPU Package"});
    snapshot.generatedAt = Date{785000000};
    return snapshot;
}

SystemInventorySnapshot inventory()
{
    SystemInventorySnapshot s;
    s.machine.modelIdentifier = "21CB";
    s.machine.hardwareUUID = "5f0c7c1e-1111-2222-3333-444455556666";
    s.cpu.name = "12th Gen Intel(R) Core(TM) i7-1260P";
    s.cpu.architecture = "x86_64";
    s.cpu.logicalCores = 16;
    s.cpu.physicalCores = 12;
    s.cpu.performanceCores = 4;
    s.cpu.efficiencyCores = 8;
    s.cpu.frequencyHz = 4700000000ULL;
    s.cpu.cores = {{std::string("i7-1260P"), std::string("cpu0"), 0, SystemCPUCoreKind::performance}};
    s.cpu.performanceLevels = {{"Performance", 4, 8}, {"Efficiency", 8, 8}};
    s.memory.totalBytes = 16ULL << 30;
    s.operatingSystem = {12, 5, 0, "Debian GNU/Linux 12 (bookworm)", std::string("6.1.0-18-amd64"), std::string("ada-laptop"), std::nullopt};
    s.bluetooth = {true, true, std::string("ada-laptop"), std::string("AA:BB:CC:DD:EE:FF"), {"Headphones"}};
    s.usb.devices.push_back({"USB Receiver", std::string("Logitech"), std::string("c52b"), std::string("046d"), std::nullopt,
                             std::string("12 Mb/s"), 98, std::string("1-2")});
    s.generatedAt = Date{785000000};
    return s;
}

} // namespace tarnel::testing
