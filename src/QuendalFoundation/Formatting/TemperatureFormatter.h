#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace quendal {

enum class TemperatureUnitFormat { system, celsius, fahrenheit, kelvin };

inline constexpr std::array allTemperatureUnitFormats{TemperatureUnitFormat::system, TemperatureUnitFormat::celsius,
                                                      TemperatureUnitFormat::fahrenheit, TemperatureUnitFormat::kelvin};

std::string_view rawValue(TemperatureUnitFormat format);
// The localisation key of the unit's title and its English default.
std::string_view titleKey(TemperatureUnitFormat format);
std::string_view defaultTitle(TemperatureUnitFormat format);
// Unknown text reads as `system`.
TemperatureUnitFormat temperatureUnitFormat(std::string_view raw);

// Temperatures as the application shows them: rounded to whole degrees Celsius before any
// conversion, no fraction digits, the unit's usual symbol after a space.
class TemperatureFormatter {
public:
    static std::string string(double celsius, TemperatureUnitFormat format);
    static double value(double celsius, TemperatureUnitFormat format);
    static std::string unitText(TemperatureUnitFormat format);

    // What `system` means here: Fahrenheit in a United States locale, Celsius elsewhere.
    // The locale is read from LC_ALL, LC_MEASUREMENT and LANG unless given.
    static TemperatureUnitFormat systemUnit(std::optional<std::string> locale = std::nullopt);
};

} // namespace quendal
