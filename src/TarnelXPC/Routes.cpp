#include "TarnelXPC/Routes.h"

namespace tarnel::xpc {

const XPCRouteWithMessageWithReply<std::string, std::string> Routes::ping{{"ping"}};
const XPCRouteWithMessageWithReply<PrivilegedFileDeleteRequest, std::vector<bool>> Routes::deleteFiles{{"deleteFiles"}};
const XPCRouteWithMessageWithReply<bool, bool> Routes::toggleTrim{{"toggleTrim"}};
const XPCRouteWithoutMessageWithReply<bool> Routes::getTrimStatus{{"getTrimStatus"}};
const XPCRouteWithMessageWithoutReply<LaunchItemMutationRequest> Routes::setLaunchItemEnabled{{"setLaunchItemEnabled"}};
const XPCRouteWithoutMessageWithoutReply<> Routes::uninstallLegacyFiles{{"uninstallLegacyFiles"}};

} // namespace tarnel::xpc
