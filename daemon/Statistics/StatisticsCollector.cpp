#include "Statistics/StatisticsCollector.h"

#include "Catalog/DiskCatalogCollector.h"
#include "Catalog/GraphicsCatalog.h"
#include "Statistics/SensorReadings.h"
#include "Statistics/SmartHealth.h"

#include "Platform/Hardware/HwmonReader.h"
#include "Platform/Statistics/CpuUsage.h"
#include "Platform/Statistics/DiskRates.h"
#include "Platform/Statistics/FileSystemStatistics.h"
#include "Platform/Statistics/InterfaceAddresses.h"
#include "Platform/Statistics/MemoryInfoReader.h"
#include "Platform/Statistics/MemoryPressureReader.h"
#include "Platform/Statistics/PowerSupplyReader.h"
#include "Platform/Statistics/ProcessUsage.h"
#include "Platform/Statistics/RouteTableReader.h"
#include "Platform/Statistics/SystemLoadReader.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <arpa/inet.h>
#include <fmt/format.h>

namespace tarnel::daemon {

DaemonService requiredService(WidgetStatistic statistic)
{
    using W = WidgetStatistic;
    switch (statistic) {
    case W::cpuUsage:
    case W::cpuSystemUsage:
    case W::cpuUserUsage:
    case W::cpuCore:
        return DaemonService::cpu;
    case W::memoryPressure:
    case W::memorySwapFile:
    case W::ramWired:
    case W::ramActive:
    case W::ramCompressed:
    case W::ramAvailable:
        return DaemonService::ram;
    case W::processCPUUsage:
        return DaemonService::processCPUUsage;
    case W::processRAMUsage:
    case W::processRAMRealUsage:
        return DaemonService::processRAMUsage;
    case W::processEnergyUsage:
        return DaemonService::processEnergyUsage;
    case W::gpuUsage:
    case W::gpuTemperature:
    case W::gpuMemoryUsage:
    case W::gpuCoreClock:
    case W::gpuMemoryClock:
    case W::gpuPowerUsage:
        return DaemonService::gpuUsage;
    case W::storageUsage:
        return DaemonService::storageUsage;
    case W::batteryCharge:
    case W::batteryHealth:
    case W::batteryCycles:
        return DaemonService::battery;
    case W::uptime:
    case W::sleepTime:
    case W::wakeTime:
    case W::sleepReason:
    case W::wakeReason:
        return DaemonService::power;
    case W::networkService:
    case W::networkInterface:
        return DaemonService::networkService;
    default:
        return DaemonService::sensors; // temperature sensors and fans
    }
}

namespace {

StatsValueSnapshot fractionValue(WidgetStatistic statistic, std::int64_t index, double fraction, Date at)
{
    return {statistic, index, fraction, fraction, std::nullopt, at};
}

StatsValueSnapshot bytesValue(WidgetStatistic statistic, std::uint64_t bytes, std::optional<std::uint64_t> total, Date at)
{
    std::optional<double> fraction;
    if (total && *total > 0)
        fraction = static_cast<double>(bytes) / static_cast<double>(*total);
    return {statistic, 0, static_cast<double>(bytes), fraction, std::nullopt, at};
}

StatsBatteryHealthStatus healthStatus(std::optional<double> fraction)
{
    if (!fraction)
        return StatsBatteryHealthStatus::missing;
    if (*fraction > 1.0)
        return StatsBatteryHealthStatus::exceedingMax;
    if (*fraction >= 0.95)
        return StatsBatteryHealthStatus::max;
    if (*fraction >= 0.85)
        return StatsBatteryHealthStatus::medium;
    if (*fraction >= 0.70)
        return StatsBatteryHealthStatus::aging;
    if (*fraction >= 0.50)
        return StatsBatteryHealthStatus::low;
    return StatsBatteryHealthStatus::danger;
}

StatsThermalStatus thermalStatus(std::optional<double> celsius)
{
    if (!celsius)
        return StatsThermalStatus::missing;
    if (*celsius >= 50)
        return StatsThermalStatus::warning;
    if (*celsius >= 40)
        return StatsThermalStatus::hot;
    return StatsThermalStatus::cool;
}

StatsNetworkInterfaceKind kindOf(platform::InterfaceKind kind)
{
    switch (kind) {
    case platform::InterfaceKind::wifi:
        return StatsNetworkInterfaceKind::wifi;
    case platform::InterfaceKind::ethernet:
        return StatsNetworkInterfaceKind::ethernet;
    case platform::InterfaceKind::bluetooth:
        return StatsNetworkInterfaceKind::bluetooth;
    case platform::InterfaceKind::other:
        break;
    }
    return StatsNetworkInterfaceKind::other;
}

std::string interfaceTitle(const platform::NetworkInterface& i)
{
    switch (i.kind) {
    case platform::InterfaceKind::wifi:
        return "Wi-Fi";
    case platform::InterfaceKind::ethernet:
        return "Ethernet";
    case platform::InterfaceKind::bluetooth:
        return "Bluetooth PAN";
    case platform::InterfaceKind::other:
        break;
    }
    return i.name;
}

} // namespace

StatisticsCollector::StatisticsCollector(platform::SystemRoot root, Now now) : root_(std::move(root)), now_(std::move(now)) {}

double StatisticsCollector::secondsSince(std::optional<std::chrono::steady_clock::time_point>& last)
{
    const auto now = now_();
    const double elapsed = last ? std::chrono::duration<double>(now - *last).count() : 0.0;
    last = now;
    return elapsed;
}

CollectedState StatisticsCollector::collect(const std::set<DaemonService>& services)
{
    CollectedState state;
    state.services = services;
    const auto at = Date::now();
    state.arrays.generatedAt = at;
    // A reader whose file vanished or broke costs its own values only.
    auto guarded = [&](auto&& part) {
        try {
            part();
        } catch (const std::exception&) {
        }
    };
    if (services.contains(DaemonService::cpu))
        guarded([&] { collectCpu(state, at); });
    if (services.contains(DaemonService::ram))
        guarded([&] { collectRam(state, at); });
    if (services.contains(DaemonService::processCPUUsage) || services.contains(DaemonService::processRAMUsage))
        guarded([&] { collectProcesses(state, services, at); });
    if (services.contains(DaemonService::storageUsage))
        guarded([&] { collectStorageUsage(state, at); });
    if (services.contains(DaemonService::storageStatistics))
        guarded([&] { collectStorageStatistics(state, at); });
    if (services.contains(DaemonService::battery))
        guarded([&] { collectBattery(state, at); });
    if (services.contains(DaemonService::power))
        guarded([&] { collectPower(state, at); });
    if (services.contains(DaemonService::networkService))
        guarded([&] { collectNetwork(state, at); });
    if (services.contains(DaemonService::sensors))
        guarded([&] { collectSensors(state, at); });
    if (services.contains(DaemonService::gpuUsage) || services.contains(DaemonService::gpuStatistics))
        guarded([&] { collectGraphics(state, at); });
    if (services.contains(DaemonService::storageSmart))
        guarded([&] { collectSmart(state, at); });
    return state;
}

void StatisticsCollector::collectCpu(CollectedState& state, Date at)
{
    auto times = platform::CpuTimesReader(root_).read();
    secondsSince(lastCpuTime_);
    if (lastCpu_) {
        auto interval = platform::cpuUsageBetween(*lastCpu_, times);
        if (interval.total) {
            state.values.push_back(fractionValue(WidgetStatistic::cpuUsage, 0, interval.total->usageFraction(), at));
            state.values.push_back(fractionValue(WidgetStatistic::cpuSystemUsage, 0, interval.total->systemFraction(), at));
            state.values.push_back(fractionValue(WidgetStatistic::cpuUserUsage, 0, interval.total->userFraction(), at));
        }
        std::int64_t index = 0;
        for (const auto& core : interval.cores) {
            if (core.usage)
                state.values.push_back(fractionValue(WidgetStatistic::cpuCore, index, core.usage->usageFraction(), at));
            ++index;
        }
    }
    lastCpu_ = std::move(times);
}

void StatisticsCollector::collectRam(CollectedState& state, Date at)
{
    auto memory = platform::MemoryInfoReader(root_).read();
    const auto total = memory.totalBytes;
    if (auto wired = memory.wiredBytes())
        state.values.push_back(bytesValue(WidgetStatistic::ramWired, *wired, total, at));
    if (memory.activeBytes)
        state.values.push_back(bytesValue(WidgetStatistic::ramActive, *memory.activeBytes, total, at));
    if (memory.compressedBytes)
        state.values.push_back(bytesValue(WidgetStatistic::ramCompressed, *memory.compressedBytes, total, at));
    if (memory.availableBytes)
        state.values.push_back(bytesValue(WidgetStatistic::ramAvailable, *memory.availableBytes, total, at));
    if (auto pressure = platform::MemoryPressureReader(root_).read())
        state.values.push_back(fractionValue(WidgetStatistic::memoryPressure, 0, pressure->fraction(), at));
    if (memory.swapTotalBytes) {
        const auto used = memory.swapUsedBytes().value_or(0);
        auto swap = bytesValue(WidgetStatistic::memorySwapFile, used, memory.swapTotalBytes, at);
        swap.stringValue = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(used)) + " / " +
                           quendal::ByteCountFormatter::string(static_cast<std::int64_t>(*memory.swapTotalBytes));
        state.values.push_back(std::move(swap));
    }
}

void StatisticsCollector::collectProcesses(CollectedState& state, const std::set<DaemonService>& services, Date at)
{
    platform::ProcessReader reader(root_);
    auto processes = reader.readAll();
    const double elapsed = secondsSince(lastProcessTime_);
    auto row = [&](WidgetStatistic statistic, std::int64_t index, const platform::ProcessSample& p, double value,
                   std::optional<double> fraction) {
        auto details = reader.details(p);
        StatsProcessUsageSnapshot s;
        s.statistic = statistic;
        s.index = index;
        s.processID = static_cast<std::int32_t>(p.pid);
        s.identifier = p.identifier();
        s.name = details.displayName.empty() ? p.name : details.displayName;
        s.path = details.executablePath.value_or("");
        s.applicationPath = details.applicationPath.value_or("");
        s.value = value;
        s.fraction = fraction;
        s.updatedAt = at;
        state.arrays.processUsages.push_back(s);
        state.values.push_back({statistic, index, value, fraction, s.name, at});
    };
    if (services.contains(DaemonService::processCPUUsage) && lastProcesses_ && elapsed > 0) {
        auto top = platform::topByCpu(platform::processCpuUsageBetween(*lastProcesses_, processes, elapsed), topProcessCount);
        std::int64_t index = 0;
        for (const auto& usage : top)
            row(WidgetStatistic::processCPUUsage, index++, usage.process, usage.coreFraction, usage.coreFraction);
    }
    if (services.contains(DaemonService::processRAMUsage)) {
        const auto total = platform::MemoryInfoReader(root_).read().totalBytes;
        auto fractionOf = [&](std::uint64_t bytes) -> std::optional<double> {
            if (!total || *total == 0)
                return std::nullopt;
            return static_cast<double>(bytes) / static_cast<double>(*total);
        };
        std::int64_t index = 0;
        for (const auto& p : platform::topByResidentMemory(processes, topProcessCount))
            row(WidgetStatistic::processRAMUsage, index++, p, static_cast<double>(p.residentBytes), fractionOf(p.residentBytes));
        index = 0;
        for (const auto& p : platform::topByPrivateMemory(processes, topProcessCount))
            row(WidgetStatistic::processRAMRealUsage, index++, p, static_cast<double>(p.privateBytes()), fractionOf(p.privateBytes()));
    }
    lastProcesses_ = std::move(processes);
}

void StatisticsCollector::collectStorageUsage(CollectedState& state, Date at)
{
    std::int64_t index = 0;
    static const auto statistics = std::make_shared<platform::StatvfsFileSystemStatistics>();
    for (const auto& volume : platform::StorageVolumeReader(root_, statistics).read()) {
        StatsStorageVolumeSnapshot s;
        s.index = index;
        s.identifier = volume.device ? volume.device->name : volume.source;
        s.name = volume.mountPoint == "/" ? "System" : std::filesystem::path(volume.mountPoint).filename().string();
        s.driveKind = volume.device && volume.device->driveKind == platform::DriveKind::rotational
                          ? StatsStorageDriveKind::rotational
                          : StatsStorageDriveKind::solidState;
        s.totalBytes = volume.figures.totalBytes;
        s.freeBytes = volume.figures.freeBytes;
        s.usedBytes = volume.figures.usedBytes();
        s.availableBytes = volume.figures.availableBytes;
        s.purgeableBytes = 0;
        s.updatedAt = at;
        state.arrays.storageVolumes.push_back(s);
        std::optional<double> usedFraction;
        if (s.totalBytes > 0)
            usedFraction = static_cast<double>(s.usedBytes) / static_cast<double>(s.totalBytes);
        state.values.push_back({WidgetStatistic::storageUsage, index, static_cast<double>(s.freeBytes), usedFraction,
                                std::nullopt, at});
        ++index;
    }
}

void StatisticsCollector::collectStorageStatistics(CollectedState& state, Date at)
{
    auto disks = platform::DiskStatsReader(root_).readDrives();
    const double elapsed = secondsSince(lastDiskTime_);
    if (lastDisks_) {
        for (const auto& rates : platform::diskRatesBetween(*lastDisks_, disks, elapsed)) {
            auto add = [&](StatsStorageStatisticKind kind, std::optional<double> value) {
                if (value)
                    state.arrays.storageStatistics.push_back({rates.name, kind, *value, at});
            };
            add(StatsStorageStatisticKind::readOperations, rates.readOperations);
            add(StatsStorageStatisticKind::writeOperations, rates.writeOperations);
            add(StatsStorageStatisticKind::readLatency, rates.readLatency);
            add(StatsStorageStatisticKind::writeLatency, rates.writeLatency);
            add(StatsStorageStatisticKind::readBytes, rates.readBytes);
            add(StatsStorageStatisticKind::writeBytes, rates.writeBytes);
            add(StatsStorageStatisticKind::readErrors, rates.readErrors);
            add(StatsStorageStatisticKind::writeErrors, rates.writeErrors);
            add(StatsStorageStatisticKind::readTotalTime, rates.readTotalTime);
            add(StatsStorageStatisticKind::writeTotalTime, rates.writeTotalTime);
            add(StatsStorageStatisticKind::readRetries, rates.readRetries);
            add(StatsStorageStatisticKind::writeRetries, rates.writeRetries);
        }
    }
    lastDisks_ = std::move(disks);
}

void StatisticsCollector::collectBattery(CollectedState& state, Date at)
{
    auto supplies = platform::PowerSupplyReader(root_).read();
    if (supplies.batteries.empty())
        return; // no battery: the field stays absent
    const auto& b = supplies.batteries.front();
    StatsBatterySnapshot s;
    s.name = b.model.value_or(b.identifier);
    s.manufacturer = b.manufacturer;
    s.serialNumber = b.serialNumber;
    s.currentCapacity = b.currentCapacity;
    s.maximumCapacity = b.maximumCapacity;
    s.designCapacity = b.designCapacity;
    if (b.capacityPercent)
        s.currentPercent = *b.capacityPercent;
    s.healthFraction = b.healthFraction();
    s.healthStatus = healthStatus(s.healthFraction);
    s.cycleCount = b.cycleCount;
    s.voltageMillivolts = b.voltageMillivolts;
    s.amperageMilliamps = b.amperageMilliamps;
    s.cellCount = 0;
    if (b.capacityPercent)
        s.chargeFraction = *b.capacityPercent / 100.0;
    s.isCharging = b.isCharging();
    s.timeToFullSeconds = b.timeToFullSeconds;
    s.timeToEmptySeconds = b.timeToEmptySeconds;
    s.temperatureCelsius = b.temperatureCelsius;
    s.thermalStatus = thermalStatus(b.temperatureCelsius);
    s.updatedAt = at;
    state.arrays.battery = s;
    if (s.chargeFraction)
        state.values.push_back(fractionValue(WidgetStatistic::batteryCharge, 0, *s.chargeFraction, at));
    if (s.healthFraction)
        state.values.push_back(fractionValue(WidgetStatistic::batteryHealth, 0, *s.healthFraction, at));
    if (s.cycleCount)
        state.values.push_back({WidgetStatistic::batteryCycles, 0, static_cast<double>(*s.cycleCount), std::nullopt, std::nullopt, at});
}

void StatisticsCollector::collectPower(CollectedState& state, Date at)
{
    auto load = platform::SystemLoadReader(root_).read();
    auto times = platform::CpuTimesReader(root_).read();
    StatsSystemUsageSnapshot usage;
    usage.uptimeSeconds = load.uptimeSeconds;
    if (times.bootTime)
        usage.bootTime = Date::fromUnixSeconds(static_cast<double>(*times.bootTime));
    usage.loadAverage = load.loadAverage;
    usage.updatedAt = at;
    state.arrays.systemUsage = usage;
    if (times.bootTime)
        state.values.push_back({WidgetStatistic::uptime, 0, static_cast<double>(*times.bootTime), std::nullopt, std::nullopt, at});

    auto energy = platform::EnergyCounterReader(root_).read();
    const double elapsed = secondsSince(lastEnergyTime_);
    lastEnergy_ = std::move(energy);
    (void)elapsed; // machine power has no statistic of its own yet; the counters are kept warm
}

void StatisticsCollector::collectNetwork(CollectedState& state, Date at)
{
    auto interfaces = platform::NetworkInterfaceReader(root_).read();
    std::vector<platform::InterfaceAddress> addresses;
    try {
        addresses = platform::SystemInterfaceAddresses().addresses();
    } catch (const std::exception&) {
    }
    auto routes = platform::RouteTableReader(root_).defaultRoutes();
    std::int64_t serviceIndex = 0, interfaceIndex = 0;
    for (const auto& i : interfaces) {
        if (i.isLoopback)
            continue;
        StatsNetworkInterfaceSnapshot ni;
        ni.index = interfaceIndex;
        ni.identifier = i.name;
        ni.name = interfaceTitle(i);
        ni.interfaceKind = kindOf(i.kind);
        ni.macAddress = i.macAddress;
        if (i.speedMegabitsPerSecond && *i.speedMegabitsPerSecond > 0)
            ni.transmitRate = static_cast<double>(*i.speedMegabitsPerSecond);
        ni.updatedAt = at;
        state.arrays.networkInterfaces.push_back(ni);
        state.values.push_back({WidgetStatistic::networkInterface, interfaceIndex, std::nullopt, std::nullopt,
                                ni.name.value_or(i.name), at});
        ++interfaceIndex;

        // A service is a connected interface with an address.
        std::optional<platform::InterfaceAddress> v4;
        for (const auto& a : addresses)
            if (a.interfaceName == i.name && a.family == AF_INET && !v4)
                v4 = a;
        if (!i.isUp() || !v4)
            continue;
        StatsNetworkServiceSnapshot ns;
        ns.index = serviceIndex;
        ns.identifier = i.name;
        ns.name = interfaceTitle(i);
        ns.interfaceKind = kindOf(i.kind);
        ns.localIP = v4->address;
        ns.subnetMask = v4->netmask;
        ns.router = platform::RouteTableReader::gatewayOf(routes, i.name);
        ns.updatedAt = at;
        state.arrays.networkServices.push_back(ns);
        state.values.push_back({WidgetStatistic::networkService, serviceIndex, std::nullopt, std::nullopt,
                                fmt::format("{} ({})", ns.name.value_or(i.name), *ns.localIP), at});
        ++serviceIndex;
    }
}

void StatisticsCollector::collectSensors(CollectedState& state, Date at)
{
    auto readings = SensorReadings::from(platform::HwmonReader(root_).read(), at);
    auto values = readings.values();
    state.values.insert(state.values.end(), values.begin(), values.end());
    state.arrays.temperatures = std::move(readings.temperatures);
    state.arrays.fans = std::move(readings.fans);
}

void StatisticsCollector::collectGraphics(CollectedState& state, Date at)
{
    platform::GraphicsDeviceReader reader(root_);
    if (!graphics_) {
        auto devices = reader.devices();
        auto items = graphicsCatalog(devices, platform::PciIdDatabase::find(root_.root()));
        graphics_.emplace();
        for (std::size_t i = 0; i < devices.size(); ++i)
            graphics_->push_back({std::move(devices[i]), std::move(items[i])});
    }
    auto fraction = [](std::optional<double> part, std::optional<double> whole) -> std::optional<double> {
        if (!part || !whole || *whole <= 0)
            return std::nullopt;
        return std::clamp(*part / *whole, 0.0, 1.0);
    };
    for (const auto& [device, item] : *graphics_) {
        const auto sample = reader.sample(device);
        StatsGPUUsageSnapshot usage;
        usage.index = item.index;
        usage.identifier = item.identifier;
        usage.name = item.name;
        usage.usageFraction = sample.busyFraction;
        if (sample.vramUsedBytes)
            usage.memoryUsedBytes = static_cast<double>(*sample.vramUsedBytes);
        usage.memoryUsedFraction =
            fraction(usage.memoryUsedBytes, device.vramTotalBytes ? std::optional<double>(static_cast<double>(*device.vramTotalBytes))
                                                                  : std::nullopt);
        usage.coreClockUsedFraction = fraction(sample.coreClockMHz, device.maximumCoreClockMHz);
        usage.memoryClockUsedFraction = fraction(sample.memoryClockMHz, device.maximumMemoryClockMHz);
        usage.temperatureCelsius = sample.temperatureCelsius;
        usage.powerWatts = sample.powerWatts;
        usage.updatedAt = at;
        using W = WidgetStatistic;
        const auto index = item.index;
        if (usage.usageFraction)
            state.values.push_back(fractionValue(W::gpuUsage, index, *usage.usageFraction, at));
        if (usage.temperatureCelsius)
            state.values.push_back({W::gpuTemperature, index, *usage.temperatureCelsius, *usage.temperatureCelsius / 100.0,
                                    std::nullopt, at});
        if (usage.memoryUsedBytes)
            state.values.push_back({W::gpuMemoryUsage, index, *usage.memoryUsedBytes, usage.memoryUsedFraction,
                                    std::nullopt, at});
        if (sample.coreClockMHz)
            state.values.push_back({W::gpuCoreClock, index, *sample.coreClockMHz, usage.coreClockUsedFraction,
                                    std::nullopt, at});
        if (sample.memoryClockMHz)
            state.values.push_back({W::gpuMemoryClock, index, *sample.memoryClockMHz, usage.memoryClockUsedFraction,
                                    std::nullopt, at});
        if (usage.powerWatts)
            state.values.push_back({W::gpuPowerUsage, index, *usage.powerWatts, std::nullopt, std::nullopt, at});
        state.arrays.gpuUsages.push_back(std::move(usage));
    }
}

void StatisticsCollector::setSmartProbe(std::shared_ptr<const SmartctlProbe> probe, SmartReadings::Launch launch)
{
    smart_.reset();
    if (!probe || !probe->isAvailable())
        return;
    auto read = [root = root_, probe] {
        const auto catalog = DiskCatalogCollector(root, std::make_shared<platform::StatvfsFileSystemStatistics>()).collect();
        SmartReadings::Reports reports;
        for (const auto& disk : catalog.disks) {
            if (disk.kind != HardwareDiskKind::drive || !disk.smartCapable)
                continue;
            auto report = probe->read("/dev/" + disk.identifier);
            if (report && report->hasHealthData())
                reports.push_back(judgeSmartReport(disk.identifier, *report, Date::now()));
        }
        return reports;
    };
    smart_ = std::make_unique<SmartReadings>(std::move(read), now_, smartLifetime, std::move(launch));
}

void StatisticsCollector::collectSmart(CollectedState& state, Date)
{
    if (smart_)
        state.arrays.storageSmartReports = smart_->current();
}

} // namespace tarnel::daemon
