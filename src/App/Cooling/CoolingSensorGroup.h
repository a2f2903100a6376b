#pragma once

#include "TarnelFoundation/Statistics/WidgetStatistic.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// Where a temperature sensor sits; the daemon names it through the sensor's statistic.
enum class CoolingSensorGroup {
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
    neuralEngine,
    imageProcessor,
    other,
};

inline constexpr std::array allCoolingSensorGroups{
    CoolingSensorGroup::cpu,         CoolingSensorGroup::gpu,          CoolingSensorGroup::soc,
    CoolingSensorGroup::logicBoard,  CoolingSensorGroup::storage,      CoolingSensorGroup::memory,
    CoolingSensorGroup::battery,     CoolingSensorGroup::palmRest,     CoolingSensorGroup::thunderbolt,
    CoolingSensorGroup::psu,         CoolingSensorGroup::enclosure,    CoolingSensorGroup::ambient,
    CoolingSensorGroup::screen,      CoolingSensorGroup::airport,      CoolingSensorGroup::opticalDrive,
    CoolingSensorGroup::neuralEngine, CoolingSensorGroup::imageProcessor, CoolingSensorGroup::other,
};

std::string_view rawValue(CoolingSensorGroup group);
std::string title(CoolingSensorGroup group);
// `other` last, the rest by raw value.
bool precedes(CoolingSensorGroup a, CoolingSensorGroup b);

WidgetStatistic sensorStatistic(CoolingSensorGroup group);
WidgetStatistic groupStatistic(CoolingSensorGroup group);
// The group of a sensor statistic; nullopt for any other statistic, group statistics included.
std::optional<CoolingSensorGroup> sensorGroup(WidgetStatistic statistic);
bool isGroupTemperatureStatistic(WidgetStatistic statistic);

} // namespace tarnel
