#include "Platform/Statistics/PowerSupplyReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <cmath>
#include <cstdlib>

namespace tarnel::platform {

namespace {

class Attributes {
public:
    explicit Attributes(std::filesystem::path folder) : folder_(std::move(folder)) {}

    std::optional<std::string> text(const char* name) const { return SystemRoot::readAttribute(folder_ / name); }
    std::optional<std::int64_t> number(const char* name) const
    {
        auto value = text(name);
        return value ? text::parseSigned(*value) : std::nullopt;
    }
    // A counter that must be positive to mean anything; drivers write 0 for "unknown".
    std::optional<std::int64_t> positive(const char* name) const
    {
        auto value = number(name);
        return value && *value > 0 ? value : std::nullopt;
    }

private:
    std::filesystem::path folder_;
};

std::optional<std::int64_t> milliampHoursFromCharge(std::optional<std::int64_t> microampHours)
{
    if (!microampHours)
        return std::nullopt;
    return *microampHours / 1000;
}

std::optional<std::int64_t> milliampHoursFromEnergy(std::optional<std::int64_t> microwattHours,
    std::optional<std::int64_t> designMicrovolts)
{
    if (!microwattHours || !designMicrovolts)
        return std::nullopt;
    // µWh / µV = Ah.
    return static_cast<std::int64_t>(std::llround(static_cast<double>(*microwattHours) * 1000.0 / static_cast<double>(*designMicrovolts)));
}

} // namespace

std::optional<double> BatteryState::healthFraction() const
{
    if (!maximumCapacity || !designCapacity || *designCapacity <= 0)
        return fullOverDesign;
    return static_cast<double>(*maximumCapacity) / static_cast<double>(*designCapacity);
}

PowerSupplies PowerSupplyReader::read() const
{
    PowerSupplies supplies;
    auto folder = root_.resolve("/sys/class/power_supply");
    for (const auto& name : SystemRoot::listDirectory(folder)) {
        Attributes attributes(folder / name);
        auto type = attributes.text("type");
        if (type == "Battery") {
            // Peripherals (a mouse, a headset) report scope "Device".
            if (attributes.text("scope") == "Device")
                continue;
            supplies.batteries.push_back(readBattery(name));
        } else if (type == "Mains" || type == "USB") {
            auto online = attributes.number("online");
            if (!online)
                continue;
            supplies.externalPowerOnline = supplies.externalPowerOnline.value_or(false) || *online != 0;
        }
    }
    return supplies;
}

BatteryState PowerSupplyReader::readBattery(const std::string& identifier) const
{
    Attributes attributes(root_.resolve("/sys/class/power_supply") / identifier);
    BatteryState battery;
    battery.identifier = identifier;
    battery.present = attributes.number("present").value_or(1) != 0;
    battery.manufacturer = attributes.text("manufacturer");
    battery.model = attributes.text("model_name");
    battery.serialNumber = attributes.text("serial_number");
    battery.technology = attributes.text("technology");
    battery.status = attributes.text("status");
    if (auto capacity = attributes.number("capacity"); capacity && *capacity >= 0 && *capacity <= 100)
        battery.capacityPercent = static_cast<int>(*capacity);
    if (!battery.present)
        return battery;

    auto designVoltage = attributes.positive("voltage_min_design");
    auto voltage = attributes.positive("voltage_now");
    bool countsEnergy = SystemRoot::exists(root_.resolve("/sys/class/power_supply") / identifier / "energy_full");
    if (countsEnergy) {
        battery.currentCapacity = milliampHoursFromEnergy(attributes.number("energy_now"), designVoltage);
        battery.maximumCapacity = milliampHoursFromEnergy(attributes.positive("energy_full"), designVoltage);
        battery.designCapacity = milliampHoursFromEnergy(attributes.positive("energy_full_design"), designVoltage);
    } else {
        battery.currentCapacity = milliampHoursFromCharge(attributes.number("charge_now"));
        battery.maximumCapacity = milliampHoursFromCharge(attributes.positive("charge_full"));
        battery.designCapacity = milliampHoursFromCharge(attributes.positive("charge_full_design"));
    }
    auto fullCounter = attributes.positive(countsEnergy ? "energy_full" : "charge_full");
    auto designCounter = attributes.positive(countsEnergy ? "energy_full_design" : "charge_full_design");
    if (fullCounter && designCounter)
        battery.fullOverDesign = static_cast<double>(*fullCounter) / static_cast<double>(*designCounter);
    battery.cycleCount = attributes.positive("cycle_count");
    if (voltage)
        battery.voltageMillivolts = *voltage / 1000;

    // Drivers disagree on the sign of current_now; the status says which way it flows.
    bool discharging = battery.status == "Discharging";
    auto current = attributes.number("current_now");
    auto power = attributes.number("power_now");
    if (current) {
        battery.amperageMilliamps = std::llabs(*current) / 1000 * (discharging ? -1 : 1);
    } else if (power && voltage) {
        battery.amperageMilliamps = static_cast<std::int64_t>(std::llabs(*power) * 1000 / *voltage) * (discharging ? -1 : 1);
    }
    if (power)
        battery.powerWatts = static_cast<double>(std::llabs(*power)) / 1e6;
    else if (current && voltage)
        battery.powerWatts = static_cast<double>(std::llabs(*current)) * static_cast<double>(*voltage) / 1e12;

    // Tenths of a degree Celsius.
    if (auto temperature = attributes.number("temp"))
        battery.temperatureCelsius = static_cast<double>(*temperature) / 10.0;

    if (auto empty = attributes.positive("time_to_empty_now"))
        battery.timeToEmptySeconds = static_cast<double>(*empty);
    if (auto full = attributes.positive("time_to_full_now"))
        battery.timeToFullSeconds = static_cast<double>(*full);
    // Most drivers leave the estimates out; the charge left and the present rate give them.
    auto rate = battery.amperageMilliamps ? std::llabs(*battery.amperageMilliamps) : 0;
    if (rate > 0 && battery.currentCapacity) {
        if (discharging && !battery.timeToEmptySeconds)
            battery.timeToEmptySeconds = static_cast<double>(*battery.currentCapacity) / static_cast<double>(rate) * 3600.0;
        if (battery.isCharging() && !battery.timeToFullSeconds && battery.maximumCapacity
            && *battery.maximumCapacity >= *battery.currentCapacity)
            battery.timeToFullSeconds = static_cast<double>(*battery.maximumCapacity - *battery.currentCapacity) / static_cast<double>(rate) * 3600.0;
    }
    return battery;
}

} // namespace tarnel::platform
