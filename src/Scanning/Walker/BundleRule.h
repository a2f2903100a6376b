#pragma once

#include <string_view>

namespace tarnel {

// A bundle on Linux is an application root, walked into only when a scan asks for bundles:
// a Flatpak deployment (".../flatpak/app/<id>"), a Snap package ("/snap/<name>"), a
// hand-installed root ("/opt/<name>"), an unpacked AppImage ("<name>.AppDir") and a folder
// named "<name>.app".
struct BundleRule {
    static bool isBundle(std::string_view parentPath, std::string_view name);
};

} // namespace tarnel
