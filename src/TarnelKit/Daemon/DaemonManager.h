#pragma once

#include "TarnelKit/Daemon/DaemonManaging.h"
#include "TarnelKit/Daemon/ServiceRegistry.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/SharedCompletion.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace tarnel {

struct EndpointCompatibility {
    enum class Kind { unavailable, insecure, compatible };
    Kind kind = Kind::unavailable;
    std::string reason;
    std::string description() const;
};

class DaemonInstallError : public std::runtime_error {
public:
    DaemonInstallError(DaemonStatus status, std::optional<std::string> registrationError);
    DaemonStatus status;
    std::optional<std::string> registrationError;
};

// Owns the daemon's registration and answers for the whole application whether the daemon
// can be used now. Lives on the main actor.
class DaemonManager : public DaemonManaging, public std::enable_shared_from_this<DaemonManager> {
public:
    using Probe = std::function<asio::awaitable<std::optional<int>>()>;

    struct Environment {
        std::string identifier;
        std::shared_ptr<ServiceRegistry> registry;
        Probe privilegedProbe; // DaemonClient::apiVersion
        Probe statsProbe;      // StatsClient::apiVersion
        std::shared_ptr<quendal::Preferences> preferences;
        std::string hostBuild; // this build's number; empty when unknown
        std::string applicationPath;
        quendal::Executor executor;
        std::shared_ptr<quendal::Clock> clock;
    };

    explicit DaemonManager(Environment environment);
    ~DaemonManager() override;

    quendal::Published<DaemonStatus> status{DaemonStatus::loading};
    quendal::Published<bool> recovering{false};

    asio::awaitable<void> start();
    asio::awaitable<void> updateStatus() override;
    asio::awaitable<DaemonStatus> connectionStatus();
    asio::awaitable<DaemonStatus> runtimeMissingStatusFallback(DaemonStatus status);
    // One reinstall at a time: a second caller waits for the running one.
    asio::awaitable<void> reinstall(bool forceUnregister);
    asio::awaitable<void> recoverAfterClientSecurityFailure() override;
    asio::awaitable<void> waitForClientReadiness() override;
    asio::awaitable<void> unregister();
    bool isRecovering() const override { return recovering.value(); }
    DaemonStatus currentStatus() const override { return status.value(); }
    quendal::Publisher<DaemonStatus> statusPublisher() const override { return status.publisher(); }
    quendal::Publisher<bool> recoveringPublisher() const override { return recovering.publisher(); }
    asio::awaitable<void> reinstall() override { return reinstall(false); }

    bool isRegistrationStale();
    void recordCurrentHostBuild();
    std::string registeredHostBuildKey() const;
    bool hasObservedConnectedDaemon() const { return hasObservedConnectedDaemon_; }
    bool retryLoopRunning() const { return unavailableRetryTask_.isRunning(); }

    // By value: a coroutine must own its parameters.
    static asio::awaitable<EndpointCompatibility> probe(std::string name, Probe apiVersion);

private:
    void apply(DaemonStatus next);
    asio::awaitable<void> install(bool forceUnregister, std::shared_ptr<quendal::SharedCompletion> installation);
    asio::awaitable<void> retryLoop(std::weak_ptr<DaemonManager> weak);

    Environment environment_;
    bool hasObservedConnectedDaemon_ = false;
    std::shared_ptr<quendal::SharedCompletion> installTask_;
    quendal::Task unavailableRetryTask_;
    quendal::Task installRunner_;
};

} // namespace tarnel
