#pragma once
// A laptop as the Dashboard sees it: an NVMe drive with two volumes, a battery, an integrated
// and a discrete GPU. Shared by the Dashboard screen test and its benchmark.
#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Catalog/SystemInventory.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include <cmath>

namespace tarnel::testing::laptop {

using W = WidgetStatistic;

inline StatsValueSnapshot value(W statistic, std::optional<double> fraction, std::optional<double> v = std::nullopt)
{
    StatsValueSnapshot s;
    s.statistic = statistic;
    s.fraction = fraction;
    s.value = v;
    return s;
}

inline StatsProcessUsageSnapshot process(W statistic, std::string name, std::string path, double fraction, double bytes)
{
    StatsProcessUsageSnapshot p;
    p.statistic = statistic;
    p.name = std::move(name);
    p.path = std::move(path);
    p.fraction = fraction;
    p.value = bytes;
    return p;
}

inline StatsUpdateBatch batch(int tick)
{
    StatsUpdateBatch b;
    const double wave = 0.5 + 0.35 * std::sin(tick / 6.0);
    b.services = {DaemonService::storageUsage, DaemonService::gpuUsage};
    b.values = {value(W::batteryCharge, 0.76), value(W::batteryHealth, 0.91), value(W::cpuUsage, wave * 0.6),
                value(W::cpuSystemUsage, wave * 0.2), value(W::cpuUserUsage, wave * 0.4), value(W::memoryPressure, 0.34),
                value(W::memorySwapFile, 0.05, 1.1e9), value(W::ramWired, 0.18, 2.9e9), value(W::ramActive, 0.31, 5.0e9),
                value(W::ramCompressed, 0.06, 0.96e9), value(W::ramAvailable, 0.45, 7.2e9)};
    StatsStorageVolumeSnapshot root;
    root.identifier = "/";
    root.name = "root";
    root.totalBytes = 1'000'204'886'016;
    root.usedBytes = 412'000'000'000;
    StatsStorageVolumeSnapshot usb = root;
    usb.identifier = "/media/user/BACKUP";
    usb.name = "BACKUP";
    usb.index = 3;
    usb.totalBytes = 256'000'000'000;
    usb.usedBytes = 98'000'000'000;
    b.storageVolumes = {root, usb};
    b.processUsages = {process(W::processCPUUsage, "firefox-esr", "/usr/lib/firefox-esr/firefox-esr", 0.23, 0),
                       process(W::processCPUUsage, "gnome-shell", "/usr/bin/gnome-shell", 0.08, 0),
                       process(W::processCPUUsage, "code", "/usr/share/code/code", 0.05, 0),
                       process(W::processCPUUsage, "kworker/u16:2", "", 0.02, 0),
                       process(W::processCPUUsage, "pipewire", "/usr/bin/pipewire", 0.01, 0),
                       process(W::processRAMUsage, "firefox-esr", "/usr/lib/firefox-esr/firefox-esr", 0.1, 1.9e9),
                       process(W::processRAMUsage, "code", "/usr/share/code/code", 0.06, 1.2e9),
                       process(W::processRAMUsage, "gnome-shell", "/usr/bin/gnome-shell", 0.03, 4.1e8),
                       process(W::processRAMUsage, "tarnel", "/usr/bin/tarnel", 0.01, 9.6e7),
                       process(W::processRAMUsage, "Xwayland", "/usr/bin/Xwayland", 0.01, 8.8e7)};
    StatsGPUUsageSnapshot integrated;
    integrated.index = 0;
    integrated.identifier = "0000:00:02.0";
    integrated.name = "Intel Iris Xe Graphics";
    integrated.usageFraction = 0.12 + 0.1 * wave;
    integrated.memoryUsedFraction = 0.21;
    integrated.coreClockUsedFraction = 0.35;
    integrated.temperatureCelsius = 52;
    StatsGPUUsageSnapshot discrete;
    discrete.index = 1;
    discrete.identifier = "0000:01:00.0";
    discrete.name = "AMD Radeon RX 6500M";
    discrete.usageFraction = 0.55 * wave;
    discrete.memoryUsedFraction = 0.42;
    discrete.coreClockUsedFraction = 0.61;
    discrete.memoryClockUsedFraction = 0.8;
    discrete.temperatureCelsius = 61.4;
    b.gpuUsages = {integrated, discrete};
    StatsTemperatureSnapshot cpu;
    cpu.statistic = W::cpuGroupTemperatureSensor;
    cpu.celsius = 57.2;
    b.temperatures = {cpu};
    return b;
}

inline HardwareCatalogSnapshot catalog()
{
    HardwareCatalogSnapshot snapshot;
    HardwareDiskCatalogItem drive;
    drive.identifier = "nvme0n1";
    drive.name = "Samsung SSD 980 PRO 1TB";
    drive.kind = HardwareDiskKind::drive;
    drive.isInternal = true;
    drive.sizeBytes = 1'000'204'886'016;
    HardwareDiskCatalogItem root;
    root.identifier = "nvme0n1p2";
    root.name = "root";
    root.kind = HardwareDiskKind::volume;
    root.parentIdentifier = "nvme0n1";
    root.mountPoint = "/";
    snapshot.storage.disks = {drive, root};
    HardwareGPUCatalogItem igpu;
    igpu.identifier = "0000:00:02.0";
    igpu.name = "Intel Iris Xe Graphics";
    igpu.kind = HardwareGPUKind::integrated;
    igpu.isLowPower = true;
    HardwareGPUCatalogItem dgpu = igpu;
    dgpu.index = 1;
    dgpu.identifier = "0000:01:00.0";
    dgpu.name = "AMD Radeon RX 6500M";
    dgpu.kind = HardwareGPUKind::discrete;
    dgpu.isLowPower = false;
    snapshot.gpus = {igpu, dgpu};
    snapshot.generatedAt = Date::now();
    return snapshot;
}

inline SystemInventorySnapshot inventory()
{
    SystemInventorySnapshot snapshot;
    snapshot.machine.appleProductName = "LENOVO ThinkPad P14s (Gen 3, 2022)";
    snapshot.machine.modelIdentifier = "21AK0014GE";
    snapshot.machine.serialNumber = "PF3XK2QZ";
    snapshot.cpu.name = "12th Gen Intel(R) Core(TM) i7-1260P";
    snapshot.memory.totalBytes = 16'000'000'000;
    snapshot.operatingSystem.versionString = "Debian GNU/Linux 12 (bookworm)";
    snapshot.operatingSystem.buildString = "6.1.0-27-amd64";
    snapshot.generatedAt = Date::now();
    return snapshot;
}

} // namespace tarnel::testing::laptop
