// libFuzzer entry for the smartctl document reader and the health judge: whatever smartctl
// printed, reading yields a report or nothing, and judging a report never fails.
#include "Statistics/SmartHealth.h"

#include "Platform/Hardware/SmartctlReport.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tarnel;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    auto report = platform::parseSmartctlJson(text);
    if (!report)
        return 0;
    auto judged = daemon::judgeSmartReport("fuzz", *report, Date());
    if (judged.healthPercentage > 100)
        std::abort();
    if (!report->hasHealthData() && judged.status != StatsHealthStatus::missing)
        std::abort();
    return 0;
}
