#pragma once

#include <asio/awaitable.hpp>

namespace tarnel {

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

} // namespace tarnel
