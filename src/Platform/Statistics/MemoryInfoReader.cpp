#include "Platform/Statistics/MemoryInfoReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <array>
#include <utility>

namespace tarnel::platform {

std::optional<std::uint64_t> MemoryInfo::swapUsedBytes() const
{
    if (!swapTotalBytes || !swapFreeBytes || *swapFreeBytes > *swapTotalBytes)
        return std::nullopt;
    return *swapTotalBytes - *swapFreeBytes;
}

MemoryInfo MemoryInfoReader::read() const
{
    auto path = root_.resolve("/proc/meminfo");
    return parse(SystemRoot::readRequiredText(path), path);
}

MemoryInfo MemoryInfoReader::parse(std::string_view contents, const std::filesystem::path& source)
{
    MemoryInfo info;
    const std::array<std::pair<std::string_view, std::optional<std::uint64_t> MemoryInfo::*>, 13> keys{{
        {"MemTotal", &MemoryInfo::totalBytes},
        {"MemFree", &MemoryInfo::freeBytes},
        {"MemAvailable", &MemoryInfo::availableBytes},
        {"Active", &MemoryInfo::activeBytes},
        {"Inactive", &MemoryInfo::inactiveBytes},
        {"AnonPages", &MemoryInfo::anonymousBytes},
        {"Cached", &MemoryInfo::cachedBytes},
        {"Unevictable", &MemoryInfo::unevictableBytes},
        {"Mlocked", &MemoryInfo::lockedBytes},
        {"Zswap", &MemoryInfo::compressedBytes},
        {"Zswapped", &MemoryInfo::compressedOriginalBytes},
        {"SwapTotal", &MemoryInfo::swapTotalBytes},
        {"SwapFree", &MemoryInfo::swapFreeBytes},
    }};
    for (auto line : text::lines(contents)) {
        auto colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        auto key = line.substr(0, colon);
        auto fields = text::fields(line.substr(colon + 1));
        // "<n> kB"; only the HugePages counters go without a unit, and they are not read.
        if (fields.size() != 2 || fields[1] != "kB")
            continue;
        auto kibibytes = text::parseUnsigned(fields[0]);
        if (!kibibytes || *kibibytes > UINT64_MAX / 1024)
            continue;
        for (const auto& [name, member] : keys) {
            if (key == name) {
                info.*member = *kibibytes * 1024;
                break;
            }
        }
    }
    if (!info.totalBytes)
        throw ReadError(source, "no readable MemTotal line");
    return info;
}

} // namespace tarnel::platform
