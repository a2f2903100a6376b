#include "TarnelFoundation/Statistics/StatsSnapshots.h"
#include "TarnelFoundation/Codec/Record.h"

namespace tarnel {

namespace {
constexpr std::array<std::string_view, 1> requestDefaults{"services"};
constexpr std::array<std::string_view, 9> batchDefaults{"networkServices", "networkInterfaces", "storageVolumes",
                                                        "storageStatistics", "storageSmartReports", "processUsages",
                                                        "gpuUsages", "fans", "temperatures"};
} // namespace

TARNEL_RECORD_WITH_DEFAULTS(StatsSubscriptionRequest, requestDefaults, clientID, subscriptionID, statistics, services,
                            frequency)
TARNEL_RECORD(StatsValueSnapshot, statistic, index, value, fraction, stringValue, updatedAt)
TARNEL_RECORD(StatsSystemUsageSnapshot, uptimeSeconds, bootTime, sleepTime, wakeTime, loadAverage, updatedAt)
TARNEL_RECORD(StatsNetworkServiceSnapshot, index, identifier, name, interfaceKind, ssid, mode, linkQuality, publicIP,
              localIP, subnetMask, router, updatedAt)
TARNEL_RECORD(StatsNetworkInterfaceSnapshot, index, identifier, name, interfaceKind, macAddress, transmitRate, channel,
              bssid, rssi, noise, signalNoiseRatio, linkQuality, updatedAt)
TARNEL_RECORD(StatsStorageVolumeSnapshot, index, identifier, name, driveKind, freeBytes, totalBytes, usedBytes,
              availableBytes, purgeableBytes, health, updatedAt)
TARNEL_RECORD(StatsStorageCapacitySummary, freeBytes, totalBytes, usedBytes, availableBytes, purgeableBytes)
TARNEL_RECORD(StatsStorageStatisticSnapshot, identifier, statistic, valuePerSecond, updatedAt)
TARNEL_RECORD(StatsStorageSmartValueSnapshot, name, formattedValue, current, valueType, status)
TARNEL_RECORD(StatsStorageSmartReportSnapshot, identifier, healthPercentage, status, temperatureCelsius, values, updatedAt)
TARNEL_RECORD(StatsBatterySnapshot, name, manufacturer, serialNumber, manufactureDate, currentCapacity, maximumCapacity,
              designCapacity, currentPercent, healthFraction, healthStatus, cycleCount, designCycleCount, packReserve,
              voltageMillivolts, amperageMilliamps, cellCount, chargeFraction, isCharging, timeToFullSeconds,
              timeToEmptySeconds, temperatureCelsius, thermalStatus, updatedAt)
TARNEL_RECORD(StatsProcessUsageSnapshot, statistic, index, processID, identifier, name, path, applicationPath, value,
              fraction, updatedAt)
TARNEL_RECORD(StatsGPUUsageSnapshot, index, identifier, name, usageFraction, memoryUsedBytes, memoryUsedFraction,
              coreClockUsedFraction, memoryClockUsedFraction, temperatureCelsius, powerWatts, updatedAt)
TARNEL_RECORD(StatsFanSnapshot, index, identifier, name, currentRPM, targetRPM, minimumRPM, maximumRPM, fraction,
              updatedAt)
TARNEL_RECORD(StatsTemperatureSnapshot, statistic, index, identifier, name, celsius, updatedAt)
TARNEL_RECORD(MonitorStatisticValueSnapshot, statistic, value, fraction, stringValue, updatedAt)
TARNEL_RECORD_WITH_DEFAULTS(StatsUpdateBatch, batchDefaults, subscriptionID, services, values, systemUsage, battery, networkServices, networkInterfaces,
                            storageVolumes, storageStatistics, storageSmartReports, processUsages, gpuUsages, fans,
                            temperatures, generatedAt)

} // namespace tarnel
