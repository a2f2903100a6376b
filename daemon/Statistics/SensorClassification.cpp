#include "Statistics/SensorClassification.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace tarnel::daemon {

namespace {

using W = WidgetStatistic;

struct SensorRule {
    std::string_view chip;  // a prefix of the hwmon chip name; empty matches any chip
    std::string_view label; // a case-insensitive part of the channel label; empty matches any label
    W family;
};

// Chip names are the drivers' hwmon names. Labelled rules of a chip come before its catch-all.
constexpr std::array rules{
    // Processors.
    SensorRule{"coretemp", "", W::cpuTemperatureSensor},
    SensorRule{"k10temp", "", W::cpuTemperatureSensor},
    SensorRule{"k8temp", "", W::cpuTemperatureSensor},
    SensorRule{"zenpower", "", W::cpuTemperatureSensor},
    SensorRule{"fam15h_power", "", W::cpuTemperatureSensor},
    SensorRule{"via_cputemp", "", W::cpuTemperatureSensor},
    SensorRule{"x86_pkg_temp", "", W::cpuTemperatureSensor},
    // Systems on a chip (ARM boards, phones, some laptops).
    SensorRule{"cpu_thermal", "", W::socTemperatureSensor},
    SensorRule{"cpu0_thermal", "", W::socTemperatureSensor},
    SensorRule{"soc_thermal", "", W::socTemperatureSensor},
    SensorRule{"scpi_sensors", "", W::socTemperatureSensor},
    SensorRule{"gpu_thermal", "", W::gpuTemperatureSensor},
    SensorRule{"ddr_thermal", "", W::memoryTemperatureSensor},
    // Graphics.
    SensorRule{"amdgpu", "", W::gpuTemperatureSensor},
    SensorRule{"radeon", "", W::gpuTemperatureSensor},
    SensorRule{"nouveau", "", W::gpuTemperatureSensor},
    SensorRule{"i915", "", W::gpuTemperatureSensor},
    SensorRule{"xe", "", W::gpuTemperatureSensor},
    // Storage.
    SensorRule{"nvme", "", W::storageTemperatureSensor},
    SensorRule{"drivetemp", "", W::storageTemperatureSensor},
    // Memory modules.
    SensorRule{"jc42", "", W::memoryTemperatureSensor},
    SensorRule{"spd5118", "", W::memoryTemperatureSensor},
    SensorRule{"ee1004", "", W::memoryTemperatureSensor},
    // Wireless adapters.
    SensorRule{"iwlwifi", "", W::airportTemperatureSensor},
    SensorRule{"ath10k", "", W::airportTemperatureSensor},
    SensorRule{"ath11k", "", W::airportTemperatureSensor},
    SensorRule{"ath12k", "", W::airportTemperatureSensor},
    SensorRule{"mt76", "", W::airportTemperatureSensor},
    SensorRule{"mt79", "", W::airportTemperatureSensor},
    SensorRule{"rtw89", "", W::airportTemperatureSensor},
    // Batteries and power supplies.
    SensorRule{"BAT", "", W::batteryTemperatureSensor},
    SensorRule{"sbs_battery", "", W::batteryTemperatureSensor},
    SensorRule{"corsairpsu", "", W::psuTemperatureSensor},
    SensorRule{"nzxt", "psu", W::psuTemperatureSensor},
    // Laptop embedded controllers name their channels.
    SensorRule{"thinkpad", "cpu", W::cpuTemperatureSensor},
    SensorRule{"thinkpad", "gpu", W::gpuTemperatureSensor},
    SensorRule{"thinkpad", "bat", W::batteryTemperatureSensor},
    SensorRule{"thinkpad", "", W::logicBoardTemperatureSensor},
    SensorRule{"dell_smm", "cpu", W::cpuTemperatureSensor},
    SensorRule{"dell_smm", "gpu", W::gpuTemperatureSensor},
    SensorRule{"dell_smm", "sodimm", W::memoryTemperatureSensor},
    SensorRule{"dell_smm", "ambient", W::ambientTemperatureSensor},
    SensorRule{"dell_smm", "", W::logicBoardTemperatureSensor},
    SensorRule{"asus", "cpu", W::cpuTemperatureSensor},
    SensorRule{"asus", "gpu", W::gpuTemperatureSensor},
    SensorRule{"hp", "cpu", W::cpuTemperatureSensor},
    // Super-I/O chips of desktop boards: the processor's channels by label, the rest is the board.
    SensorRule{"nct", "cpu", W::cpuTemperatureSensor},
    SensorRule{"nct", "peci", W::cpuTemperatureSensor},
    SensorRule{"nct", "tsi", W::cpuTemperatureSensor},
    SensorRule{"nct", "pch", W::logicBoardTemperatureSensor},
    SensorRule{"nct", "", W::logicBoardTemperatureSensor},
    SensorRule{"it8", "cpu", W::cpuTemperatureSensor},
    SensorRule{"it8", "", W::logicBoardTemperatureSensor},
    SensorRule{"f718", "cpu", W::cpuTemperatureSensor},
    SensorRule{"f718", "", W::logicBoardTemperatureSensor},
    SensorRule{"asus_wmi_sensors", "cpu", W::cpuTemperatureSensor},
    SensorRule{"asus_wmi_sensors", "", W::logicBoardTemperatureSensor},
    SensorRule{"asus_ec_sensors", "cpu", W::cpuTemperatureSensor},
    SensorRule{"asus_ec_sensors", "", W::logicBoardTemperatureSensor},
    SensorRule{"pch_", "", W::logicBoardTemperatureSensor},
    SensorRule{"acpitz", "", W::logicBoardTemperatureSensor},
    SensorRule{"thunderbolt", "", W::thunderboltTemperatureSensor},
    // Any chip: what its labels say.
    SensorRule{"", "package", W::cpuTemperatureSensor},
    SensorRule{"", "tctl", W::cpuTemperatureSensor},
    SensorRule{"", "tdie", W::cpuTemperatureSensor},
    SensorRule{"", "cpu", W::cpuTemperatureSensor},
    SensorRule{"", "gpu", W::gpuTemperatureSensor},
    SensorRule{"", "ambient", W::ambientTemperatureSensor},
    SensorRule{"", "dimm", W::memoryTemperatureSensor},
    SensorRule{"", "battery", W::batteryTemperatureSensor},
    SensorRule{"", "psu", W::psuTemperatureSensor},
    SensorRule{"", "case", W::enclosureTemperatureSensor},
    SensorRule{"", "chassis", W::enclosureTemperatureSensor},
    SensorRule{"", "skin", W::palmRestTemperatureSensor},
    SensorRule{"", "palm", W::palmRestTemperatureSensor},
    SensorRule{"", "display", W::screenTemperatureSensor},
    SensorRule{"", "screen", W::screenTemperatureSensor},
};

bool containsIgnoringCase(std::string_view text, std::string_view part)
{
    if (part.empty())
        return true;
    auto it = std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
    return it != text.end();
}

constexpr int firstIndividual = static_cast<int>(W::socTemperatureSensor);
constexpr int lastIndividual = static_cast<int>(W::otherTemperatureSensor);
constexpr int groupOffset = static_cast<int>(W::socGroupTemperatureSensor) - firstIndividual;

} // namespace

WidgetStatistic classifyTemperatureSensor(std::string_view chip, std::string_view label)
{
    for (const auto& rule : rules)
        if (chip.starts_with(rule.chip) && containsIgnoringCase(label, rule.label))
            return rule.family;
    return W::otherTemperatureSensor;
}

bool isIndividualTemperatureSensor(WidgetStatistic statistic)
{
    const int n = static_cast<int>(statistic);
    return n >= firstIndividual && n <= lastIndividual;
}

WidgetStatistic groupStatistic(WidgetStatistic individualSensor)
{
    if (!isIndividualTemperatureSensor(individualSensor))
        return W::otherGroupTemperatureSensor;
    return static_cast<W>(static_cast<int>(individualSensor) + groupOffset);
}

std::string sensorFamilyTitle(WidgetStatistic statistic)
{
    static constexpr std::array<std::string_view, 18> titles{
        "SoC",       "CPU",     "GPU",    "Logic Board", "Storage", "Memory",        "Battery",       "Palm Rest", "Thunderbolt",
        "PSU",       "Enclosure", "Ambient", "Screen",    "Wi-Fi",   "Optical Drive", "Neural Engine", "Image Processor", "Other"};
    int n = static_cast<int>(statistic) - firstIndividual;
    if (n >= 18)
        n -= groupOffset;
    return n >= 0 && n < 18 ? std::string(titles[static_cast<std::size_t>(n)]) : "Other";
}

} // namespace tarnel::daemon
