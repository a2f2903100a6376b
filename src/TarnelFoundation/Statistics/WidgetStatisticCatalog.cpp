#include "TarnelFoundation/Statistics/WidgetStatisticCatalog.h"

namespace tarnel {

namespace {

using WS = WidgetStatistic;
using DS = DaemonService;

struct Row {
    std::string_view title;
    std::string_view shortTitle;
    std::string_view statusTitle; // empty: none
    DS service;
    std::string_view symbolName; // empty: none
};

constexpr std::size_t firstIndividualSensor = static_cast<std::size_t>(WS::socTemperatureSensor);
constexpr std::size_t firstGroupSensor = static_cast<std::size_t>(WS::socGroupTemperatureSensor);
constexpr std::size_t sensorFamilies = 18;

// Cases 0 to 30, then fanSpeed.
constexpr std::array<Row, 32> generalRows{{
    {"CPU Usage", "Usage", "CPU", DS::cpu, "cpu"},
    {"CPU System Usage", "System", "CPU", DS::cpu, "cpu"},
    {"CPU User Usage", "User", "CPU", DS::cpu, "cpu"},
    {"Core", "Core", "CPU", DS::cpu, "cpu"},
    {"Memory Pressure", "Pressure", "RAM", DS::ram, "memorychip"},
    {"Swap File", "Swap File", "RAM", DS::ram, "memorychip"},
    {"Wired Memory", "Wired", "RAM", DS::ram, "memorychip"},
    {"Active Memory", "Active", "RAM", DS::ram, "memorychip"},
    {"Compressed Memory", "Compressed", "RAM", DS::ram, "memorychip"},
    {"Available Memory", "Available", "RAM", DS::ram, "memorychip"},
    {"Process CPU Usage", "CPU Usage", "CPU", DS::processCPUUsage, "cpu"},
    {"Process RAM Usage", "Memory Usage", "RAM", DS::processRAMUsage, "memorychip"},
    {"Process Real RAM Usage", "Real Memory Usage", "RAM", DS::processRAMUsage, "memorychip"},
    {"Process Energy Impact", "Energy Impact", "ENG", DS::processEnergyUsage, "bolt.horizontal"},
    {"GPU Usage", "Usage", "GPU", DS::gpuUsage, "gpu"},
    {"GPU Temperature", "Temperature", "GPUT", DS::gpuUsage, "thermometer"},
    {"GPU Memory", "Memory", "GPU", DS::gpuUsage, "memorychip"},
    {"GPU Core Clock", "Core Clock", "GPU", DS::gpuUsage, "bolt.horizontal"},
    {"GPU Memory Clock", "Memory Clock", "GPU", DS::gpuUsage, "bolt.horizontal"},
    {"GPU Power Usage", "Power", "GPU", DS::gpuUsage, "bolt"},
    {"Storage", "Storage", "SSD", DS::storageUsage, "externaldrive.fill"},
    {"Battery Charge", "Charge", "BAT", DS::battery, "battery.100.bolt"},
    {"Battery Health", "Health", "BAT", DS::battery, "bolt.fill.batteryblock"},
    {"Battery Cycles", "Battery Cycles", "BAT", DS::battery, "minus.plus.batteryblock"},
    {"Uptime", "Last Boot", "", DS::power, ""},
    {"Sleep Time", "Last Sleep", "", DS::power, ""},
    {"Wake Time", "Last Wake", "", DS::power, ""},
    {"Sleep Reason", "Sleep Reason", "", DS::power, ""},
    {"Wake Reason", "Wake Reason", "", DS::power, ""},
    {"Network Service", "Network Service", "", DS::networkService, ""},
    {"Network Interface", "Network Interface", "", DS::networkService, ""},
    {"Fans", "Fan Speed", "FAN", DS::sensors, "circle.grid.cross.fill"},
}};

// One row per sensor family, shared by its individual and its group case.
constexpr std::array<Row, sensorFamilies> sensorRows{{
    {"SoC Sensors", "SoC", "SOC", DS::sensors, "thermometer"},
    {"CPU Sensors", "CPU", "CPU", DS::sensors, "thermometer"},
    {"GPU Sensors", "GPU", "GPU", DS::sensors, "thermometer"},
    {"Logic Board Sensors", "Logic Board", "LBD", DS::sensors, "thermometer"},
    {"Storage Sensors", "Storage", "STT", DS::sensors, "thermometer"},
    {"Memory Sensors", "Memory", "RAM", DS::sensors, "thermometer"},
    {"Battery Sensors", "Battery", "BAT", DS::sensors, "thermometer"},
    {"Palm Rest Sensors", "Palm Rest", "RST", DS::sensors, "thermometer"},
    {"Thunderbolt Sensors", "Thunderbolt", "TBT", DS::sensors, "thermometer"},
    {"PSU Sensors", "PSU", "PSU", DS::sensors, "thermometer"},
    {"Enclosure Sensors", "Enclosure", "ENC", DS::sensors, "thermometer"},
    {"Ambient Sensors", "Ambient", "AMB", DS::sensors, "thermometer"},
    {"Screen Sensors", "Screen", "SCR", DS::sensors, "thermometer"},
    {"Wi-Fi Sensors", "Wi-Fi", "APT", DS::sensors, "thermometer"},
    {"Optical Drive Sensors", "Optical Drive", "OPT", DS::sensors, "thermometer"},
    // Families without a sensor group still show a thermometer in the shared model.
    {"Neural Engine Sensors", "Neural Engine", "", DS::sensors, "thermometer"},
    {"Image Processor Sensors", "Image Processor", "", DS::sensors, "thermometer"},
    {"Other Sensors", "Other", "", DS::sensors, "thermometer"},
}};

const Row& row(WidgetStatistic statistic)
{
    auto position = static_cast<std::size_t>(statistic);
    if (statistic == WS::fanSpeed)
        return generalRows.back();
    if (position >= firstGroupSensor)
        return sensorRows[position - firstGroupSensor];
    if (position >= firstIndividualSensor)
        return sensorRows[position - firstIndividualSensor];
    return generalRows[position];
}

std::optional<std::string_view> present(std::string_view text)
{
    if (text.empty())
        return std::nullopt;
    return text;
}

constexpr std::array<WidgetStatistic, widgetStatisticCount> makeAll()
{
    std::array<WidgetStatistic, widgetStatisticCount> all{};
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<WidgetStatistic>(i);
    return all;
}

} // namespace

const std::array<WidgetStatistic, widgetStatisticCount> allWidgetStatistics = makeAll();

std::string_view title(WidgetStatistic statistic)
{
    return row(statistic).title;
}

std::string_view shortTitle(WidgetStatistic statistic)
{
    return row(statistic).shortTitle;
}

std::optional<std::string_view> statusTitle(WidgetStatistic statistic)
{
    return present(row(statistic).statusTitle);
}

DaemonService requiredService(WidgetStatistic statistic)
{
    return row(statistic).service;
}

std::optional<std::string_view> symbolName(WidgetStatistic statistic)
{
    return present(row(statistic).symbolName);
}

bool isIndividualTemperatureSensor(WidgetStatistic statistic)
{
    auto position = static_cast<std::size_t>(statistic);
    return position >= firstIndividualSensor && position < firstIndividualSensor + sensorFamilies;
}

bool isGroupTemperatureSensor(WidgetStatistic statistic)
{
    auto position = static_cast<std::size_t>(statistic);
    return position >= firstGroupSensor && position < firstGroupSensor + sensorFamilies;
}

std::optional<IndexedWidgetStatisticKind> indexedKind(WidgetStatistic statistic)
{
    switch (statistic) {
    case WS::cpuCore:
        return IndexedWidgetStatisticKind::cpuCore;
    case WS::processCPUUsage:
    case WS::processRAMUsage:
    case WS::processRAMRealUsage:
    case WS::processEnergyUsage:
        return IndexedWidgetStatisticKind::process;
    case WS::fanSpeed:
        return IndexedWidgetStatisticKind::fanSensor;
    default:
        if (isIndividualTemperatureSensor(statistic))
            return IndexedWidgetStatisticKind::temperatureSensor;
        return std::nullopt;
    }
}

bool isIndexed(WidgetStatistic statistic)
{
    return indexedKind(statistic).has_value();
}

std::optional<std::string> indexedTitle(WidgetStatistic statistic, std::int64_t index)
{
    std::string_view prefix;
    switch (statistic) {
    case WS::cpuCore: prefix = "Core #"; break;
    case WS::processCPUUsage: prefix = "CPU Usage #"; break;
    case WS::processRAMUsage: prefix = "RAM Usage #"; break;
    case WS::processRAMRealUsage: prefix = "Real RAM Usage #"; break;
    case WS::processEnergyUsage: prefix = "Energy Impact #"; break;
    case WS::networkService: prefix = "Network Service #"; break;
    case WS::networkInterface: prefix = "Network Interface #"; break;
    default: return std::nullopt;
    }
    return std::string(prefix) + std::to_string(index + 1);
}

} // namespace tarnel
