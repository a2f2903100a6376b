#include "Platform/Statistics/MemoryPressureReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <algorithm>

namespace tarnel::platform {

namespace {

std::optional<PressureStall> parseStall(const std::vector<std::string_view>& fields)
{
    PressureStall stall;
    int seen = 0;
    for (size_t i = 1; i < fields.size(); ++i) {
        auto equals = fields[i].find('=');
        if (equals == std::string_view::npos)
            return std::nullopt;
        auto key = fields[i].substr(0, equals);
        auto value = fields[i].substr(equals + 1);
        if (key == "total") {
            auto total = text::parseUnsigned(value);
            if (!total)
                return std::nullopt;
            stall.totalMicroseconds = *total;
            seen |= 8;
            continue;
        }
        auto percent = text::parseDouble(value);
        if (!percent || *percent < 0)
            return std::nullopt;
        double clamped = std::min(*percent, 100.0);
        if (key == "avg10") {
            stall.average10 = clamped;
            seen |= 1;
        } else if (key == "avg60") {
            stall.average60 = clamped;
            seen |= 2;
        } else if (key == "avg300") {
            stall.average300 = clamped;
            seen |= 4;
        }
    }
    if (seen != 15)
        return std::nullopt;
    return stall;
}

} // namespace

std::optional<MemoryPressure> MemoryPressureReader::read() const
{
    auto contents = SystemRoot::readText(root_.resolve("/proc/pressure/memory"));
    if (!contents)
        return std::nullopt;
    return parse(*contents);
}

std::optional<MemoryPressure> MemoryPressureReader::parse(std::string_view contents)
{
    std::optional<PressureStall> some;
    std::optional<PressureStall> full;
    for (auto line : text::lines(contents)) {
        auto fields = text::fields(line);
        if (fields.empty())
            continue;
        if (fields[0] == "some")
            some = parseStall(fields);
        else if (fields[0] == "full")
            full = parseStall(fields);
    }
    if (!some)
        return std::nullopt;
    return MemoryPressure{*some, full};
}

} // namespace tarnel::platform
