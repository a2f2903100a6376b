#pragma once

#include "TarnelXPC/WireCodec.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::xpc {

// A request to delete files for good with the daemon's rights.
struct PrivilegedFileDeleteRequest {
    enum class Reason { userConfirmedCleanup, applicationUninstall, legacyMigration };

    std::vector<std::string> paths;
    Reason reason = Reason::userConfirmedCleanup;

    friend bool operator==(const PrivilegedFileDeleteRequest&, const PrivilegedFileDeleteRequest&) = default;
};

const char* reasonName(PrivilegedFileDeleteRequest::Reason reason);
std::optional<PrivilegedFileDeleteRequest::Reason> reasonNamed(std::string_view name);

// A request to switch a launch item (a systemd unit file) on or off.
struct LaunchItemMutationRequest {
    std::string url; // file URL text of the unit file
    bool enabled = false;

    static LaunchItemMutationRequest forPath(const std::filesystem::path& path, bool enabled);
    // The local path the URL names; nullopt for anything but an absolute file URL.
    std::optional<std::filesystem::path> path() const;

    friend bool operator==(const LaunchItemMutationRequest&, const LaunchItemMutationRequest&) = default;
};

// "file://" plus the percent-encoded absolute path, and back.
std::string fileURL(const std::filesystem::path& path);
std::optional<std::filesystem::path> pathFromFileURL(std::string_view url);

template <>
struct WireCodec<PrivilegedFileDeleteRequest> {
    static std::string typeName() { return "PrivilegedFileDeleteRequest"; }
    static Value encode(const PrivilegedFileDeleteRequest& request);
    static PrivilegedFileDeleteRequest decode(const Value& value);
};

template <>
struct WireCodec<LaunchItemMutationRequest> {
    static std::string typeName() { return "LaunchItemMutationRequest"; }
    static Value encode(const LaunchItemMutationRequest& request);
    static LaunchItemMutationRequest decode(const Value& value);
};

} // namespace tarnel::xpc
