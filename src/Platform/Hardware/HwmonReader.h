#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

struct HwmonTemperature {
    int channel = 0;                 // N of tempN_input
    std::optional<std::string> label; // tempN_label as the driver names it
    std::optional<double> celsius;
    std::optional<double> maximumCelsius;
    std::optional<double> criticalCelsius;
};

struct HwmonFan {
    int channel = 0;
    std::optional<std::string> label;
    std::optional<double> rpm;
    std::optional<double> minimumRPM;
    std::optional<double> maximumRPM;
    std::optional<double> targetRPM;
};

// One chip of /sys/class/hwmon: a driver instance with its temperature and fan channels.
struct HwmonChip {
    std::string directory;             // "hwmon3": not stable across boots
    std::string name;                  // "coretemp", "nvme", "amdgpu"
    std::optional<std::string> device; // the device the chip belongs to ("0000:03:00.0", "nvme0", "coretemp.0")
    std::vector<HwmonTemperature> temperatures;
    std::vector<HwmonFan> fans;

    // Stable across boots: the driver and the device, not the hwmon number.
    std::string stableIdentifier() const;
};

class HwmonReader {
public:
    explicit HwmonReader(SystemRoot root = {}) : root_(std::move(root)) {}
    // Chips in a stable order (by name, then device); channels by number. A channel whose
    // input cannot be read (a sensor that sleeps, a vanished chip) keeps its label without a value.
    std::vector<HwmonChip> read() const;

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
