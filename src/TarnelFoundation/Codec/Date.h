#pragma once

#include <array>
#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// An instant, kept as seconds since 2001-01-01 00:00:00 UTC: the form it has on the wire.
struct Date {
    double secondsSinceReferenceDate = 0;

    static constexpr double referenceDateUnixSeconds = 978307200.0;

    static Date now();
    static Date fromUnixSeconds(double seconds) { return {seconds - referenceDateUnixSeconds}; }
    static Date distantPast() { return {-63114076800.0}; }
    double unixSeconds() const { return secondsSinceReferenceDate + referenceDateUnixSeconds; }

    friend auto operator<=>(const Date&, const Date&) = default;
};

// A 128-bit identifier; its text is the upper-case 8-4-4-4-12 form.
struct UUID {
    std::array<std::uint8_t, 16> bytes{};

    static UUID random();
    static std::optional<UUID> parse(std::string_view text);
    std::string text() const;

    friend auto operator<=>(const UUID&, const UUID&) = default;
};

} // namespace tarnel
