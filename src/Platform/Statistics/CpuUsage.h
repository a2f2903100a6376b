#pragma once

#include "Platform/Statistics/CpuTimesReader.h"

#include <optional>
#include <vector>

namespace tarnel::platform {

// Ticks of one interval folded into the four states the application shows, with their fractions.
// T is user + system + idle; nice stays outside it, as in the application's own CPU report,
// so that the daemon's figures and the report built from these ticks agree.
struct CpuUsage {
    std::uint64_t user = 0;   // user + guest
    std::uint64_t system = 0; // system + irq + softirq
    std::uint64_t idle = 0;   // idle + iowait
    std::uint64_t nice = 0;   // nice + guest_nice

    double userFraction() const { return fraction(user); }
    double systemFraction() const { return fraction(system); }
    double idleFraction() const { return fraction(idle); }
    double niceFraction() const { return fraction(nice); }
    double usageFraction() const { return fraction(user + system); }

private:
    double fraction(std::uint64_t part) const
    {
        auto t = user + system + idle;
        return t == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(t);
    }
};

struct CoreUsage {
    int core = 0;
    // Absent when the core was missing from one sample (taken offline) or its counters went back.
    std::optional<CpuUsage> usage;
};

struct CpuUsageInterval {
    std::optional<CpuUsage> total;
    std::vector<CoreUsage> cores; // one per core of the later sample
};

// The usage between two samples of /proc/stat. Steal time belongs to another guest and is left out.
CpuUsageInterval cpuUsageBetween(const CpuTimes& earlier, const CpuTimes& later);
std::optional<CpuUsage> cpuUsageBetween(const CpuTicks& earlier, const CpuTicks& later);

} // namespace tarnel::platform
