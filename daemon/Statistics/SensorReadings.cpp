#include "Statistics/SensorReadings.h"

#include "Statistics/SensorClassification.h"

#include <algorithm>
#include <map>

namespace tarnel::daemon {

namespace {

// How a user knows the chip; drivers nobody recognises keep their own name.
std::string chipTitle(const std::string& chip)
{
    static const std::map<std::string, std::string, std::less<>> titles{
        {"coretemp", "CPU"}, {"k10temp", "CPU"},   {"zenpower", "CPU"},    {"amdgpu", "GPU"},   {"radeon", "GPU"},
        {"nouveau", "GPU"},  {"i915", "GPU"},      {"nvme", "NVMe"},       {"drivetemp", "Drive"}, {"acpitz", "ACPI"},
        {"iwlwifi_1", "Wi-Fi"}, {"thinkpad", "ThinkPad"}, {"dell_smm", "Dell"}, {"pch_cannonlake", "PCH"},
    };
    if (auto it = titles.find(chip); it != titles.end())
        return it->second;
    if (chip.starts_with("iwlwifi") || chip.starts_with("ath") || chip.starts_with("mt7"))
        return "Wi-Fi";
    if (chip.starts_with("pch_"))
        return "PCH";
    return chip;
}

std::optional<double> fanFraction(const platform::HwmonFan& fan)
{
    if (!fan.rpm || !fan.maximumRPM)
        return std::nullopt;
    const double minimum = fan.minimumRPM.value_or(0);
    if (*fan.maximumRPM <= minimum)
        return std::nullopt;
    return std::clamp((*fan.rpm - minimum) / (*fan.maximumRPM - minimum), 0.0, 1.0);
}

} // namespace

SensorReadings SensorReadings::from(const std::vector<platform::HwmonChip>& chips, Date at)
{
    SensorReadings readings;
    std::map<WidgetStatistic, std::int64_t> nextIndex;
    std::map<WidgetStatistic, double> hottest;
    std::int64_t fanIndex = 0;
    for (const auto& chip : chips) {
        const auto chipId = chip.stableIdentifier();
        const auto title = chipTitle(chip.name);
        for (const auto& t : chip.temperatures) {
            const auto family = classifyTemperatureSensor(chip.name, t.label.value_or(""));
            StatsTemperatureSnapshot s;
            s.statistic = family;
            s.index = nextIndex[family]++;
            s.identifier = chipId + "/temp" + std::to_string(t.channel);
            s.name = title + " " + t.label.value_or("Sensor " + std::to_string(t.channel));
            // A channel without a reading stays in the catalogue but sends nothing.
            if (t.celsius) {
                s.celsius = *t.celsius;
                auto& top = hottest.try_emplace(family, *t.celsius).first->second;
                top = std::max(top, *t.celsius);
            }
            s.updatedAt = at;
            readings.sensors.push_back({s.statistic, s.index, s.identifier, s.name});
            if (t.celsius)
                readings.temperatures.push_back(std::move(s));
        }
        for (const auto& f : chip.fans) {
            StatsFanSnapshot fan;
            fan.index = fanIndex++;
            fan.identifier = chipId + "/fan" + std::to_string(f.channel);
            fan.name = f.label.value_or("Fan " + std::to_string(fan.index + 1));
            fan.currentRPM = f.rpm;
            fan.targetRPM = f.targetRPM;
            fan.minimumRPM = f.minimumRPM;
            fan.maximumRPM = f.maximumRPM;
            fan.fraction = fanFraction(f);
            fan.updatedAt = at;
            readings.fans.push_back(std::move(fan));
        }
    }
    for (const auto& [family, celsius] : hottest) {
        StatsTemperatureSnapshot group;
        group.statistic = groupStatistic(family);
        group.index = 0;
        group.identifier = "group/" + sensorFamilyTitle(family);
        group.name = sensorFamilyTitle(family);
        group.celsius = celsius;
        group.updatedAt = at;
        readings.temperatures.push_back(std::move(group));
    }
    return readings;
}

std::vector<HardwareFanCatalogItem> SensorReadings::fanCatalog() const
{
    std::vector<HardwareFanCatalogItem> items;
    for (const auto& f : fans)
        items.push_back({f.index, f.identifier, f.name, f.minimumRPM, f.maximumRPM});
    return items;
}

std::vector<StatsValueSnapshot> SensorReadings::values() const
{
    std::vector<StatsValueSnapshot> values;
    for (const auto& t : temperatures)
        values.push_back({t.statistic, t.index, t.celsius, t.celsius / 100.0, std::nullopt, t.updatedAt});
    for (const auto& f : fans)
        if (f.currentRPM)
            values.push_back({WidgetStatistic::fanSpeed, f.index, *f.currentRPM, f.fraction, std::nullopt, f.updatedAt});
    return values;
}

} // namespace tarnel::daemon
