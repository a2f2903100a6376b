#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

struct DefaultRoute {
    std::string interfaceName;
    std::string gateway; // dotted IPv4
    std::uint32_t metric = 0;
};

// The IPv4 default routes of /proc/net/route that go through a gateway, lowest metric first.
// Malformed lines are skipped; a missing file (no IPv4) gives none.
class RouteTableReader {
public:
    explicit RouteTableReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::vector<DefaultRoute> defaultRoutes() const;
    static std::vector<DefaultRoute> parse(std::string_view text);
    // The gateway of the interface's best default route, else absent.
    static std::optional<std::string> gatewayOf(const std::vector<DefaultRoute>& routes, const std::string& interfaceName);

private:
    SystemRoot root_;
};

} // namespace tarnel::platform
