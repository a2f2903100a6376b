#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace tarnel {

// The colours a card may name; the view maps them to its palette.
enum class CardColor { systemPink, blueTowardsTeal, systemOrange, neutralFill, gray, black };

struct AppEntry {
    std::string title;
    // An icon name of the desktop's icon theme, or an absolute file.
    std::string icon;
    std::string formattedValue;
    friend bool operator==(const AppEntry&, const AppEntry&) = default;
};

struct BatteryOverviewModel {
    std::string title;
    std::optional<int> chargePercentage;
    std::optional<bool> isCharging;
    std::optional<std::uint8_t> healthPercentage;
    std::optional<std::string> remaining;
};

struct CPUOverviewModel {
    struct ChartEntry {
        std::string title;
        unsigned percent = 0;
        CardColor color = CardColor::gray;
    };
    std::string title;
    std::string icon;
    unsigned lastUsagePercent = 0;
    std::vector<ChartEntry> chartEntries;
    std::vector<int> usageHistory;
    std::vector<AppEntry> appEntries;
    std::optional<double> temperature;
    std::optional<std::string> formattedTemperature;
};

struct ValueEntry {
    std::string title;
    unsigned percent = 0;
    std::string formattedValue;
    CardColor color = CardColor::gray;
};

struct RAMOverviewModel {
    std::vector<ValueEntry> barEntries;
    ValueEntry freeEntry;
    std::vector<ValueEntry> usageEntries;
    std::vector<AppEntry> appEntries;
};

struct GPUOverviewModel {
    struct Statistic {
        std::string title;
        std::int64_t value = 0;
        std::optional<double> fraction;
        std::string formattedValue;
    };
    std::string title;
    std::string icon;
    Statistic temperatureStat;
    Statistic memoryStat;
    Statistic usageStat;
    std::vector<int> usageHistory;
    std::vector<Statistic> bottomStats;
};

struct StorageOverviewEntry {
    std::string title;
    std::string icon;
    std::uint64_t usedBytes = 0;
    std::uint64_t totalBytes = 0;
};

struct StorageOverviewModel {
    std::vector<StorageOverviewEntry> entries;
};

struct InfoRow {
    std::string title;
    std::string value;
    friend bool operator==(const InfoRow&, const InfoRow&) = default;
};

struct LargeEntityHeaderModel {
    std::string title;
    std::string subtitle;
    std::optional<std::string> detail;
    std::string image;
    std::optional<std::string> sizeTitle;
    std::optional<std::string> sizeDetailTitle;
    std::vector<InfoRow> infoTable;
};

struct PlaceholderDeviceOverviewModel {
    enum class Style { large, standard };
    // The card it stands for until that card's first values come.
    enum class Device { cpu, ram };
    Style style = Style::standard;
    Device device = Device::cpu;
};

struct PlaceholderStorageOverviewModel {};

// Every model a Dashboard cell holds. The provider makes cells of these types only and the
// view must draw each of them: a card missing on either side fails to compile.
template <class... Models>
struct DashboardModelList {
    template <class Model>
    static constexpr bool contains = (std::is_same_v<Model, Models> || ...);
};
using DashboardModels =
    DashboardModelList<LargeEntityHeaderModel, BatteryOverviewModel, StorageOverviewModel, PlaceholderStorageOverviewModel,
                       CPUOverviewModel, RAMOverviewModel, GPUOverviewModel, PlaceholderDeviceOverviewModel>;

template <class Model>
concept DashboardModel = DashboardModels::contains<Model>;

} // namespace tarnel
