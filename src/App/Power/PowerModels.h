#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// The named colours of the Power screen's badges; the view maps them to its palette.
enum class BadgeColor {
    healthTop,
    healthBottom,
    tempCoolTop,
    tempCoolBottom,
    tempHotTop,
    tempHotBottom,
    tempDangerTop,
    tempDangerBottom,
    systemLightGray,
    systemGray,
};

// The capacity bar under the battery header.
struct BatteryBarModel {
    std::int64_t currentCapacity = 0;
    std::int64_t maximumCapacity = 0;
    std::int64_t designCapacity = 0;
    bool isCharging = false;
    std::int64_t currentPercent = 0;
};

struct BatteryHeaderModel {
    std::string title;
    std::string subtitle;
    std::string detail;
    std::string image;
    std::string sizeTitle;
    std::string sizeDetailTitle;
    BatteryBarModel bar;
};

struct BadgeCardModel {
    std::string title;
    std::string description;
    std::string image;
    BadgeColor topColor = BadgeColor::systemLightGray;
    BadgeColor bottomColor = BadgeColor::systemGray;
};

struct FactRow {
    std::string title;
    std::string value;
    friend bool operator==(const FactRow&, const FactRow&) = default;
};

struct FactTableModel {
    std::vector<FactRow> rows;
};

// What the screen says while it has no battery to show.
struct PowerNoticeModel {
    std::string text;
};

} // namespace tarnel
