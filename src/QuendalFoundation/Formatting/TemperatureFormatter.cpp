#include "QuendalFoundation/Formatting/TemperatureFormatter.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace quendal {

namespace {
struct UnitTexts {
    std::string_view raw, titleKey, title;
};
constexpr std::array<UnitTexts, 4> texts{{
    {"system", "settings_temperature_system", "System"},
    {"celsius", "settings_temperature_celsius", "Celsius"},
    {"fahrenheit", "settings_temperature_fahrenheit", "Fahrenheit"},
    {"kelvin", "settings_temperature_kelvin", "Kelvin"},
}};
const UnitTexts& textsOf(TemperatureUnitFormat format) { return texts[static_cast<std::size_t>(format)]; }
} // namespace

std::string_view rawValue(TemperatureUnitFormat format) { return textsOf(format).raw; }
std::string_view titleKey(TemperatureUnitFormat format) { return textsOf(format).titleKey; }
std::string_view defaultTitle(TemperatureUnitFormat format) { return textsOf(format).title; }

TemperatureUnitFormat temperatureUnitFormat(std::string_view raw)
{
    for (auto f : allTemperatureUnitFormats)
        if (rawValue(f) == raw)
            return f;
    return TemperatureUnitFormat::system;
}

TemperatureUnitFormat TemperatureFormatter::systemUnit(std::optional<std::string> locale)
{
    if (!locale) {
        for (const char* variable : {"LC_ALL", "LC_MEASUREMENT", "LANG"}) {
            if (const char* value = std::getenv(variable); value && *value) {
                locale = value;
                break;
            }
        }
    }
    if (locale && locale->find("_US") != std::string::npos)
        return TemperatureUnitFormat::fahrenheit;
    return TemperatureUnitFormat::celsius;
}

std::string TemperatureFormatter::string(double celsius, TemperatureUnitFormat format)
{
    const double rounded = std::round(celsius);
    if (format == TemperatureUnitFormat::system)
        format = systemUnit();
    double shown = rounded;
    const char* symbol = "°C";
    switch (format) {
    case TemperatureUnitFormat::fahrenheit:
        shown = rounded * 9.0 / 5.0 + 32.0;
        symbol = "°F";
        break;
    case TemperatureUnitFormat::kelvin:
        shown = rounded + 273.15;
        symbol = "K";
        break;
    default:
        break;
    }
    shown = std::round(shown);
    if (shown == 0)
        shown = 0; // no "-0"
    return fmt::format("{:.0f} {}", shown, symbol);
}

double TemperatureFormatter::value(double celsius, TemperatureUnitFormat format)
{
    const auto text = string(celsius, format);
    const auto piece = std::string_view(text).substr(0, text.find_first_of(" \t\n"));
    double v = 0;
    auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), v);
    if (error != std::errc() || end != piece.data() + piece.size())
        return 0;
    return v;
}

std::string TemperatureFormatter::unitText(TemperatureUnitFormat format) { return string(0, format); }

} // namespace quendal
