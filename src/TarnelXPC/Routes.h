#pragma once

#include "TarnelXPC/PrivilegedRequests.h"
#include "TarnelXPC/TypedRoute.h"

#include <string>
#include <vector>

namespace tarnel::xpc {

// The version of the daemon's interface; the daemon answers `ping` with "v" and this number.
inline constexpr int daemonAPIVersion = 19;

// The whole request vocabulary between the applications and the daemon.
struct Routes {
    static const XPCRouteWithMessageWithReply<std::string, std::string> ping;
    static const XPCRouteWithMessageWithReply<PrivilegedFileDeleteRequest, std::vector<bool>> deleteFiles;
    static const XPCRouteWithMessageWithReply<bool, bool> toggleTrim;
    static const XPCRouteWithoutMessageWithReply<bool> getTrimStatus;
    static const XPCRouteWithMessageWithoutReply<LaunchItemMutationRequest> setLaunchItemEnabled;
    static const XPCRouteWithoutMessageWithoutReply<> uninstallLegacyFiles;
};

} // namespace tarnel::xpc
