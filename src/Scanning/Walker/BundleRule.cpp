#include "Scanning/Walker/BundleRule.h"

namespace tarnel {

bool BundleRule::isBundle(std::string_view parentPath, std::string_view name)
{
    if (name.ends_with(".app") || name.ends_with(".AppDir"))
        return true;
    return parentPath == "/snap" || parentPath == "/opt" || parentPath.ends_with("/flatpak/app");
}

} // namespace tarnel
