#pragma once

#include <cstdint>

namespace tarnel {

// The mean speeds of one finished run.
struct BenchResult {
    std::uint64_t readBytesPerSecond = 0;
    std::uint64_t writeBytesPerSecond = 0;
    friend bool operator==(const BenchResult&, const BenchResult&) = default;
};

} // namespace tarnel
