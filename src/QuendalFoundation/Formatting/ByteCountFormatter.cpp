#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdlib>

namespace quendal {

std::string ByteCountFormatter::string(std::int64_t bytes, CountStyle style)
{
    if (bytes == 0)
        return "Zero KB";
    const double base = style == CountStyle::decimal ? 1000.0 : 1024.0;
    const auto magnitude = static_cast<double>(std::llabs(bytes));
    const char* sign = bytes < 0 ? "-" : "";
    if (magnitude < base)
        return fmt::format("{}{} {}", sign, static_cast<long long>(magnitude), magnitude == 1 ? "byte" : "bytes");
    static constexpr std::array units{"KB", "MB", "GB", "TB", "PB", "EB"};
    double value = magnitude / base;
    std::size_t unit = 0;
    while (unit + 1 < units.size()) {
        // Move up a unit when rounding at this unit's precision would show 1000 or more.
        const int digits = unit == 0 ? 0 : unit == 1 ? 1 : 2;
        const double scale = std::pow(10.0, digits);
        if (std::round(value * scale) / scale < base)
            break;
        value /= base;
        ++unit;
    }
    const int digits = unit == 0 ? 0 : unit == 1 ? 1 : 2;
    std::string number = fmt::format("{:.{}f}", value, digits);
    if (number.find('.') != std::string::npos) {
        while (number.back() == '0')
            number.pop_back();
        if (number.back() == '.')
            number.pop_back();
    }
    return fmt::format("{}{} {}", sign, number, units[unit]);
}

} // namespace quendal
