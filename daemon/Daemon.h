#pragma once

#include "DaemonOptions.h"

#include "TarnelXPC/ServiceEndpoint.h"
#include "TarnelXPC/XPCServer.h"

#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <memory>
#include <string>

namespace tarnel::daemon {

class PidFileLock;
class PrivilegedService;
class StatsService;

// tarneld's two endpoints and the services behind them. Everything runs on one executor.
class Daemon {
public:
    using Logger = std::function<void(const std::string&)>;

    Daemon(DaemonOptions options, quendal::Executor executor, Logger log);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Takes the single-instance lock in session mode and starts listening. Throws on failure.
    void start();
    // Tells clients the daemon is going and closes every connection.
    void stop();
    // Called once a session daemon has had no client for its idle time. Before start().
    void onIdle(std::function<void()> handler) { onIdle_ = std::move(handler); }

    const xpc::ServiceEndpoint& privilegedEndpoint() const { return privilegedEndpoint_; }
    const xpc::ServiceEndpoint& statisticsEndpoint() const { return statisticsEndpoint_; }

    static std::string serviceName(bool debug);
    static std::string pingReply();

private:
    void registerCommonRoutes(xpc::XPCServer& server);
    void connectionsChanged();

    DaemonOptions options_;
    quendal::Executor executor_;
    Logger log_;
    xpc::ServiceEndpoint privilegedEndpoint_;
    xpc::ServiceEndpoint statisticsEndpoint_;
    std::unique_ptr<PidFileLock> lock_;
    std::unique_ptr<xpc::XPCServer> privileged_;
    std::unique_ptr<xpc::XPCServer> statistics_;
    std::unique_ptr<PrivilegedService> privilegedService_;
    std::unique_ptr<StatsService> statsService_;
    std::function<void()> onIdle_;
    quendal::Task idleTimer_;
    bool stopping_ = false;
};

} // namespace tarnel::daemon
