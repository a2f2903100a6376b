#include "Platform/Statistics/EnergyCounterReader.h"

#include "Platform/Statistics/CounterDelta.h"
#include "Platform/Statistics/TextParsing.h"

#include <algorithm>

namespace tarnel::platform {

bool EnergyCounter::isTopLevel() const
{
    return std::count(identifier.begin(), identifier.end(), ':') == 1;
}

std::vector<EnergyCounter> EnergyCounterReader::read() const
{
    std::vector<EnergyCounter> counters;
    auto folder = root_.resolve("/sys/class/powercap");
    for (const auto& entry : SystemRoot::listDirectory(folder)) {
        // "intel-rapl" alone is the control type, without counters; AMD processors use the same names.
        if (!entry.starts_with("intel-rapl:"))
            continue;
        auto energy = SystemRoot::readAttribute(folder / entry / "energy_uj");
        auto range = SystemRoot::readAttribute(folder / entry / "max_energy_range_uj");
        auto energyValue = energy ? text::parseUnsigned(*energy) : std::nullopt;
        auto rangeValue = range ? text::parseUnsigned(*range) : std::nullopt;
        if (!energyValue || !rangeValue || *rangeValue == 0)
            continue;
        counters.push_back({entry, SystemRoot::readAttribute(folder / entry / "name"), *energyValue, *rangeValue});
    }
    return counters;
}

std::vector<ZonePower> powerBetween(const std::vector<EnergyCounter>& earlier,
    const std::vector<EnergyCounter>& later, double elapsedSeconds)
{
    std::vector<ZonePower> zones;
    if (!(elapsedSeconds > 0))
        return zones;
    for (const auto& after : later) {
        auto before = std::find_if(earlier.begin(), earlier.end(),
            [&](const EnergyCounter& candidate) { return candidate.identifier == after.identifier; });
        if (before == earlier.end() || before->rangeMicrojoules != after.rangeMicrojoules)
            continue;
        auto delta = wrappingDelta(before->energyMicrojoules, after.energyMicrojoules, after.rangeMicrojoules);
        if (!delta)
            continue;
        zones.push_back({after.identifier, after.name, static_cast<double>(*delta) / 1e6 / elapsedSeconds});
    }
    return zones;
}

std::optional<double> machinePowerWatts(const std::vector<ZonePower>& zones)
{
    std::optional<double> packages;
    for (const auto& zone : zones) {
        if (std::count(zone.identifier.begin(), zone.identifier.end(), ':') != 1)
            continue;
        if (zone.name == "psys")
            return zone.watts;
        packages = packages.value_or(0) + zone.watts;
    }
    return packages;
}

} // namespace tarnel::platform
