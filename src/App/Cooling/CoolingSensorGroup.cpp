#include "App/Cooling/CoolingSensorGroup.h"

#include "App/Localization/Localizable.h"

namespace tarnel {

namespace {

struct GroupInfo {
    std::string_view raw;
    std::string_view titleKey;
    std::string_view title;
    WidgetStatistic sensor;
    WidgetStatistic group;
};

using W = WidgetStatistic;

// In the order of CoolingSensorGroup.
constexpr GroupInfo groups[] = {
    {"cpu", "cooling_group_cpu", "CPU", W::cpuTemperatureSensor, W::cpuGroupTemperatureSensor},
    {"gpu", "cooling_group_gpu", "GPU", W::gpuTemperatureSensor, W::gpuGroupTemperatureSensor},
    {"soc", "cooling_group_soc", "SoC", W::socTemperatureSensor, W::socGroupTemperatureSensor},
    {"logicBoard", "cooling_group_logic_board", "Logic Board", W::logicBoardTemperatureSensor, W::logicBoardGroupTemperatureSensor},
    {"storage", "cooling_group_storage", "Storage", W::storageTemperatureSensor, W::storageGroupTemperatureSensor},
    {"memory", "cooling_group_memory", "Memory", W::memoryTemperatureSensor, W::memoryGroupTemperatureSensor},
    {"battery", "cooling_group_battery", "Battery", W::batteryTemperatureSensor, W::batteryGroupTemperatureSensor},
    {"palmRest", "cooling_group_palm_rest", "Palm Rest", W::palmRestTemperatureSensor, W::palmRestGroupTemperatureSensor},
    {"thunderbolt", "cooling_group_thunderbolt", "Thunderbolt", W::thunderboltTemperatureSensor, W::thunderboltGroupTemperatureSensor},
    {"psu", "cooling_group_psu", "Power Supply", W::psuTemperatureSensor, W::psuGroupTemperatureSensor},
    {"enclosure", "cooling_group_enclosure", "Enclosure", W::enclosureTemperatureSensor, W::enclosureGroupTemperatureSensor},
    {"ambient", "cooling_group_ambient", "Ambient", W::ambientTemperatureSensor, W::ambientGroupTemperatureSensor},
    {"screen", "cooling_group_screen", "Screen", W::screenTemperatureSensor, W::screenGroupTemperatureSensor},
    {"airport", "cooling_group_airport", "Wireless", W::airportTemperatureSensor, W::airportGroupTemperatureSensor},
    {"opticalDrive", "cooling_group_optical_drive", "Optical Drive", W::opticalDriveTemperatureSensor, W::opticalDriveGroupTemperatureSensor},
    {"neuralEngine", "cooling_group_neural_engine", "Neural Engine", W::neuralEngineTemperatureSensor, W::neuralEngineGroupTemperatureSensor},
    {"imageProcessor", "cooling_group_image_processor", "Image Processor", W::imageProcessorTemperatureSensor, W::imageProcessorGroupTemperatureSensor},
    {"other", "cooling_group_other", "Other", W::otherTemperatureSensor, W::otherGroupTemperatureSensor},
};

const GroupInfo& info(CoolingSensorGroup group)
{
    return groups[static_cast<std::size_t>(group)];
}

} // namespace

std::string_view rawValue(CoolingSensorGroup group)
{
    return info(group).raw;
}

std::string title(CoolingSensorGroup group)
{
    return Localizable::shared().text(info(group).titleKey, info(group).title);
}

bool precedes(CoolingSensorGroup a, CoolingSensorGroup b)
{
    if (a == b || a == CoolingSensorGroup::other)
        return false;
    if (b == CoolingSensorGroup::other)
        return true;
    return rawValue(a) < rawValue(b);
}

WidgetStatistic sensorStatistic(CoolingSensorGroup group)
{
    return info(group).sensor;
}

WidgetStatistic groupStatistic(CoolingSensorGroup group)
{
    return info(group).group;
}

std::optional<CoolingSensorGroup> sensorGroup(WidgetStatistic statistic)
{
    for (auto group : allCoolingSensorGroups)
        if (info(group).sensor == statistic)
            return group;
    return std::nullopt;
}

bool isGroupTemperatureStatistic(WidgetStatistic statistic)
{
    for (const auto& g : groups)
        if (g.group == statistic)
            return true;
    return false;
}

} // namespace tarnel
