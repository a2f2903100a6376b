#include "Platform/Statistics/RouteTableReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace tarnel::platform {

namespace {

constexpr std::uint32_t routeUp = 0x1;      // RTF_UP
constexpr std::uint32_t routeGateway = 0x2; // RTF_GATEWAY

// The kernel prints the network-order address as a host-order word, so the word's bytes in memory
// are the address's bytes in order, on either endianness.
std::string dotted(std::uint32_t word)
{
    unsigned char bytes[4];
    std::memcpy(bytes, &word, sizeof bytes);
    return fmt::format("{}.{}.{}.{}", bytes[0], bytes[1], bytes[2], bytes[3]);
}

} // namespace

std::vector<DefaultRoute> RouteTableReader::defaultRoutes() const
{
    auto contents = SystemRoot::readText(root_.resolve("/proc/net/route"));
    return contents ? parse(*contents) : std::vector<DefaultRoute>{};
}

std::vector<DefaultRoute> RouteTableReader::parse(std::string_view contents)
{
    std::vector<DefaultRoute> routes;
    // Iface Destination Gateway Flags RefCnt Use Metric Mask MTU Window IRTT
    for (auto line : text::lines(contents)) {
        auto fields = text::fields(line);
        if (fields.size() < 8 || fields[0] == "Iface")
            continue;
        auto destination = text::parseHex32(fields[1]);
        auto gateway = text::parseHex32(fields[2]);
        auto flags = text::parseHex32(fields[3]);
        auto metric = text::parseUnsigned(fields[6]);
        auto mask = text::parseHex32(fields[7]);
        if (!destination || !gateway || !flags || !metric || !mask || *metric > UINT32_MAX)
            continue;
        if (*destination != 0 || *mask != 0 || (*flags & (routeUp | routeGateway)) != (routeUp | routeGateway))
            continue;
        routes.push_back({std::string(fields[0]), dotted(*gateway), static_cast<std::uint32_t>(*metric)});
    }
    std::stable_sort(routes.begin(), routes.end(),
        [](const DefaultRoute& a, const DefaultRoute& b) { return a.metric < b.metric; });
    return routes;
}

std::optional<std::string> RouteTableReader::gatewayOf(const std::vector<DefaultRoute>& routes, const std::string& interfaceName)
{
    for (const auto& route : routes) {
        if (route.interfaceName == interfaceName)
            return route.gateway;
    }
    return std::nullopt;
}

} // namespace tarnel::platform
