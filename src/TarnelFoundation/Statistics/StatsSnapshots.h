#pragma once

#include "TarnelFoundation/Statistics/StatisticsModel.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel {

// What a client asks the daemon for.
struct StatsSubscriptionRequest {
    StatsClientID clientID;
    StatsSubscriptionID subscriptionID;
    WidgetStatisticsSet statistics;
    std::set<DaemonService> services; // a missing key decodes as empty
    StatisticUpdateFrequency frequency = StatisticUpdateFrequency::fast;

    StatsSubscriptionRequest() = default;
    StatsSubscriptionRequest(StatsClientID client, StatsSubscriptionID subscription, WidgetStatisticsSet wanted,
                             std::set<DaemonService> services, StatisticUpdateFrequency frequency)
        : clientID(client), subscriptionID(subscription), statistics(std::move(wanted)), services(std::move(services)),
          frequency(frequency)
    {
    }
    StatsSubscriptionRequest(StatsClientID client, StatsSubscriptionID subscription, std::set<DaemonService> services,
                             StatisticUpdateFrequency frequency)
        : StatsSubscriptionRequest(client, subscription, {}, std::move(services), frequency)
    {
    }

    StatsSubscriptionKey key() const { return {clientID, subscriptionID}; }
    friend bool operator==(const StatsSubscriptionRequest&, const StatsSubscriptionRequest&) = default;
};
TARNEL_CODABLE(StatsSubscriptionRequest);

struct StatsValueSnapshot {
    WidgetStatistic statistic = WidgetStatistic::cpuUsage;
    std::int64_t index = 0;
    std::optional<double> value;
    std::optional<double> fraction;
    std::optional<std::string> stringValue;
    Date updatedAt;
    friend bool operator==(const StatsValueSnapshot&, const StatsValueSnapshot&) = default;
};
TARNEL_CODABLE(StatsValueSnapshot);

struct StatsSystemUsageSnapshot {
    std::optional<double> uptimeSeconds;
    std::optional<Date> bootTime;
    std::optional<Date> sleepTime;
    std::optional<Date> wakeTime;
    std::vector<double> loadAverage;
    Date updatedAt;
    friend bool operator==(const StatsSystemUsageSnapshot&, const StatsSystemUsageSnapshot&) = default;
};
TARNEL_CODABLE(StatsSystemUsageSnapshot);

struct StatsNetworkServiceSnapshot {
    std::int64_t index = 0;
    std::string identifier;
    std::optional<std::string> name;
    StatsNetworkInterfaceKind interfaceKind = StatsNetworkInterfaceKind::other;
    std::optional<std::string> ssid;
    std::optional<std::string> mode;
    std::optional<std::int64_t> linkQuality;
    std::optional<std::string> publicIP;
    std::optional<std::string> localIP;
    std::optional<std::string> subnetMask;
    std::optional<std::string> router;
    Date updatedAt;
    friend bool operator==(const StatsNetworkServiceSnapshot&, const StatsNetworkServiceSnapshot&) = default;
};
TARNEL_CODABLE(StatsNetworkServiceSnapshot);

struct StatsNetworkInterfaceSnapshot {
    std::int64_t index = 0;
    std::string identifier;
    std::optional<std::string> name;
    StatsNetworkInterfaceKind interfaceKind = StatsNetworkInterfaceKind::other;
    std::optional<std::string> macAddress;
    std::optional<double> transmitRate;
    std::optional<std::string> channel;
    std::optional<std::string> bssid;
    std::optional<std::int64_t> rssi;
    std::optional<std::int64_t> noise;
    std::optional<std::int64_t> signalNoiseRatio;
    std::optional<float> linkQuality;
    Date updatedAt;
    friend bool operator==(const StatsNetworkInterfaceSnapshot&, const StatsNetworkInterfaceSnapshot&) = default;
};
TARNEL_CODABLE(StatsNetworkInterfaceSnapshot);

struct StatsStorageVolumeSnapshot {
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    StatsStorageDriveKind driveKind = StatsStorageDriveKind::solidState;
    std::uint64_t freeBytes = 0;
    std::uint64_t totalBytes = 0;
    std::uint64_t usedBytes = 0;
    std::uint64_t availableBytes = 0;
    std::uint64_t purgeableBytes = 0;
    std::optional<std::int64_t> health;
    Date updatedAt;
    friend bool operator==(const StatsStorageVolumeSnapshot&, const StatsStorageVolumeSnapshot&) = default;
};
TARNEL_CODABLE(StatsStorageVolumeSnapshot);

struct StatsStorageCapacitySummary {
    std::uint64_t freeBytes = 0;
    std::uint64_t totalBytes = 0;
    std::uint64_t usedBytes = 0;
    std::uint64_t availableBytes = 0;
    std::uint64_t purgeableBytes = 0;
    friend bool operator==(const StatsStorageCapacitySummary&, const StatsStorageCapacitySummary&) = default;
};
TARNEL_CODABLE(StatsStorageCapacitySummary);

struct StatsStorageStatisticSnapshot {
    std::string identifier;
    StatsStorageStatisticKind statistic = StatsStorageStatisticKind::readOperations;
    double valuePerSecond = 0;
    Date updatedAt;
    friend bool operator==(const StatsStorageStatisticSnapshot&, const StatsStorageStatisticSnapshot&) = default;
};
TARNEL_CODABLE(StatsStorageStatisticSnapshot);

struct StatsStorageSmartValueSnapshot {
    std::string name;
    std::string formattedValue;
    std::optional<double> current;
    StatsSmartValueType valueType = StatsSmartValueType::number;
    StatsHealthStatus status = StatsHealthStatus::ok;
    friend bool operator==(const StatsStorageSmartValueSnapshot&, const StatsStorageSmartValueSnapshot&) = default;
};
TARNEL_CODABLE(StatsStorageSmartValueSnapshot);

struct StatsStorageSmartReportSnapshot {
    std::string identifier;
    std::uint8_t healthPercentage = 0;
    StatsHealthStatus status = StatsHealthStatus::missing;
    std::optional<double> temperatureCelsius;
    std::vector<StatsStorageSmartValueSnapshot> values;
    Date updatedAt;
    friend bool operator==(const StatsStorageSmartReportSnapshot&, const StatsStorageSmartReportSnapshot&) = default;
};
TARNEL_CODABLE(StatsStorageSmartReportSnapshot);

struct StatsBatterySnapshot {
    std::optional<std::string> name;
    std::optional<std::string> manufacturer;
    std::optional<std::string> serialNumber;
    std::optional<Date> manufactureDate;
    std::optional<std::int64_t> currentCapacity;
    std::optional<std::int64_t> maximumCapacity;
    std::optional<std::int64_t> designCapacity;
    std::optional<std::int64_t> currentPercent;
    std::optional<double> healthFraction;
    StatsBatteryHealthStatus healthStatus = StatsBatteryHealthStatus::missing;
    std::optional<std::int64_t> cycleCount;
    std::optional<std::int64_t> designCycleCount;
    std::optional<std::int64_t> packReserve;
    std::optional<std::int64_t> voltageMillivolts;
    std::optional<std::int64_t> amperageMilliamps;
    std::int64_t cellCount = 0;
    std::optional<double> chargeFraction;
    bool isCharging = false;
    std::optional<double> timeToFullSeconds;
    std::optional<double> timeToEmptySeconds;
    std::optional<double> temperatureCelsius;
    StatsThermalStatus thermalStatus = StatsThermalStatus::missing;
    Date updatedAt;
    friend bool operator==(const StatsBatterySnapshot&, const StatsBatterySnapshot&) = default;
};
TARNEL_CODABLE(StatsBatterySnapshot);

struct StatsProcessUsageSnapshot {
    WidgetStatistic statistic = WidgetStatistic::processCPUUsage;
    std::int64_t index = 0;
    std::int32_t processID = 0;
    std::string identifier;
    std::string name;
    std::string path;
    std::string applicationPath;
    std::optional<double> value;
    std::optional<double> fraction;
    Date updatedAt;
    friend bool operator==(const StatsProcessUsageSnapshot&, const StatsProcessUsageSnapshot&) = default;
};
TARNEL_CODABLE(StatsProcessUsageSnapshot);

struct StatsGPUUsageSnapshot {
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    std::optional<double> usageFraction;
    std::optional<double> memoryUsedBytes;
    std::optional<double> memoryUsedFraction;
    std::optional<double> coreClockUsedFraction;
    std::optional<double> memoryClockUsedFraction;
    std::optional<double> temperatureCelsius;
    std::optional<double> powerWatts;
    Date updatedAt;
    friend bool operator==(const StatsGPUUsageSnapshot&, const StatsGPUUsageSnapshot&) = default;
};
TARNEL_CODABLE(StatsGPUUsageSnapshot);

struct StatsFanSnapshot {
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    std::optional<double> currentRPM;
    std::optional<double> targetRPM;
    std::optional<double> minimumRPM;
    std::optional<double> maximumRPM;
    std::optional<double> fraction;
    Date updatedAt;
    friend bool operator==(const StatsFanSnapshot&, const StatsFanSnapshot&) = default;
};
TARNEL_CODABLE(StatsFanSnapshot);

struct StatsTemperatureSnapshot {
    WidgetStatistic statistic = WidgetStatistic::cpuGroupTemperatureSensor;
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    double celsius = 0;
    Date updatedAt;
    friend bool operator==(const StatsTemperatureSnapshot&, const StatsTemperatureSnapshot&) = default;
};
TARNEL_CODABLE(StatsTemperatureSnapshot);

struct MonitorStatisticValueSnapshot {
    WidgetStatistic statistic = WidgetStatistic::cpuUsage;
    std::optional<double> value;
    std::optional<double> fraction;
    std::optional<std::string> stringValue;
    Date updatedAt;
    friend bool operator==(const MonitorStatisticValueSnapshot&, const MonitorStatisticValueSnapshot&) = default;
};
TARNEL_CODABLE(MonitorStatisticValueSnapshot);

// One message of the statistics stream. Arrays for services a subscription did not ask for
// are left out of the message and decode as empty.
struct StatsUpdateBatch {
    StatsSubscriptionID subscriptionID;
    std::vector<DaemonService> services;
    std::vector<StatsValueSnapshot> values;
    std::optional<StatsSystemUsageSnapshot> systemUsage;
    std::optional<StatsBatterySnapshot> battery;
    std::vector<StatsNetworkServiceSnapshot> networkServices;
    std::vector<StatsNetworkInterfaceSnapshot> networkInterfaces;
    std::vector<StatsStorageVolumeSnapshot> storageVolumes;
    std::vector<StatsStorageStatisticSnapshot> storageStatistics;
    std::vector<StatsStorageSmartReportSnapshot> storageSmartReports;
    std::vector<StatsProcessUsageSnapshot> processUsages;
    std::vector<StatsGPUUsageSnapshot> gpuUsages;
    std::vector<StatsFanSnapshot> fans;
    std::vector<StatsTemperatureSnapshot> temperatures;
    Date generatedAt;
    friend bool operator==(const StatsUpdateBatch&, const StatsUpdateBatch&) = default;
};
TARNEL_CODABLE(StatsUpdateBatch);

} // namespace tarnel
