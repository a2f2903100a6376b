#pragma once

#include "Scanning/Applications/BundleInfo.h"
#include "Scanning/SupportFiles/ApplicationIdentity.h"
#include "Scanning/SupportFiles/ApplicationResourceGroup.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// How an application was installed, which decides how it is removed.
enum class ApplicationKind { flatpak, snap, appImage, package, handInstalled };

std::string_view rawValue(ApplicationKind kind);

// One application and everything that goes with it. Written by one scan step at a time.
struct ApplicationItem {
    std::string url; // the root: a deployment, a snap, an image, an /opt folder or the desktop entry
    ApplicationKind kind = ApplicationKind::package;
    bool userInstalled = false;
    BundleInfo bundleInfo;
    ApplicationIdentity identity;
    std::string iconName;
    std::optional<std::string> iconPath; // the resolved icon file, when the theme has one
    // What removing the owning package frees, from the package database; its root (the desktop
    // entry) weighs that much.
    std::optional<std::int64_t> installedSize;
    std::vector<BundleInfo> childApplications;
    std::vector<ApplicationIdentity> childIdentities;
    ApplicationResourceGroup binaries{ApplicationResourceGroup::Category::binaries, {}};
    std::vector<ApplicationResourceGroup> resources;

    // binaries, then resources.
    std::vector<ApplicationResourceGroup> allGroups() const;
    std::int64_t size() const;
};

} // namespace tarnel
