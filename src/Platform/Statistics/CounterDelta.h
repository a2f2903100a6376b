#pragma once

#include <cstdint>
#include <optional>

namespace tarnel::platform {

// The growth of a monotonic counter between two readings; absent when it went back, which means
// the counter was reset (a device re-attached, a driver reloaded) and the interval says nothing.
inline std::optional<std::uint64_t> counterDelta(std::uint64_t previous, std::uint64_t current)
{
    if (current < previous)
        return std::nullopt;
    return current - previous;
}

// The growth of a counter that wraps to 0 after reaching `range` (inclusive), as RAPL energy does.
// A reading above the range is nonsense and gives absent.
inline std::optional<std::uint64_t> wrappingDelta(std::uint64_t previous, std::uint64_t current, std::uint64_t range)
{
    if (previous > range || current > range)
        return std::nullopt;
    if (current >= previous)
        return current - previous;
    return range - previous + current + 1;
}

} // namespace tarnel::platform
