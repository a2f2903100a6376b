#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>

namespace tarnel::platform {

// One line of a pressure stall file: the share of time tasks waited, averaged over 10, 60 and 300 s.
struct PressureStall {
    double average10 = 0;  // percent
    double average60 = 0;  // percent
    double average300 = 0; // percent
    std::uint64_t totalMicroseconds = 0;
};

struct MemoryPressure {
    PressureStall some;                // at least one task waited for memory
    std::optional<PressureStall> full; // every non-idle task waited at once

    // The pressure the application shows: the short "some" average as 0 to 1.
    double fraction() const { return some.average10 / 100.0; }
};

// /proc/pressure/memory; absent when the kernel has no pressure accounting or the file is malformed.
class MemoryPressureReader {
public:
    explicit MemoryPressureReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::optional<MemoryPressure> read() const;
    static std::optional<MemoryPressure> parse(std::string_view text);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
