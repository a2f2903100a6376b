#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

struct InterfaceAddress {
    std::string interfaceName;
    int family = 0; // AF_INET or AF_INET6
    std::string address;
    std::optional<std::string> netmask;
};

// The addresses the kernel has given the interfaces, behind an interface so tests give their own.
class InterfaceAddresses {
public:
    virtual ~InterfaceAddresses() = default;
    // Throws std::system_error when the kernel cannot be asked.
    virtual std::vector<InterfaceAddress> addresses() const = 0;
};

// getifaddrs(3): IPv4 and IPv6 addresses, in the kernel's order.
class SystemInterfaceAddresses final : public InterfaceAddresses {
public:
    std::vector<InterfaceAddress> addresses() const override;
};

} // namespace tarnel::platform
