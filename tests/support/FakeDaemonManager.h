#pragma once

#include "TarnelKit/Daemon/DaemonManaging.h"

#include <deque>
#include <exception>
#include <functional>

namespace tarnel::testing {

// A daemon manager whose answers the test scripts: `updateStatus` applies the next scripted
// status, if any; `reinstall` runs `onReinstall`.
class FakeDaemonManager final : public DaemonManaging {
public:
    quendal::Published<DaemonStatus> status{DaemonStatus::loading};
    quendal::Published<bool> recovering{false};
    std::deque<DaemonStatus> nextStatuses;
    int updateCount = 0;
    int reinstallCount = 0;
    std::function<void()> onReinstall; // may throw

    DaemonStatus currentStatus() const override { return status.value(); }
    quendal::Publisher<DaemonStatus> statusPublisher() const override { return status.publisher(); }
    quendal::Publisher<bool> recoveringPublisher() const override { return recovering.publisher(); }
    bool isRecovering() const override { return recovering.value(); }
    asio::awaitable<void> updateStatus() override
    {
        ++updateCount;
        if (!nextStatuses.empty()) {
            status.set(nextStatuses.front());
            nextStatuses.pop_front();
        }
        co_return;
    }
    asio::awaitable<void> reinstall() override
    {
        ++reinstallCount;
        if (onReinstall)
            onReinstall();
        co_return;
    }
    asio::awaitable<void> waitForClientReadiness() override { co_return; }
    asio::awaitable<void> recoverAfterClientSecurityFailure() override { co_return; }
};

} // namespace tarnel::testing
