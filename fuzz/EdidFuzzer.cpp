// libFuzzer entry for the EDID parser: whatever the bytes, parsing returns without reading out
// of bounds, and what it returns holds together.
#include "Platform/Display/Edid.h"

#include <cstdint>
#include <cstdlib>
#include <span>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tarnel::platform;
    const auto info = parseEdid(std::span<const std::uint8_t>(data, size));
    if (!info)
        return 0;
    if (size < edidBlockSize)
        std::abort();
    if (info->vendorID && info->vendorID->size() != 3)
        std::abort();
    if (info->manufactureWeek && (*info->manufactureWeek < 1 || *info->manufactureWeek > 54 || !info->manufactureYear))
        std::abort();
    if (info->modelYear && info->manufactureYear)
        std::abort();
    for (const auto* text : {&info->monitorName, &info->serialText}) {
        if (!*text)
            continue;
        if ((*text)->empty() || (*text)->size() > 13)
            std::abort();
        for (char c : **text) {
            if (c < 0x20 || c > 0x7E)
                std::abort();
        }
    }
    // Four descriptors in the base block and six in each extension at most.
    const std::size_t blocks = size / edidBlockSize;
    if (info->timings.size() > 4 + (blocks - 1) * 6)
        std::abort();
    for (const auto& timing : info->timings) {
        if (timing.width() == 0 || timing.height() == 0)
            std::abort();
        if (auto rate = timing.refreshRate(); rate && !(*rate > 0))
            std::abort();
    }
    return 0;
}
