#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnel::platform {

// Cumulative counters of one line of /proc/diskstats.
struct DiskCounters {
    unsigned major = 0;
    unsigned minor = 0;
    std::string name;
    std::uint64_t readsCompleted = 0;
    std::uint64_t sectorsRead = 0;       // always 512-byte units, whatever the device's sector size
    std::uint64_t readMilliseconds = 0;  // summed over requests, so it can exceed the interval
    std::uint64_t writesCompleted = 0;
    std::uint64_t sectorsWritten = 0;
    std::uint64_t writeMilliseconds = 0;
    std::uint64_t ioMilliseconds = 0;    // wall time with at least one request in flight
};

// /proc/diskstats. Lines cut short are skipped; a missing file is a ReadError.
class DiskStatsReader {
public:
    explicit DiskStatsReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::vector<DiskCounters> read() const;
    // Only the physical whole disks: those in /sys/block whose device is not virtual (loop, zram, dm).
    std::vector<DiskCounters> readDrives() const;
    static std::vector<DiskCounters> parse(std::string_view text);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
