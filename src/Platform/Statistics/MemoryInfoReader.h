#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>

namespace tarnel::platform {

// /proc/meminfo in bytes. Every field is absent when the kernel does not write its line.
struct MemoryInfo {
    std::optional<std::uint64_t> totalBytes;
    std::optional<std::uint64_t> freeBytes;
    std::optional<std::uint64_t> availableBytes;
    std::optional<std::uint64_t> activeBytes;
    std::optional<std::uint64_t> inactiveBytes;
    std::optional<std::uint64_t> anonymousBytes;    // AnonPages: what applications hold themselves
    std::optional<std::uint64_t> cachedBytes;
    std::optional<std::uint64_t> unevictableBytes;
    std::optional<std::uint64_t> lockedBytes;       // Mlocked, a part of Unevictable
    std::optional<std::uint64_t> compressedBytes;   // Zswap: the pool's own size
    std::optional<std::uint64_t> compressedOriginalBytes; // Zswapped: what the pool holds, uncompressed
    std::optional<std::uint64_t> swapTotalBytes;
    std::optional<std::uint64_t> swapFreeBytes;

    // Pages the kernel will not reclaim. Locked pages live on the unevictable list, so they are
    // counted once: Unevictable, or Mlocked where a kernel writes only that.
    std::optional<std::uint64_t> wiredBytes() const { return unevictableBytes ? unevictableBytes : lockedBytes; }
    std::optional<std::uint64_t> swapUsedBytes() const;
};

// /proc/meminfo. Lines that do not parse are skipped; a file without MemTotal is a ReadError.
class MemoryInfoReader {
public:
    explicit MemoryInfoReader(SystemRoot root = {}) : root_(std::move(root)) {}
    MemoryInfo read() const;
    static MemoryInfo parse(std::string_view text, const std::filesystem::path& source);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
