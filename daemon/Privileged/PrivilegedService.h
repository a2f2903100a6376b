#pragma once

#include "Privileged/Authority.h"
#include "Privileged/SystemdControl.h"

#include "TarnelXPC/PeerCredentials.h"
#include "TarnelXPC/PrivilegedRequests.h"
#include "TarnelXPC/XPCServer.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::daemon {

// The routes that change the machine: deleting files, Trim, launch items and the removal of
// files left by earlier releases. Each checks who asks and logs what it did.
class PrivilegedService {
public:
    struct Dependencies {
        std::shared_ptr<Authority> authority;
        std::shared_ptr<SystemdControl> systemd;
        std::function<void(const std::string&)> log;
        // Where the unit and socket folders of earlier releases are looked for.
        std::filesystem::path systemRoot = "/";
        std::filesystem::path sessionSocketDirectory;
    };

    explicit PrivilegedService(Dependencies dependencies);

    void registerRoutes(xpc::XPCServer& server);

    // The blocking halves of the routes, for the background pool.
    std::vector<bool> deleteFiles(const xpc::PrivilegedFileDeleteRequest& request, const xpc::PeerCredentials& caller);
    bool toggleTrim(bool enabled, const xpc::PeerCredentials& caller);
    bool trimStatus();
    void setLaunchItemEnabled(const xpc::LaunchItemMutationRequest& request, const xpc::PeerCredentials& caller);
    std::vector<std::filesystem::path> uninstallLegacyFiles(const xpc::PeerCredentials& caller);

    static constexpr const char* trimUnit = "fstrim.timer";

private:
    void log(const std::string& line) const;

    Dependencies dependencies_;
};

} // namespace tarnel::daemon
