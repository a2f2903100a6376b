#pragma once

#include "TarnelXPC/PeerCredentials.h"

#include <memory>
#include <string>

namespace tarnel::daemon {

// Decides whether a caller may do something beyond their own rights.
class Authority {
public:
    virtual ~Authority() = default;
    // `action` is a polkit action id of Tarnel's policy. Never throws; unknown means no.
    virtual bool isAuthorized(const xpc::PeerCredentials& caller, const std::string& action) = 0;
};

// Asks polkit on the system bus, for a unix-process subject made of the caller's pid and
// start time as the kernel gave them at connect time. No system bus, no polkit: not authorized.
class PolkitAuthority final : public Authority {
public:
    bool isAuthorized(const xpc::PeerCredentials& caller, const std::string& action) override;
};

namespace actions {
inline constexpr const char* deleteSystemFiles = "org.quendal.tarnel.delete-system-files";
inline constexpr const char* manageTrim = "org.quendal.tarnel.manage-trim";
inline constexpr const char* manageSystemUnits = "org.quendal.tarnel.manage-system-units";
} // namespace actions

} // namespace tarnel::daemon
