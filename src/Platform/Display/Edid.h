#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tarnel::platform {

// One 18-byte detailed timing descriptor: the display's own statement of a mode it shows.
struct EdidDetailedTiming {
    std::uint32_t pixelClockKilohertz = 0;
    std::uint32_t horizontalActive = 0;
    std::uint32_t horizontalBlanking = 0;
    std::uint32_t verticalActive = 0;   // lines per field when interlaced
    std::uint32_t verticalBlanking = 0;
    std::uint32_t imageWidthMillimeters = 0; // 0 when the display leaves it out
    std::uint32_t imageHeightMillimeters = 0;
    bool interlaced = false;

    std::uint32_t width() const { return horizontalActive; }
    // Lines of the whole frame: an interlaced timing states one field.
    std::uint32_t height() const { return interlaced ? verticalActive * 2 : verticalActive; }
    // Fields per second; absent when the totals are zero.
    std::optional<double> refreshRate() const;

    friend bool operator==(const EdidDetailedTiming&, const EdidDetailedTiming&) = default;
};

// What the EDID base block, and the timings of its CTA-861 extensions, say about a display.
struct EdidInfo {
    std::optional<std::string> vendorID;      // three-letter PNP id, absent when a letter is out of range
    std::uint16_t productCode = 0;
    std::optional<std::uint32_t> serialNumber; // absent when the display writes 0
    std::optional<std::uint32_t> manufactureWeek; // 1...54
    std::optional<std::uint32_t> manufactureYear;
    std::optional<std::uint32_t> modelYear;   // given instead of a manufacture date (week 0xFF)
    std::uint32_t version = 0;
    std::uint32_t revision = 0;
    bool isDigital = false;
    std::optional<std::uint32_t> bitsPerColor; // digital inputs of version 1.4 only
    std::optional<std::uint32_t> widthCentimeters; // absent when unknown or an aspect ratio only
    std::optional<std::uint32_t> heightCentimeters;
    std::optional<std::string> monitorName;   // descriptor 0xFC
    std::optional<std::string> serialText;    // descriptor 0xFF
    // The base block's timings first (the first of them is the preferred mode), then those of
    // every CTA-861 extension whose checksum holds.
    std::vector<EdidDetailedTiming> timings;
    // A wrong base-block sum is noted, not fatal: the kernel drops base blocks it cannot read,
    // so one that reaches sysfs with a bad sum is a display whose vendor patched a field
    // (usually the serial) without redoing the sum, and the rest of the block is still right.
    bool checksumValid = false;

    const EdidDetailedTiming* preferredTiming() const { return timings.empty() ? nullptr : &timings.front(); }

    friend bool operator==(const EdidInfo&, const EdidInfo&) = default;
};

inline constexpr std::size_t edidBlockSize = 128;

// The EDID in the bytes, which may carry extension blocks after the base block. Absent when the
// bytes are shorter than one block or the fixed header is wrong; anything else that makes no
// sense leaves only its own field absent.
std::optional<EdidInfo> parseEdid(std::span<const std::uint8_t> bytes);

} // namespace tarnel::platform
