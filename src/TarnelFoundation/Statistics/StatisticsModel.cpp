#include "TarnelFoundation/Statistics/StatisticsModel.h"
#include "TarnelFoundation/Codec/Record.h"

#include <atomic>
#include <numeric>

namespace tarnel {

TARNEL_RECORD(StatsClientID, rawValue)
TARNEL_RECORD(StatsSubscriptionID, rawValue)
TARNEL_RECORD(StatsSubscriptionKey, clientID, subscriptionID)

Value tarnelEncode(const WidgetStatisticOption& option)
{
    Value::Dictionary entries;
    entries.emplace_back("id", codec::encode(option.id_));
    entries.emplace_back("kind", codec::encode(option.kind_));
    entries.emplace_back("index", codec::encode(option.index_));
    return Value(std::move(entries));
}

void tarnelDecode(const Value& value, codec::Decoder& decoder, WidgetStatisticOption& option)
{
    // All three keys are required, in stored documents too.
    const auto& entries = codec::expectDictionary(value, decoder, "WidgetStatisticOption");
    auto required = [&](const char* key) -> const Value& {
        const auto* v = codec::findKey(entries, key);
        if (!v)
            decoder.fail(std::string("the key \"") + key + "\" is missing");
        return *v;
    };
    {
        codec::PathScope scope(decoder, "id");
        option.id_ = codec::decode<UUID>(required("id"), decoder);
    }
    {
        codec::PathScope scope(decoder, "kind");
        option.kind_ = codec::decode<WidgetStatistic>(required("kind"), decoder);
    }
    codec::PathScope scope(decoder, "index");
    option.index_ = codec::decode<std::int64_t>(required("index"), decoder);
}

Value tarnelEncode(const WidgetStatisticsSet& set)
{
    Value::Array flat;
    flat.reserve(set.entries.size() * 2);
    for (const auto& [statistic, indexes] : set.entries) {
        flat.push_back(codec::encode(statistic));
        flat.push_back(codec::encode(indexes));
    }
    Value::Dictionary entries;
    entries.emplace_back("entries", Value(std::move(flat)));
    return Value(std::move(entries));
}

void tarnelDecode(const Value& value, codec::Decoder& decoder, WidgetStatisticsSet& set)
{
    const auto& entries = codec::expectDictionary(value, decoder, "WidgetStatisticsSet");
    const auto* flat = codec::findKey(entries, "entries");
    if (!flat)
        decoder.fail("the key \"entries\" is missing");
    codec::PathScope scope(decoder, "entries");
    const auto& array = codec::decodeArray(*flat, decoder);
    if (array.size() % 2 != 0)
        decoder.fail("the array does not alternate statistics and index arrays");
    set.entries.clear();
    for (std::size_t i = 0; i < array.size(); i += 2) {
        codec::PathScope item(decoder, i);
        auto statistic = codec::decode<WidgetStatistic>(array[i], decoder);
        set.entries[statistic] = codec::decode<std::set<std::int64_t>>(array[i + 1], decoder);
    }
}

std::string_view daemonServiceName(DaemonService service)
{
    static constexpr std::array<std::string_view, 14> names{
        "battery",         "power",           "gpuStatistics",      "gpuUsage",     "ram",
        "cpu",             "processCPUUsage", "processRAMUsage",    "processEnergyUsage",
        "storageSmart",    "storageStatistics", "storageUsage",     "sensors",      "networkService",
    };
    return names[static_cast<std::size_t>(service)];
}

std::uint64_t ticks(StatisticUpdateFrequency frequency)
{
    static constexpr std::array<std::uint64_t, 7> table{1, 2, 4, 6, 12, 24, 48};
    return table[static_cast<std::size_t>(frequency)];
}

std::string_view description(StatisticUpdateFrequency frequency)
{
    static constexpr std::array<std::string_view, 7> table{"Very fast", "Fast",       "Medium",    "Slow",
                                                           "Very slow", "Super slow", "Ultra slow"};
    return table[static_cast<std::size_t>(frequency)];
}

namespace {
std::atomic<double> baseIntervalSeconds{1.0};
}

double UpdateFrequencyClock::baseInterval() { return baseIntervalSeconds.load(); }
void UpdateFrequencyClock::setBaseInterval(double seconds) { baseIntervalSeconds = seconds; }

std::uint64_t UpdateFrequencyClock::cycleLength()
{
    static const std::uint64_t cycle = [] {
        std::uint64_t value = 1;
        for (auto f : allUpdateFrequencies)
            value = std::lcm(value, ticks(f));
        return value;
    }();
    return cycle;
}

} // namespace tarnel
