#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// An application's version. Linux has one version text per application, so `release` and
// `build` are both read from it; `build` keeps a distribution revision ("-2ubuntu1") apart.
struct BundleVersion {
    struct Version {
        std::uint64_t major = 0;
        std::uint64_t minor = 0;
        std::uint64_t maintenance = 0;

        // Components split at "." that don't read as an unsigned decimal (with an optional
        // sign) are dropped; missing ones are 0. "1.2b.3" is 1.3.0.
        static Version parse(std::string_view text);
        bool operator==(const Version&) const = default;
    };

    Version build;
    Version release;
    std::optional<std::string> shortVersionString;

    // From a package or metainfo version: an epoch ("1:") and a revision ("-3") are not part of
    // the release, and the revision is the build.
    static BundleVersion fromText(std::string_view text);

    bool operator==(const BundleVersion&) const = default;
    // Release first (major, minor, maintenance); when those are equal, build major then minor.
    bool operator<(const BundleVersion& other) const;
};

// What an application is called and known by.
struct BundleInfo {
    std::string name;
    std::string identifier; // reverse-domain for Flatpak, else the desktop file id or the image name
    std::string vendor;     // second component of the identifier, or empty
    BundleVersion version;

    static std::string vendorOf(std::string_view identifier);
    bool operator==(const BundleInfo&) const = default;
};

} // namespace tarnel
