#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

enum class InterfaceKind { wifi, ethernet, bluetooth, other };

struct NetworkInterface {
    std::string name;                    // "wlan0", "enp3s0"
    InterfaceKind kind = InterfaceKind::other;
    std::optional<std::string> macAddress; // absent for links without one (loopback, tunnels)
    std::optional<std::string> operationalState; // "up", "down", "dormant", ...
    std::optional<std::int64_t> speedMegabitsPerSecond; // absent when the driver does not know
    std::optional<std::uint64_t> receivedBytes;
    std::optional<std::uint64_t> transmittedBytes;
    bool isLoopback = false;

    bool isUp() const { return operationalState == "up"; }
};

// /sys/class/net, one entry per interface, sorted by name.
class NetworkInterfaceReader {
public:
    explicit NetworkInterfaceReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::vector<NetworkInterface> read() const;
    std::optional<NetworkInterface> read(const std::string& name) const;

private:
    SystemRoot root_;
};

struct InterfaceRates {
    std::string name;
    double receivedBytesPerSecond = 0;
    double transmittedBytesPerSecond = 0;
};

// Byte rates of the interfaces in both samples; an interface whose counters went back (re-created)
// is left out for the interval.
std::vector<InterfaceRates> interfaceRatesBetween(const std::vector<NetworkInterface>& earlier,
    const std::vector<NetworkInterface>& later, double elapsedSeconds);

} // namespace tarnel::platform
