#pragma once

#include "TarnelFoundation/Catalog/DisplayCatalog.h"
#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Catalog/SystemInventory.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"
#include "TarnelXPC/PrivilegedRequests.h"
#include "TarnelXPC/RecordWireCodec.h"
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
    static const XPCRouteWithMessageWithSequentialReply<StatsSubscriptionRequest, StatsUpdateBatch> statsSubscribe;
    static const XPCRouteWithMessageWithoutReply<StatsSubscriptionRequest> statsUpdateSubscription;
    static const XPCRouteWithMessageWithoutReply<StatsSubscriptionKey> statsUnsubscribe;
    static const XPCRouteWithoutMessageWithReply<HardwareCatalogSnapshot> hardwareCatalog;
    static const XPCRouteWithoutMessageWithReply<SystemInventorySnapshot> systemInventory;
    static const XPCRouteWithoutMessageWithReply<DisplayCatalogSnapshot> displayCatalog;
};

} // namespace tarnel::xpc
