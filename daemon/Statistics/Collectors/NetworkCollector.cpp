#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/InterfaceAddresses.h"
#include "Platform/Statistics/NetworkInterfaceReader.h"
#include "Platform/Statistics/RouteTableReader.h"

#include <arpa/inet.h>
#include <fmt/format.h>

namespace tarnel::daemon {
namespace {

// How an interface is shown: its kind and the title people know it by.
struct InterfaceLook {
    StatsNetworkInterfaceKind kind;
    std::string title;
};

InterfaceLook lookOf(const platform::NetworkInterface& i)
{
    using K = StatsNetworkInterfaceKind;
    switch (i.kind) {
    case platform::InterfaceKind::wifi:
        return {K::wifi, "Wi-Fi"};
    case platform::InterfaceKind::ethernet:
        return {K::ethernet, "Ethernet"};
    case platform::InterfaceKind::bluetooth:
        return {K::bluetooth, "Bluetooth PAN"};
    case platform::InterfaceKind::other:
        break;
    }
    return {K::other, i.name};
}

// The fields an interface and a service of it share.
template <class Snapshot>
Snapshot describing(const platform::NetworkInterface& i, std::int64_t index, Date at)
{
    const auto look = lookOf(i);
    Snapshot s;
    s.index = index;
    s.identifier = i.name;
    s.name = look.title;
    s.interfaceKind = look.kind;
    s.updatedAt = at;
    return s;
}

// Every interface but loopback, and a service for each one that is up with an IPv4 address.
class NetworkCollector final : public SingleServiceCollector {
public:
    explicit NetworkCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::networkService, {WidgetStatistic::networkService, WidgetStatistic::networkInterface})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        const auto at = tick.at;
        auto interfaces = platform::NetworkInterfaceReader(root_).read();
        std::vector<platform::InterfaceAddress> addresses;
        try {
            addresses = platform::SystemInterfaceAddresses().addresses();
        } catch (const std::exception& e) {
            tick.report("the interface addresses", e); // the interfaces still count, without services
        }
        auto routes = platform::RouteTableReader(root_).defaultRoutes();
        std::int64_t serviceIndex = 0, interfaceIndex = 0;
        for (const auto& i : interfaces) {
            if (i.isLoopback)
                continue;
            auto ni = describing<StatsNetworkInterfaceSnapshot>(i, interfaceIndex, at);
            ni.macAddress = i.macAddress;
            if (i.speedMegabitsPerSecond && *i.speedMegabitsPerSecond > 0)
                ni.transmitRate = static_cast<double>(*i.speedMegabitsPerSecond);
            state.arrays.networkInterfaces.push_back(ni);
            state.values.push_back({WidgetStatistic::networkInterface, interfaceIndex, std::nullopt, std::nullopt,
                                    ni.name.value_or(i.name), at});
            ++interfaceIndex;

            // A service is a connected interface with an address.
            std::optional<platform::InterfaceAddress> v4;
            for (const auto& a : addresses)
                if (a.interfaceName == i.name && a.family == AF_INET && !v4)
                    v4 = a;
            if (!i.isUp() || !v4)
                continue;
            auto ns = describing<StatsNetworkServiceSnapshot>(i, serviceIndex, at);
            ns.localIP = v4->address;
            ns.subnetMask = v4->netmask;
            ns.router = platform::RouteTableReader::gatewayOf(routes, i.name);
            state.arrays.networkServices.push_back(ns);
            state.values.push_back({WidgetStatistic::networkService, serviceIndex, std::nullopt, std::nullopt,
                                    fmt::format("{} ({})", ns.name.value_or(i.name), *ns.localIP), at});
            ++serviceIndex;
        }
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.networkServices = arrays.networkServices;
        batch.networkInterfaces = arrays.networkInterfaces;
    }

};

} // namespace

std::unique_ptr<ServiceCollector> makeNetworkCollector(const CollectorSetup& s) { return std::make_unique<NetworkCollector>(s); }

} // namespace tarnel::daemon
