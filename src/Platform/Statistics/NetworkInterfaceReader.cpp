#include "Platform/Statistics/NetworkInterfaceReader.h"

#include "Platform/Statistics/CounterDelta.h"
#include "Platform/Statistics/TextParsing.h"

#include <algorithm>

namespace tarnel::platform {

namespace {

constexpr std::int64_t etherLinkType = 1;     // ARPHRD_ETHER
constexpr std::int64_t loopbackLinkType = 772; // ARPHRD_LOOPBACK

std::optional<std::uint64_t> counter(const std::filesystem::path& path)
{
    auto value = SystemRoot::readAttribute(path);
    return value ? text::parseUnsigned(*value) : std::nullopt;
}

} // namespace

std::vector<NetworkInterface> NetworkInterfaceReader::read() const
{
    std::vector<NetworkInterface> interfaces;
    for (const auto& name : SystemRoot::listDirectory(root_.resolve("/sys/class/net"))) {
        if (auto interface = read(name))
            interfaces.push_back(std::move(*interface));
    }
    return interfaces;
}

std::optional<NetworkInterface> NetworkInterfaceReader::read(const std::string& name) const
{
    if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..")
        return std::nullopt;
    auto folder = root_.resolve("/sys/class/net") / name;
    auto typeText = SystemRoot::readAttribute(folder / "type");
    if (!typeText)
        return std::nullopt; // a file such as bonding_masters, or an interface that just went away
    auto type = text::parseSigned(*typeText);

    NetworkInterface interface;
    interface.name = name;
    interface.isLoopback = type == loopbackLinkType;
    if (SystemRoot::exists(folder / "wireless") || SystemRoot::exists(folder / "phy80211"))
        interface.kind = InterfaceKind::wifi;
    else if (name.starts_with("bnep") || name.starts_with("bt"))
        interface.kind = InterfaceKind::bluetooth;
    else if (type == etherLinkType && SystemRoot::exists(folder / "device"))
        interface.kind = InterfaceKind::ethernet;

    auto address = SystemRoot::readAttribute(folder / "address");
    if (address && std::any_of(address->begin(), address->end(), [](char c) { return c != '0' && c != ':'; }))
        interface.macAddress = address;
    interface.operationalState = SystemRoot::readAttribute(folder / "operstate");
    // Reading speed of a link that is down fails with EINVAL; -1 means unknown.
    if (auto speed = SystemRoot::readAttribute(folder / "speed")) {
        if (auto value = text::parseSigned(*speed); value && *value > 0)
            interface.speedMegabitsPerSecond = value;
    }
    interface.receivedBytes = counter(folder / "statistics" / "rx_bytes");
    interface.transmittedBytes = counter(folder / "statistics" / "tx_bytes");
    return interface;
}

std::vector<InterfaceRates> interfaceRatesBetween(const std::vector<NetworkInterface>& earlier,
    const std::vector<NetworkInterface>& later, double elapsedSeconds)
{
    std::vector<InterfaceRates> rates;
    if (!(elapsedSeconds > 0))
        return rates;
    for (const auto& after : later) {
        auto before = std::find_if(earlier.begin(), earlier.end(),
            [&](const NetworkInterface& candidate) { return candidate.name == after.name; });
        if (before == earlier.end() || !before->receivedBytes || !before->transmittedBytes || !after.receivedBytes
            || !after.transmittedBytes)
            continue;
        auto received = counterDelta(*before->receivedBytes, *after.receivedBytes);
        auto transmitted = counterDelta(*before->transmittedBytes, *after.transmittedBytes);
        if (!received || !transmitted)
            continue;
        rates.push_back({after.name, static_cast<double>(*received) / elapsedSeconds,
            static_cast<double>(*transmitted) / elapsedSeconds});
    }
    return rates;
}

} // namespace tarnel::platform
