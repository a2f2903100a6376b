#pragma once

#include "Platform/Statistics/ProcessReader.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnel::platform {

struct ProcessCpuUsage {
    ProcessSample process;
    std::uint64_t ticks = 0; // CPU ticks spent in the interval
    double coreFraction = 0; // of one core; a process busy on two cores reads 2
};

// The CPU each process of the later sample used since the earlier one. A process is matched by pid
// and start time, so a reused pid counts as new; a new process spent all its ticks in the interval.
// Processes that ended in between are simply not in the result. Nothing is returned for an interval
// of no length.
std::vector<ProcessCpuUsage> processCpuUsageBetween(const std::vector<ProcessSample>& earlier,
    const std::vector<ProcessSample>& later, double elapsedSeconds,
    std::uint64_t ticksPerSecond = ProcessReader::clockTicksPerSecond());

// The `count` busiest processes, busiest first; equal usage goes to the lower pid, so the order is stable.
std::vector<ProcessCpuUsage> topByCpu(std::vector<ProcessCpuUsage> usages, std::size_t count);
// The `count` processes with the most resident memory, largest first; ties to the lower pid.
std::vector<ProcessSample> topByResidentMemory(std::vector<ProcessSample> processes, std::size_t count);
// The same by memory that is the process's own (resident less shared).
std::vector<ProcessSample> topByPrivateMemory(std::vector<ProcessSample> processes, std::size_t count);

} // namespace tarnel::platform
