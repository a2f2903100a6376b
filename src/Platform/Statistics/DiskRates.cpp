#include "Platform/Statistics/DiskRates.h"

#include "Platform/Statistics/CounterDelta.h"

#include <algorithm>

namespace tarnel::platform {

namespace {

constexpr double bytesPerSector = 512;

std::optional<DiskRates> ratesOf(const DiskCounters& before, const DiskCounters& after, double seconds)
{
    auto reads = counterDelta(before.readsCompleted, after.readsCompleted);
    auto writes = counterDelta(before.writesCompleted, after.writesCompleted);
    auto sectorsRead = counterDelta(before.sectorsRead, after.sectorsRead);
    auto sectorsWritten = counterDelta(before.sectorsWritten, after.sectorsWritten);
    auto readTime = counterDelta(before.readMilliseconds, after.readMilliseconds);
    auto writeTime = counterDelta(before.writeMilliseconds, after.writeMilliseconds);
    if (!reads || !writes || !sectorsRead || !sectorsWritten || !readTime || !writeTime)
        return std::nullopt;
    DiskRates rates;
    rates.name = after.name;
    rates.readOperations = static_cast<double>(*reads) / seconds;
    rates.writeOperations = static_cast<double>(*writes) / seconds;
    rates.readBytes = static_cast<double>(*sectorsRead) * bytesPerSector / seconds;
    rates.writeBytes = static_cast<double>(*sectorsWritten) * bytesPerSector / seconds;
    double readSeconds = static_cast<double>(*readTime) / 1000.0;
    double writeSeconds = static_cast<double>(*writeTime) / 1000.0;
    if (*reads > 0)
        rates.readLatency = readSeconds / static_cast<double>(*reads);
    if (*writes > 0)
        rates.writeLatency = writeSeconds / static_cast<double>(*writes);
    rates.readTotalTime = readSeconds / seconds;
    rates.writeTotalTime = writeSeconds / seconds;
    return rates;
}

} // namespace

std::vector<DiskRates> diskRatesBetween(const std::vector<DiskCounters>& earlier,
    const std::vector<DiskCounters>& later, double elapsedSeconds)
{
    std::vector<DiskRates> result;
    if (!(elapsedSeconds > 0))
        return result;
    for (const auto& after : later) {
        auto before = std::find_if(earlier.begin(), earlier.end(), [&](const DiskCounters& candidate) {
            return candidate.major == after.major && candidate.minor == after.minor && candidate.name == after.name;
        });
        if (before == earlier.end())
            continue;
        if (auto rates = ratesOf(*before, after, elapsedSeconds))
            result.push_back(std::move(*rates));
    }
    return result;
}

} // namespace tarnel::platform
