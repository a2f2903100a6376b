#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::platform::text {

// Whitespace-separated fields of one line.
std::vector<std::string_view> fields(std::string_view line);
// Lines without their line ends; a last line without a line end is kept.
std::vector<std::string_view> lines(std::string_view text);
std::string_view trim(std::string_view text);

// The whole text as a number; absent when anything but the number is there.
std::optional<std::uint64_t> parseUnsigned(std::string_view text);
std::optional<std::int64_t> parseSigned(std::string_view text);
std::optional<double> parseDouble(std::string_view text);
// A hexadecimal number without prefix.
std::optional<std::uint32_t> parseHex32(std::string_view text);

} // namespace tarnel::platform::text
