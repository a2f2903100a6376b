#include "TarnelFoundation/Statistics/UsageReports.h"
#include "TarnelFoundation/Codec/Record.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <array>

namespace tarnel {

TARNEL_RECORD(CPUUsageSample, user, system, idle, nice, userFraction, systemFraction, idleFraction, niceFraction,
              usageFraction)
TARNEL_RECORD(CPUUsageReport, cores, total, timestamp)
TARNEL_RECORD(RAMUsageSample, wired, active, appMemory, compressed, available, used, wiredFraction, activeFraction,
              appMemoryFraction, compressedFraction, availableFraction, usedFraction, pressureFraction)
TARNEL_RECORD(SwapUsageSample, total, used, free, fractionUsed, formattedValue)
TARNEL_RECORD(RAMUsageReport, swapUsage, ramUsage, timestamp)

CPUUsageSample CPUUsageSample::fromTicks(std::uint64_t user, std::uint64_t system, std::uint64_t idle, std::uint64_t nice)
{
    CPUUsageSample s{user, system, idle, nice};
    const auto t = user + system + idle;
    if (t == 0)
        return s;
    const auto total = static_cast<double>(t);
    s.userFraction = static_cast<double>(user) / total;
    s.systemFraction = static_cast<double>(system) / total;
    s.idleFraction = static_cast<double>(idle) / total;
    s.niceFraction = static_cast<double>(nice) / total;
    s.usageFraction = static_cast<double>(user + system) / total;
    return s;
}

CPUUsageReport CPUUsageReport::fromCores(std::vector<CPUUsageSample> cores, double timestamp)
{
    std::uint64_t user = 0, system = 0, idle = 0, nice = 0;
    for (const auto& c : cores) {
        user += c.user;
        system += c.system;
        idle += c.idle;
        nice += c.nice;
    }
    return {std::move(cores), CPUUsageSample::fromTicks(user, system, idle, nice), timestamp};
}

std::string_view RAMUsageSample::rawValue(UsageType type)
{
    static constexpr std::array<std::string_view, 7> raw{"wired", "active", "appMemory", "compressed", "available", "used", "pressure"};
    return raw[static_cast<std::size_t>(type)];
}

std::string_view RAMUsageSample::title(UsageType type)
{
    static constexpr std::array<std::string_view, 7> titles{"Wired", "Active", "App Memory", "Compressed", "Available", "Used", "Pressure"};
    return titles[static_cast<std::size_t>(type)];
}

SwapUsageSample SwapUsageSample::make(std::uint64_t total, std::uint64_t used, std::uint64_t free)
{
    SwapUsageSample s{total, used, free};
    s.fractionUsed = total == 0 ? 0 : static_cast<double>(used) / static_cast<double>(total);
    s.formattedValue = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(used)) + " / " +
                       quendal::ByteCountFormatter::string(static_cast<std::int64_t>(total));
    return s;
}

} // namespace tarnel
