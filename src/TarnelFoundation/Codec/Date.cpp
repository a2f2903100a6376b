#include "TarnelFoundation/Codec/Date.h"

#include "TarnelFoundation/Codec/Hex.h"

#include <fmt/format.h>

#include <random>

namespace tarnel {

Date Date::now()
{
    auto since = std::chrono::system_clock::now().time_since_epoch();
    return fromUnixSeconds(std::chrono::duration<double>(since).count());
}

UUID UUID::random()
{
    thread_local std::mt19937_64 generator{std::random_device{}()};
    UUID id;
    for (int half = 0; half < 2; ++half) {
        auto v = generator();
        for (int i = 0; i < 8; ++i)
            id.bytes[static_cast<std::size_t>(half * 8 + i)] = static_cast<std::uint8_t>(v >> (8 * i));
    }
    id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0f) | 0x40); // version 4
    id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3f) | 0x80); // RFC 4122 variant
    return id;
}

std::optional<UUID> UUID::parse(std::string_view text)
{
    if (text.size() != 36)
        return std::nullopt;
    UUID id;
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-')
                return std::nullopt;
            ++i;
            continue;
        }
        int hi = hexDigitValue(text[i]), lo = hexDigitValue(text[i + 1]);
        if (hi < 0 || lo < 0)
            return std::nullopt;
        id.bytes[byte++] = static_cast<std::uint8_t>(hi * 16 + lo);
        i += 2;
    }
    return id;
}

std::string UUID::text() const
{
    std::string out;
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            out.push_back('-');
        out += fmt::format("{:02X}", bytes[i]);
    }
    return out;
}

} // namespace tarnel
