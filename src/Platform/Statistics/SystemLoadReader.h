#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <optional>
#include <vector>

namespace tarnel::platform {

struct SystemLoad {
    std::optional<double> uptimeSeconds;      // /proc/uptime, first figure
    std::optional<double> idleSeconds;        // summed over cores
    std::vector<double> loadAverage;          // 1, 5 and 15 minutes; empty when unreadable
    std::optional<std::uint64_t> runnableTasks;
    std::optional<std::uint64_t> totalTasks;
};

// /proc/uptime and /proc/loadavg. Either file missing or malformed leaves its values absent.
class SystemLoadReader {
public:
    explicit SystemLoadReader(SystemRoot root = {}) : root_(std::move(root)) {}
    SystemLoad read() const;
    static void parseUptime(std::string_view text, SystemLoad& into);
    static void parseLoadAverage(std::string_view text, SystemLoad& into);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
