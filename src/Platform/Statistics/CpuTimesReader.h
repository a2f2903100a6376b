#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tarnel::platform {

// Cumulative ticks of one processor line of /proc/stat, in USER_HZ.
struct CpuTicks {
    std::uint64_t user = 0;    // includes guest time
    std::uint64_t nice = 0;    // includes guest_nice time
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t iowait = 0;
    std::uint64_t irq = 0;
    std::uint64_t softirq = 0;
    std::uint64_t steal = 0;

    bool operator==(const CpuTicks&) const = default;
};

struct CoreTicks {
    int core = 0; // N of "cpuN"; cores taken offline leave gaps
    CpuTicks ticks;
    bool operator==(const CoreTicks&) const = default;
};

struct CpuTimes {
    CpuTicks total;
    std::vector<CoreTicks> cores; // ordered by core number
    std::optional<std::int64_t> bootTime; // seconds since the epoch ("btime")
};

// /proc/stat. Lines that are cut short or hold no numbers are skipped; a file without the
// total line is a ReadError.
class CpuTimesReader {
public:
    explicit CpuTimesReader(SystemRoot root = {}) : root_(std::move(root)) {}
    CpuTimes read() const;
    static CpuTimes parse(std::string_view text, const std::filesystem::path& source);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
