#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tarnel::platform {

// The cheap figures of one process, read for every process on every sample.
struct ProcessSample {
    pid_t pid = 0;
    pid_t parentPid = 0;
    std::string name;            // the kernel's command name, at most 15 characters
    char state = '?';
    bool isKernelThread = false;
    std::uint64_t cpuTicks = 0;  // utime + stime, in clock ticks
    std::uint64_t startTicks = 0; // start time after boot, in clock ticks; tells a reused pid apart
    std::uint64_t residentBytes = 0;
    std::uint64_t sharedBytes = 0; // resident pages backed by files or shared memory

    // Resident memory that is the process's own.
    std::uint64_t privateBytes() const { return residentBytes > sharedBytes ? residentBytes - sharedBytes : 0; }
    // Stable across samples, unlike the pid alone.
    std::string identifier() const;
};

// What is read only for the few processes that are shown.
struct ProcessDetails {
    std::optional<std::string> executablePath; // absent for kernel threads and processes we may not inspect
    std::vector<std::string> commandLine;
    std::string displayName;                   // the executable's name where the command name was cut short
    std::optional<std::string> applicationPath;
};

// /proc/<pid>/stat and statm for every process, /proc/<pid>/exe, cmdline and the owning application on demand.
// Processes that vanish between listing and reading are left out without a word.
class ProcessReader {
public:
    explicit ProcessReader(SystemRoot root = {}, std::uint64_t pageSize = systemPageSize());
    std::vector<ProcessSample> readAll() const;
    std::optional<ProcessSample> read(pid_t pid) const;
    ProcessDetails details(const ProcessSample& process) const;

    static std::optional<ProcessSample> parse(std::string_view stat, std::string_view statm, std::uint64_t pageSize);
    static std::uint64_t systemPageSize();
    static std::uint64_t clockTicksPerSecond();

private:
    SystemRoot root_;
    std::uint64_t pageSize_;
};

} // namespace tarnel::platform
