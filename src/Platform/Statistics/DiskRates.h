#pragma once

#include "Platform/Statistics/DiskStatsReader.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

// Per-second rates of one drive over an interval, one per storage statistic the application shows.
// Times are in seconds. Latency is absent when no request completed; errors and retries are always
// absent because the Linux block layer does not count them.
struct DiskRates {
    std::string name;
    double readOperations = 0;
    double writeOperations = 0;
    double readBytes = 0;
    double writeBytes = 0;
    std::optional<double> readLatency;  // seconds per completed read
    std::optional<double> writeLatency; // seconds per completed write
    double readTotalTime = 0;           // seconds spent on reads per second of the interval
    double writeTotalTime = 0;
    std::optional<double> readErrors;
    std::optional<double> writeErrors;
    std::optional<double> readRetries;
    std::optional<double> writeRetries;
};

// Rates of the drives in both samples, matched by device number and name. A drive whose counters
// went back (detached and attached again) is left out for this interval, as is everything when the
// interval has no length.
std::vector<DiskRates> diskRatesBetween(const std::vector<DiskCounters>& earlier,
    const std::vector<DiskCounters>& later, double elapsedSeconds);

} // namespace tarnel::platform
