#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

// One battery of /sys/class/power_supply as the driver reports it, in the application's units.
// Capacities are in mAh: drivers that count charge (µAh) are divided down; drivers that count
// energy (µWh) are converted through the design minimum voltage, and stay absent without it.
struct BatteryState {
    std::string identifier;            // "BAT0"
    std::optional<std::string> manufacturer;
    std::optional<std::string> model;
    std::optional<std::string> serialNumber;
    std::optional<std::string> technology; // "Li-ion", "Li-poly"
    std::optional<std::string> status;     // "Charging", "Discharging", "Full", "Not charging", "Unknown"
    std::optional<int> capacityPercent;
    std::optional<std::int64_t> currentCapacity;  // mAh
    std::optional<std::int64_t> maximumCapacity;  // mAh, full charge today
    std::optional<std::int64_t> designCapacity;   // mAh
    std::optional<std::int64_t> cycleCount;
    std::optional<std::int64_t> voltageMillivolts;
    // Negative while discharging, whatever sign the driver writes.
    std::optional<std::int64_t> amperageMilliamps;
    std::optional<double> powerWatts;
    std::optional<double> temperatureCelsius;
    std::optional<double> timeToEmptySeconds;
    std::optional<double> timeToFullSeconds;
    bool present = true;
    // Full over design straight from the driver's counters (energy or charge), so health is
    // known even where no design voltage turns energy into mAh.
    std::optional<double> fullOverDesign;

    bool isCharging() const { return status == "Charging"; }
    // Full charge over design capacity in mAh, else the counters' own ratio.
    std::optional<double> healthFraction() const;
};

struct PowerSupplies {
    std::vector<BatteryState> batteries;  // system batteries only: a mouse's battery is no source of this machine
    std::optional<bool> externalPowerOnline; // absent when the machine reports no mains adapter
};

class PowerSupplyReader {
public:
    explicit PowerSupplyReader(SystemRoot root = {}) : root_(std::move(root)) {}
    PowerSupplies read() const;
    BatteryState readBattery(const std::string& identifier) const;

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
