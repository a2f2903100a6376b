#pragma once

#include "TarnelFoundation/Statistics/WidgetStatisticCatalog.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::ui {

// How a value is written out; never serialised.
enum class WidgetDataFormat : std::uint8_t {
    percent,
    energyImpact,
    roundedPercent,
    integer,
    temperature,
    watt,
    hertz,
    memoryBytes,
    storageBytes,
    rpm,
    time,
    mbps,
    decibel,
    decibelMilliWatt,
};

// The temperature sensor families that a widget can track as one group.
enum class WidgetSensorGroup : std::uint8_t {
    cpu,
    gpu,
    soc,
    logicBoard,
    storage,
    memory,
    battery,
    palmRest,
    thunderbolt,
    psu,
    enclosure,
    ambient,
    screen,
    airport,
    opticalDrive,
};
extern const std::array<WidgetSensorGroup, 15> allWidgetSensorGroups;

std::string_view name(WidgetSensorGroup group);
std::optional<WidgetSensorGroup> sensorGroupNamed(std::string_view name);
std::string_view title(WidgetSensorGroup group);
WidgetStatistic individualStatistic(WidgetSensorGroup group);
WidgetStatistic groupStatistic(WidgetSensorGroup group);
// Defined for the individual sensors that belong to a group only.
std::optional<WidgetSensorGroup> sensorGroup(WidgetStatistic statistic);

// The widget module's lookups: what a widget shows. `symbolName` and `indexedTitle` share
// their names with the shared model's plain variants: call them qualified.
std::optional<WidgetDataFormat> dataFormat(WidgetStatistic statistic);
std::string displayTitle(WidgetStatistic statistic);
std::string displayShortTitle(WidgetStatistic statistic);
// Families without a sensor group have no symbol here.
std::optional<std::string_view> symbolName(WidgetStatistic statistic);
std::optional<std::string> indexedTitle(WidgetStatistic statistic, std::int64_t index);

} // namespace tarnel::ui
