#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

// One RAPL zone of /sys/class/powercap: a processor package, its cores, its memory, the platform.
struct EnergyCounter {
    std::string identifier;           // "intel-rapl:0", "intel-rapl:0:1"
    std::optional<std::string> name;  // "package-0", "core", "dram", "psys"
    std::uint64_t energyMicrojoules = 0;
    std::uint64_t rangeMicrojoules = 0; // the counter wraps to 0 after this
    bool isTopLevel() const;          // a package or the platform, whose figures do not overlap
};

// The RAPL zones whose counters this process may read; recent kernels let only root read them,
// so an unprivileged session daemon gets none.
class EnergyCounterReader {
public:
    explicit EnergyCounterReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::vector<EnergyCounter> read() const;

private:
    SystemRoot root_;
};

struct ZonePower {
    std::string identifier;
    std::optional<std::string> name;
    double watts = 0;
};

// Average power of each zone in both samples, across one wrap of its counter.
std::vector<ZonePower> powerBetween(const std::vector<EnergyCounter>& earlier,
    const std::vector<EnergyCounter>& later, double elapsedSeconds);

// The machine's power: the platform zone where there is one, since it covers the packages;
// else the sum of the packages. Absent without any top-level zone.
std::optional<double> machinePowerWatts(const std::vector<ZonePower>& zones);

} // namespace tarnel::platform
