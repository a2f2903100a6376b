#pragma once

#include "TarnelFoundation/Codec/CodecFwd.h"
#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

struct CPUUsageSample {
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t nice = 0;
    double userFraction = 0;
    double systemFraction = 0;
    double idleFraction = 0;
    double niceFraction = 0;
    double usageFraction = 0;

    // The fractions over T = user + system + idle (nice is not part of T); all 0 when T is 0.
    static CPUUsageSample fromTicks(std::uint64_t user, std::uint64_t system, std::uint64_t idle, std::uint64_t nice);
    friend bool operator==(const CPUUsageSample&, const CPUUsageSample&) = default;
};
TARNEL_CODABLE(CPUUsageSample);

struct CPUUsageReport {
    std::vector<CPUUsageSample> cores;
    CPUUsageSample total;
    double timestamp = 0;

    // `total` sums the cores' ticks and computes its fractions from the sums.
    static CPUUsageReport fromCores(std::vector<CPUUsageSample> cores, double timestamp);
    friend bool operator==(const CPUUsageReport&, const CPUUsageReport&) = default;
};
TARNEL_CODABLE(CPUUsageReport);

struct RAMUsageSample {
    enum class UsageType { wired, active, appMemory, compressed, available, used, pressure };
    static std::string_view rawValue(UsageType type);
    static std::string_view title(UsageType type);

    std::uint64_t wired = 0;
    std::uint64_t active = 0;
    std::uint64_t appMemory = 0;
    std::uint64_t compressed = 0;
    std::uint64_t available = 0;
    std::uint64_t used = 0;
    double wiredFraction = 0;
    double activeFraction = 0;
    double appMemoryFraction = 0;
    double compressedFraction = 0;
    double availableFraction = 0;
    double usedFraction = 0;
    double pressureFraction = 0;
    friend bool operator==(const RAMUsageSample&, const RAMUsageSample&) = default;
};
TARNEL_CODABLE(RAMUsageSample);

struct SwapUsageSample {
    std::uint64_t total = 0;
    std::uint64_t used = 0;
    std::uint64_t free = 0;
    double fractionUsed = 0;
    std::string formattedValue; // "<used> / <total>"

    static SwapUsageSample make(std::uint64_t total, std::uint64_t used, std::uint64_t free);
    friend bool operator==(const SwapUsageSample&, const SwapUsageSample&) = default;
};
TARNEL_CODABLE(SwapUsageSample);

struct RAMUsageReport {
    SwapUsageSample swapUsage;
    RAMUsageSample ramUsage;
    double timestamp = 0;
    friend bool operator==(const RAMUsageReport&, const RAMUsageReport&) = default;
};
TARNEL_CODABLE(RAMUsageReport);

} // namespace tarnel
