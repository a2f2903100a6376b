#pragma once

#include "QuendalFoundation/Runtime/Published.h"

#include <asio/awaitable.hpp>

#include <string_view>

namespace tarnel {

enum class DaemonStatus { loading, notRegistered, unavailable, insecure, requiresApproval, notFound, connected };
std::string_view statusName(DaemonStatus status);

// What the statistics client needs of the daemon manager: readiness and recovery.
class DaemonReadiness {
public:
    virtual ~DaemonReadiness() = default;
    // Returns when clients should try the daemon; no promise that it works.
    virtual asio::awaitable<void> waitForClientReadiness() = 0;
    virtual asio::awaitable<void> recoverAfterClientSecurityFailure() = 0;
    // Read on the main actor.
    virtual bool isRecovering() const = 0;
};

// What the screens and coordinators need of the daemon manager; main actor only.
class DaemonManaging : public DaemonReadiness {
public:
    virtual DaemonStatus currentStatus() const = 0;
    virtual quendal::Publisher<DaemonStatus> statusPublisher() const = 0;
    virtual quendal::Publisher<bool> recoveringPublisher() const = 0;
    virtual asio::awaitable<void> updateStatus() = 0;
    // Registers the daemon anew; throws DaemonInstallError when it does not end connected or
    // waiting for approval.
    virtual asio::awaitable<void> reinstall() = 0;
};

} // namespace tarnel
