#include "TarnelUI/Core/WidgetStatisticDisplay.h"

#include "TarnelUI/Core/LocalizedText.h"

namespace tarnel::ui {

namespace {

using WS = WidgetStatistic;

struct Localised {
    std::string_view key;
    std::string_view english;
};

std::optional<Localised> displayTitleKey(WidgetStatistic statistic)
{
    switch (statistic) {
    case WS::cpuUsage: return Localised{"panel_statistic_cpu_usage", "CPU Usage"};
    case WS::cpuSystemUsage: return Localised{"panel_statistic_cpu_system_usage", "CPU Usage (System)"};
    case WS::cpuUserUsage: return Localised{"panel_statistic_cpu_user_usage", "CPU Usage (User)"};
    case WS::cpuCore: return Localised{"panel_statistic_core", "Core"};
    case WS::memoryPressure: return Localised{"panel_statistic_memory_pressure", "Memory Pressure"};
    case WS::memorySwapFile: return Localised{"panel_title_option_swap_file", "Swap File"};
    case WS::ramWired: return Localised{"panel_statistic_ram_wired", "Wired RAM"};
    case WS::ramActive: return Localised{"panel_statistic_ram_active", "Active RAM"};
    case WS::ramCompressed: return Localised{"panel_statistic_ram_compressed", "Compressed RAM"};
    case WS::ramAvailable: return Localised{"panel_statistic_ram_available", "Available RAM"};
    case WS::processCPUUsage: return Localised{"panel_statistic_cpu_process_usage", "Process CPU Usage"};
    case WS::processRAMUsage: return Localised{"panel_statistic_ram_process_usage", "Process RAM Usage"};
    case WS::gpuUsage: return Localised{"panel_statistic_gpu_usage", "GPU Usage"};
    case WS::gpuTemperature: return Localised{"panel_statistic_gpu_temperature", "GPU Temperature"};
    case WS::gpuMemoryUsage: return Localised{"panel_statistic_gpu_memory", "GPU Memory"};
    case WS::gpuCoreClock: return Localised{"panel_statistic_gpu_core_clock", "GPU Core Clock"};
    case WS::gpuMemoryClock: return Localised{"panel_statistic_gpu_memory_clock", "GPU Memory Clock"};
    case WS::gpuPowerUsage: return Localised{"panel_statistic_gpu_power_usage", "GPU Power Usage"};
    case WS::batteryCharge: return Localised{"panel_statistic_battery_charge", "Battery Charge"};
    case WS::batteryHealth: return Localised{"panel_statistic_battery_health", "Battery Health"};
    case WS::batteryCycles: return Localised{"panel_statistic_battery_cycles", "Battery Cycles"};
    default: return std::nullopt;
    }
}

std::optional<Localised> displayShortTitleKey(WidgetStatistic statistic)
{
    switch (statistic) {
    case WS::cpuUsage:
    case WS::gpuUsage: return Localised{"panel_statistic_usage", "Usage"};
    case WS::cpuSystemUsage: return Localised{"panel_statistic_system", "System"};
    case WS::cpuUserUsage: return Localised{"panel_statistic_user", "User"};
    case WS::cpuCore: return Localised{"panel_statistic_core", "Core"};
    case WS::memorySwapFile: return Localised{"panel_title_option_swap_file", "Swap File"};
    case WS::ramWired: return Localised{"panel_statistic_wired", "Wired"};
    case WS::ramActive: return Localised{"panel_statistic_active", "Active"};
    case WS::ramCompressed: return Localised{"panel_statistic_compressed", "Compressed"};
    case WS::ramAvailable: return Localised{"panel_statistic_available", "Available"};
    case WS::gpuTemperature: return Localised{"panel_statistic_temperature", "Temperature"};
    case WS::gpuMemoryUsage: return Localised{"panel_statistic_memory", "Memory"};
    case WS::gpuCoreClock: return Localised{"panel_statistic_core_clock", "Core Clock"};
    case WS::gpuMemoryClock: return Localised{"panel_statistic_memory_clock", "Memory Clock"};
    case WS::gpuPowerUsage: return Localised{"panel_statistic_power", "Power"};
    case WS::batteryCharge: return Localised{"panel_statistic_charge", "Charge"};
    case WS::batteryHealth: return Localised{"panel_statistic_health", "Health"};
    case WS::batteryCycles: return Localised{"panel_statistic_battery_cycles", "Battery Cycles"};
    default: return std::nullopt;
    }
}

struct GroupRow {
    std::string_view name;
    std::string_view title;
    WidgetStatistic individual;
};

constexpr std::array<GroupRow, 15> groupRows{{
    {"cpu", "CPU", WS::cpuTemperatureSensor},
    {"gpu", "GPU", WS::gpuTemperatureSensor},
    {"soc", "SoC", WS::socTemperatureSensor},
    {"logicBoard", "Logic Board", WS::logicBoardTemperatureSensor},
    {"storage", "Storage", WS::storageTemperatureSensor},
    {"memory", "Memory", WS::memoryTemperatureSensor},
    {"battery", "Battery", WS::batteryTemperatureSensor},
    {"palmRest", "Palm Rest", WS::palmRestTemperatureSensor},
    {"thunderbolt", "Thunderbolt", WS::thunderboltTemperatureSensor},
    {"psu", "Power Supply", WS::psuTemperatureSensor},
    {"enclosure", "Enclosure", WS::enclosureTemperatureSensor},
    {"ambient", "Ambient", WS::ambientTemperatureSensor},
    {"screen", "Screen", WS::screenTemperatureSensor},
    {"airport", "Airport Wireless", WS::airportTemperatureSensor},
    {"opticalDrive", "Optical Drive", WS::opticalDriveTemperatureSensor},
}};

constexpr auto sensorOffset =
    static_cast<int>(WS::socGroupTemperatureSensor) - static_cast<int>(WS::socTemperatureSensor);

const GroupRow& groupRow(WidgetSensorGroup group)
{
    return groupRows[static_cast<std::size_t>(group)];
}

// The three sensor families that belong to no group.
bool isUngroupedSensor(WidgetStatistic statistic)
{
    switch (statistic) {
    case WS::neuralEngineTemperatureSensor:
    case WS::imageProcessorTemperatureSensor:
    case WS::otherTemperatureSensor:
    case WS::neuralEngineGroupTemperatureSensor:
    case WS::imageProcessorGroupTemperatureSensor:
    case WS::otherGroupTemperatureSensor: return true;
    default: return false;
    }
}

} // namespace

const std::array<WidgetSensorGroup, 15> allWidgetSensorGroups{
    WidgetSensorGroup::cpu,       WidgetSensorGroup::gpu,         WidgetSensorGroup::soc,
    WidgetSensorGroup::logicBoard, WidgetSensorGroup::storage,    WidgetSensorGroup::memory,
    WidgetSensorGroup::battery,   WidgetSensorGroup::palmRest,    WidgetSensorGroup::thunderbolt,
    WidgetSensorGroup::psu,       WidgetSensorGroup::enclosure,   WidgetSensorGroup::ambient,
    WidgetSensorGroup::screen,    WidgetSensorGroup::airport,     WidgetSensorGroup::opticalDrive,
};

std::string_view name(WidgetSensorGroup group)
{
    return groupRow(group).name;
}

std::optional<WidgetSensorGroup> sensorGroupNamed(std::string_view text)
{
    for (auto group : allWidgetSensorGroups)
        if (name(group) == text)
            return group;
    return std::nullopt;
}

std::string_view title(WidgetSensorGroup group)
{
    return groupRow(group).title;
}

WidgetStatistic individualStatistic(WidgetSensorGroup group)
{
    return groupRow(group).individual;
}

WidgetStatistic groupStatistic(WidgetSensorGroup group)
{
    return static_cast<WidgetStatistic>(static_cast<int>(groupRow(group).individual) + sensorOffset);
}

std::optional<WidgetSensorGroup> sensorGroup(WidgetStatistic statistic)
{
    for (auto group : allWidgetSensorGroups)
        if (individualStatistic(group) == statistic)
            return group;
    return std::nullopt;
}

std::optional<WidgetDataFormat> dataFormat(WidgetStatistic statistic)
{
    using F = WidgetDataFormat;
    if (isIndividualTemperatureSensor(statistic) || isGroupTemperatureSensor(statistic))
        return isUngroupedSensor(statistic) ? std::nullopt : std::optional(F::temperature);
    switch (statistic) {
    case WS::cpuUsage:
    case WS::cpuSystemUsage:
    case WS::cpuUserUsage:
    case WS::cpuCore:
    case WS::memoryPressure:
    case WS::gpuUsage:
    case WS::batteryCharge:
    case WS::batteryHealth: return F::roundedPercent;
    case WS::memorySwapFile:
    case WS::ramWired:
    case WS::ramActive:
    case WS::ramCompressed:
    case WS::ramAvailable:
    case WS::processRAMUsage:
    case WS::processRAMRealUsage:
    case WS::gpuMemoryUsage: return F::memoryBytes;
    case WS::processCPUUsage: return F::percent;
    case WS::processEnergyUsage: return F::energyImpact;
    case WS::gpuTemperature: return F::temperature;
    case WS::gpuCoreClock:
    case WS::gpuMemoryClock: return F::hertz;
    case WS::gpuPowerUsage: return F::watt;
    case WS::storageUsage: return F::storageBytes;
    case WS::batteryCycles: return F::integer;
    case WS::uptime:
    case WS::sleepTime:
    case WS::wakeTime: return F::time;
    case WS::fanSpeed: return F::rpm;
    default: return std::nullopt;
    }
}

std::string displayTitle(WidgetStatistic statistic)
{
    if (auto localised = displayTitleKey(statistic))
        return localized(localised->key, localised->english);
    return std::string(tarnel::title(statistic));
}

std::string displayShortTitle(WidgetStatistic statistic)
{
    if (auto localised = displayShortTitleKey(statistic))
        return localized(localised->key, localised->english);
    return std::string(tarnel::shortTitle(statistic));
}

std::optional<std::string_view> symbolName(WidgetStatistic statistic)
{
    if (isUngroupedSensor(statistic))
        return std::nullopt;
    return tarnel::symbolName(statistic);
}

std::optional<std::string> indexedTitle(WidgetStatistic statistic, std::int64_t index)
{
    if (statistic == WS::cpuCore)
        return localized("panel_statistic_core", "Core") + " #" + std::to_string(index + 1);
    return tarnel::indexedTitle(statistic, index);
}

} // namespace tarnel::ui
