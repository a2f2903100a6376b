#pragma once

#include "TarnelFoundation/Codec/CodecFwd.h"
#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"
#include "TarnelFoundation/Statistics/WidgetStatistic.h"

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace tarnel {

struct StatsClientID {
    UUID rawValue = UUID::random();
    friend auto operator<=>(const StatsClientID&, const StatsClientID&) = default;
};
TARNEL_CODABLE(StatsClientID);

struct StatsSubscriptionID {
    UUID rawValue = UUID::random();
    friend auto operator<=>(const StatsSubscriptionID&, const StatsSubscriptionID&) = default;
};
TARNEL_CODABLE(StatsSubscriptionID);

struct StatsSubscriptionKey {
    StatsClientID clientID;
    StatsSubscriptionID subscriptionID;
    friend auto operator<=>(const StatsSubscriptionKey&, const StatsSubscriptionKey&) = default;
};
TARNEL_CODABLE(StatsSubscriptionKey);

// One user-picked instance of a statistic. Changing `kind` to another statistic resets the
// index; setting the same statistic keeps it.
class WidgetStatisticOption {
public:
    WidgetStatisticOption() = default;
    WidgetStatisticOption(WidgetStatistic kind, std::int64_t index) : kind_(kind), index_(index) {}

    const UUID& id() const { return id_; }
    WidgetStatistic kind() const { return kind_; }
    std::int64_t index() const { return index_; }
    void setKind(WidgetStatistic kind)
    {
        if (kind != kind_)
            index_ = 0;
        kind_ = kind;
    }
    void setIndex(std::int64_t index) { index_ = index; }

    friend bool operator==(const WidgetStatisticOption&, const WidgetStatisticOption&) = default;
    friend Value tarnelEncode(const WidgetStatisticOption&);
    friend void tarnelDecode(const Value&, codec::Decoder&, WidgetStatisticOption&);

private:
    UUID id_ = UUID::random();
    WidgetStatistic kind_ = WidgetStatistic::cpuUsage;
    std::int64_t index_ = 0;
};

// The demand a widget places on the data: per statistic, the indexes wanted; an empty index
// set means every instance. On the wire `entries` is a flat array alternating statistic and
// index array.
struct WidgetStatisticsSet {
    std::map<WidgetStatistic, std::set<std::int64_t>> entries;

    WidgetStatisticsSet() = default;
    explicit WidgetStatisticsSet(const std::set<WidgetStatistic>& statistics)
    {
        for (auto s : statistics)
            entries[s];
    }
    bool empty() const { return entries.empty(); }
    friend bool operator==(const WidgetStatisticsSet&, const WidgetStatisticsSet&) = default;
};
TARNEL_CODABLE(WidgetStatisticsSet);

// The daemon's collection services, encoded as their raw integer.
enum class DaemonService : std::uint8_t {
    battery,
    power,
    gpuStatistics,
    gpuUsage,
    ram,
    cpu,
    processCPUUsage,
    processRAMUsage,
    processEnergyUsage,
    storageSmart,
    storageStatistics,
    storageUsage,
    sensors,
    networkService,
};
inline constexpr std::array allDaemonServices{
    DaemonService::battery,         DaemonService::power,           DaemonService::gpuStatistics,
    DaemonService::gpuUsage,        DaemonService::ram,             DaemonService::cpu,
    DaemonService::processCPUUsage, DaemonService::processRAMUsage, DaemonService::processEnergyUsage,
    DaemonService::storageSmart,    DaemonService::storageStatistics, DaemonService::storageUsage,
    DaemonService::sensors,         DaemonService::networkService,
};
std::string_view daemonServiceName(DaemonService service);

// The pace of updates, encoded as its ordinal. A period is `ticks` base intervals.
enum class StatisticUpdateFrequency : std::uint8_t { veryFast, fast, medium, slow, verySlow, superSlow, ultraSlow };
inline constexpr std::array allUpdateFrequencies{
    StatisticUpdateFrequency::veryFast, StatisticUpdateFrequency::fast,     StatisticUpdateFrequency::medium,
    StatisticUpdateFrequency::slow,     StatisticUpdateFrequency::verySlow, StatisticUpdateFrequency::superSlow,
    StatisticUpdateFrequency::ultraSlow,
};
std::uint64_t ticks(StatisticUpdateFrequency frequency);
std::string_view description(StatisticUpdateFrequency frequency);

struct UpdateFrequencyClock {
    // Seconds per tick; tests and the daemon's --base-interval shorten it.
    static double baseInterval();
    static void setBaseInterval(double seconds);
    // The least common multiple of all periods, in ticks: one full cycle.
    static std::uint64_t cycleLength();
};

enum class StatsNetworkInterfaceKind : std::uint8_t { wifi, ethernet, bluetooth, other };
enum class StatsStorageDriveKind : std::uint8_t { solidState, rotational };
enum class StatsHealthStatus : std::uint8_t { ok, warning, failed, missing };
enum class StatsSmartValueType : std::uint8_t { number, string, bytes, time, temperature, percentage };
enum class StatsBatteryHealthStatus : std::uint8_t { danger, low, aging, medium, max, exceedingMax, missing };
enum class StatsThermalStatus : std::uint8_t { cool, hot, warning, missing };
enum class StatsStorageStatisticKind : std::uint8_t {
    readOperations,
    writeOperations,
    readLatency,
    writeLatency,
    readBytes,
    writeBytes,
    readErrors,
    writeErrors,
    readTotalTime,
    writeTotalTime,
    readRetries,
    writeRetries,
};

} // namespace tarnel

namespace tarnel::codec {
template <>
inline constexpr std::size_t integerEnumCount<DaemonService> = 14;
template <>
inline constexpr std::size_t integerEnumCount<StatisticUpdateFrequency> = 7;

TARNEL_ENUM_NAMES(StatsNetworkInterfaceKind, 4, "wifi", "ethernet", "bluetooth", "other");
TARNEL_ENUM_NAMES(StatsStorageDriveKind, 2, "solidState", "rotational");
TARNEL_ENUM_NAMES(StatsHealthStatus, 4, "ok", "warning", "failed", "missing");
TARNEL_ENUM_NAMES(StatsSmartValueType, 6, "number", "string", "bytes", "time", "temperature", "percentage");
TARNEL_ENUM_NAMES(StatsBatteryHealthStatus, 7, "danger", "low", "aging", "medium", "max", "exceedingMax", "missing");
TARNEL_ENUM_NAMES(StatsThermalStatus, 4, "cool", "hot", "warning", "missing");
// The raw string of a storage statistic is its display title.
TARNEL_ENUM_NAMES(StatsStorageStatisticKind, 12, "Operations (Read)", "Operations (Write)", "Latency Time (Read)",
                  "Latency Time (Write)", "Bytes (Read)", "Bytes (Write)", "Errors (Read)", "Errors (Write)",
                  "Total Time (Read)", "Total Time (Write)", "Retries (Read)", "Retries (Write)");
} // namespace tarnel::codec
