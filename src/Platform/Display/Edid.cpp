#include "Platform/Display/Edid.h"

#include <algorithm>
#include <array>

namespace tarnel::platform {

namespace {

using Block = std::span<const std::uint8_t, edidBlockSize>;

constexpr std::array<std::uint8_t, 8> header = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr std::size_t descriptorSize = 18;
constexpr std::size_t firstDescriptor = 54;
constexpr std::size_t descriptorCount = 4;
constexpr std::uint8_t ctaExtensionTag = 0x02;
// EDID appeared in 1994, so the year byte 0 (1990) is a display that gave no year.
constexpr std::uint32_t yearBase = 1990;

bool sumIsZero(Block block)
{
    std::uint8_t sum = 0;
    for (auto byte : block)
        sum = static_cast<std::uint8_t>(sum + byte);
    return sum == 0;
}

std::optional<std::string> vendorLetters(std::uint8_t high, std::uint8_t low)
{
    const std::uint32_t packed = (std::uint32_t(high) << 8) | low;
    std::string letters;
    for (int shift : {10, 5, 0}) {
        const std::uint32_t code = (packed >> shift) & 0x1F;
        if (code < 1 || code > 26)
            return std::nullopt;
        letters.push_back(static_cast<char>('A' + code - 1));
    }
    return letters;
}

// Descriptor text: up to 13 bytes, ended by a line feed and padded with blanks.
std::optional<std::string> descriptorText(std::span<const std::uint8_t> payload)
{
    std::string text;
    for (auto byte : payload) {
        if (byte == 0x0A || byte == 0x00)
            break;
        // Anything outside printable ASCII is damage, not a character.
        text.push_back(byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '?');
    }
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    const auto firstNonBlank = text.find_first_not_of(' ');
    if (firstNonBlank == std::string::npos)
        return std::nullopt;
    return text.substr(firstNonBlank);
}

EdidDetailedTiming detailedTiming(std::span<const std::uint8_t, descriptorSize> d)
{
    EdidDetailedTiming timing;
    timing.pixelClockKilohertz = (std::uint32_t(d[0]) | std::uint32_t(d[1]) << 8) * 10;
    timing.horizontalActive = d[2] | std::uint32_t(d[4] & 0xF0) << 4;
    timing.horizontalBlanking = d[3] | std::uint32_t(d[4] & 0x0F) << 8;
    timing.verticalActive = d[5] | std::uint32_t(d[7] & 0xF0) << 4;
    timing.verticalBlanking = d[6] | std::uint32_t(d[7] & 0x0F) << 8;
    timing.imageWidthMillimeters = d[12] | std::uint32_t(d[14] & 0xF0) << 4;
    timing.imageHeightMillimeters = d[13] | std::uint32_t(d[14] & 0x0F) << 8;
    timing.interlaced = (d[17] & 0x80) != 0;
    return timing;
}

bool isTiming(std::span<const std::uint8_t, descriptorSize> d) { return d[0] != 0 || d[1] != 0; }

void readDescriptors(Block block, EdidInfo& info)
{
    for (std::size_t i = 0; i < descriptorCount; ++i) {
        const auto d = block.subspan(firstDescriptor + i * descriptorSize).first<descriptorSize>();
        if (isTiming(d)) {
            auto timing = detailedTiming(d);
            if (timing.horizontalActive > 0 && timing.verticalActive > 0)
                info.timings.push_back(timing);
            continue;
        }
        // A display descriptor: 00 00 00 tag 00, then 13 bytes of payload.
        const auto tag = d[3];
        if (tag == 0xFC && !info.monitorName)
            info.monitorName = descriptorText(d.subspan<5>());
        else if (tag == 0xFF && !info.serialText)
            info.serialText = descriptorText(d.subspan<5>());
    }
}

// CTA-861: byte 2 is where the detailed timings begin (0 when there are none), and they run
// until a zero pixel clock or the checksum byte.
void readCtaTimings(Block block, EdidInfo& info)
{
    const std::size_t start = block[2];
    if (start < 4)
        return;
    for (std::size_t offset = start; offset + descriptorSize <= edidBlockSize - 1; offset += descriptorSize) {
        const auto d = block.subspan(offset).first<descriptorSize>();
        if (!isTiming(d))
            break;
        auto timing = detailedTiming(d);
        if (timing.horizontalActive > 0 && timing.verticalActive > 0)
            info.timings.push_back(timing);
    }
}

} // namespace

std::optional<double> EdidDetailedTiming::refreshRate() const
{
    const double total = double(horizontalActive + horizontalBlanking) * double(verticalActive + verticalBlanking);
    if (total <= 0 || pixelClockKilohertz == 0)
        return std::nullopt;
    return double(pixelClockKilohertz) * 1000.0 / total;
}

std::optional<EdidInfo> parseEdid(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < edidBlockSize || !std::equal(header.begin(), header.end(), bytes.begin()))
        return std::nullopt;
    const Block base = bytes.first<edidBlockSize>();

    EdidInfo info;
    info.checksumValid = sumIsZero(base);
    info.vendorID = vendorLetters(base[8], base[9]);
    info.productCode = static_cast<std::uint16_t>(base[10] | base[11] << 8);
    const std::uint32_t serial = std::uint32_t(base[12]) | std::uint32_t(base[13]) << 8
        | std::uint32_t(base[14]) << 16 | std::uint32_t(base[15]) << 24;
    if (serial != 0)
        info.serialNumber = serial;

    const std::uint8_t week = base[16];
    const std::uint8_t year = base[17];
    if (year != 0) {
        if (week == 0xFF)
            info.modelYear = yearBase + year;
        else
            info.manufactureYear = yearBase + year;
    }
    if (info.manufactureYear && week >= 1 && week <= 54)
        info.manufactureWeek = week;

    info.version = base[18];
    info.revision = base[19];
    info.isDigital = (base[20] & 0x80) != 0;
    if (info.isDigital && info.version == 1 && info.revision >= 4) {
        const std::uint32_t depth = (base[20] >> 4) & 0x07;
        if (depth >= 1 && depth <= 6)
            info.bitsPerColor = 4 + depth * 2;
    }
    // One of the two alone is an aspect ratio, not a size.
    if (base[21] != 0 && base[22] != 0) {
        info.widthCentimeters = base[21];
        info.heightCentimeters = base[22];
    }

    readDescriptors(base, info);

    const std::size_t extensions = std::min<std::size_t>(base[126], bytes.size() / edidBlockSize - 1);
    for (std::size_t i = 1; i <= extensions; ++i) {
        const Block block = bytes.subspan(i * edidBlockSize).first<edidBlockSize>();
        if (block[0] == ctaExtensionTag && sumIsZero(block))
            readCtaTimings(block, info);
    }
    return info;
}

} // namespace tarnel::platform
