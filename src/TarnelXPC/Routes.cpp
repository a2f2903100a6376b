#include "TarnelXPC/Routes.h"

namespace tarnel::xpc {

const XPCRouteWithMessageWithReply<std::string, std::string> Routes::ping{{"ping"}};
const XPCRouteWithMessageWithReply<PrivilegedFileDeleteRequest, std::vector<bool>> Routes::deleteFiles{{"deleteFiles"}};
const XPCRouteWithMessageWithReply<bool, bool> Routes::toggleTrim{{"toggleTrim"}};
const XPCRouteWithoutMessageWithReply<bool> Routes::getTrimStatus{{"getTrimStatus"}};
const XPCRouteWithMessageWithoutReply<LaunchItemMutationRequest> Routes::setLaunchItemEnabled{{"setLaunchItemEnabled"}};
const XPCRouteWithoutMessageWithoutReply<> Routes::uninstallLegacyFiles{{"uninstallLegacyFiles"}};
const XPCRouteWithMessageWithSequentialReply<StatsSubscriptionRequest, StatsUpdateBatch> Routes::statsSubscribe{
    {"stats", "subscribe"}};
const XPCRouteWithMessageWithoutReply<StatsSubscriptionRequest> Routes::statsUpdateSubscription{
    {"stats", "updateSubscription"}};
const XPCRouteWithMessageWithoutReply<StatsSubscriptionKey> Routes::statsUnsubscribe{{"stats", "unsubscribe"}};
const XPCRouteWithoutMessageWithReply<HardwareCatalogSnapshot> Routes::hardwareCatalog{{"hardware", "catalog"}};
const XPCRouteWithoutMessageWithReply<SystemInventorySnapshot> Routes::systemInventory{{"system", "inventory"}};
const XPCRouteWithoutMessageWithReply<DisplayCatalogSnapshot> Routes::displayCatalog{{"display", "catalog"}};

} // namespace tarnel::xpc
