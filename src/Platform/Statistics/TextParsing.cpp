#include "Platform/Statistics/TextParsing.h"

#include <charconv>
#include <cstdlib>

namespace tarnel::platform::text {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

template <typename Number>
std::optional<Number> parseWhole(std::string_view text, int base = 10)
{
    text = trim(text);
    if (text.empty())
        return std::nullopt;
    if (text.front() == '+')
        text.remove_prefix(1);
    Number value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace

std::vector<std::string_view> fields(std::string_view line)
{
    std::vector<std::string_view> result;
    size_t position = 0;
    while (position < line.size()) {
        while (position < line.size() && isSpace(line[position]))
            ++position;
        size_t start = position;
        while (position < line.size() && !isSpace(line[position]))
            ++position;
        if (position > start)
            result.push_back(line.substr(start, position - start));
    }
    return result;
}

std::vector<std::string_view> lines(std::string_view text)
{
    std::vector<std::string_view> result;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            end = text.size();
        result.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return result;
}

std::string_view trim(std::string_view text)
{
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

std::optional<std::uint64_t> parseUnsigned(std::string_view text)
{
    return parseWhole<std::uint64_t>(text);
}

std::optional<std::int64_t> parseSigned(std::string_view text)
{
    return parseWhole<std::int64_t>(text);
}

std::optional<std::uint32_t> parseHex32(std::string_view text)
{
    return parseWhole<std::uint32_t>(text, 16);
}

std::optional<double> parseDouble(std::string_view text)
{
    text = trim(text);
    if (text.empty())
        return std::nullopt;
    // /proc writes plain decimals in the C locale; strtod on a bounded copy keeps locale surprises out
    // because the daemon never changes LC_NUMERIC.
    std::string copy(text);
    char* end = nullptr;
    double value = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size())
        return std::nullopt;
    return value;
}

} // namespace tarnel::platform::text
