#include "Platform/Statistics/InterfaceAddresses.h"

#include <arpa/inet.h>
#include <cerrno>
#include <ifaddrs.h>
#include <memory>
#include <netinet/in.h>
#include <system_error>

namespace tarnel::platform {

namespace {

std::optional<std::string> format(const sockaddr* address)
{
    if (address == nullptr)
        return std::nullopt;
    char buffer[INET6_ADDRSTRLEN] = {};
    const void* raw = nullptr;
    if (address->sa_family == AF_INET)
        raw = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    else if (address->sa_family == AF_INET6)
        raw = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    else
        return std::nullopt;
    if (::inet_ntop(address->sa_family, raw, buffer, sizeof buffer) == nullptr)
        return std::nullopt;
    return std::string(buffer);
}

} // namespace

std::vector<InterfaceAddress> SystemInterfaceAddresses::addresses() const
{
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        throw std::system_error(errno, std::generic_category(), "getifaddrs");
    std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, ::freeifaddrs);
    std::vector<InterfaceAddress> result;
    for (auto* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_name == nullptr)
            continue;
        auto address = format(entry->ifa_addr);
        if (!address)
            continue;
        result.push_back({entry->ifa_name, entry->ifa_addr->sa_family, std::move(*address), format(entry->ifa_netmask)});
    }
    return result;
}

} // namespace tarnel::platform
