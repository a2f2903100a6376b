#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelXPC/ServiceEndpoint.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

namespace tarnel {

DaemonLink DaemonLink::make(Options options)
{
    const auto& identifier = options.identifier;
    const auto statsName = MonitorAppIdentity::statsServiceName(identifier);
    const auto privileged = xpc::ServiceEndpoint::at(identifier, options.registry->socketPath(identifier));
    const auto stats = xpc::ServiceEndpoint::at(statsName, options.registry->socketPath(statsName));

    DaemonLink link;
    link.daemonClient = std::make_shared<DaemonClient>(identifier, privileged);

    // The statistics client finds the manager through a weak slot filled once it exists.
    auto managerSlot = std::make_shared<std::weak_ptr<DaemonManager>>();
    StatsClient::Environment environment;
    environment.makeTransport = [stats] { return xpc::XPCClient::create(stats, xpc::ServerRequirement::defaultFor(stats)); };
    environment.manager = [managerSlot]() -> std::shared_ptr<DaemonReadiness> { return managerSlot->lock(); };
    environment.isMainApplication = options.isMainApplication;
    environment.executor = options.executor;
    environment.clock = options.clock;
    link.statsClient = std::make_shared<StatsClient>(statsName, std::move(environment));

    DaemonManager::Environment managed;
    managed.identifier = identifier;
    managed.registry = options.registry;
    managed.privilegedProbe = [client = link.daemonClient] { return client->apiVersion(); };
    managed.statsProbe = [client = link.statsClient] { return client->apiVersion(); };
    managed.preferences = options.preferences;
    managed.hostBuild = options.hostBuild;
    managed.applicationPath = options.applicationPath;
    managed.executor = options.executor;
    managed.clock = options.clock;
    link.manager = std::make_shared<DaemonManager>(std::move(managed));
    *managerSlot = link.manager;

    // A daemon the registry started again: the streams reconnect now rather than at their next
    // renewal, and the manager need not wait for its retry loop.
    std::weak_ptr<StatsClient> weakClient = link.statsClient;
    std::weak_ptr<DaemonManager> weakManager = link.manager;
    options.registry->observeRestarts([weakClient, weakManager, executor = options.executor] {
        if (auto client = weakClient.lock()) {
            quendal::AppLogger::info("Stats client reconnecting to the restarted daemon.", quendal::AppLogger::xpc);
            client->resetTransport("daemon restarted");
            client->recoverySignal().broadcast();
        }
        if (auto manager = weakManager.lock()) {
            // The check holds the manager for as long as it runs.
            auto check = [](std::shared_ptr<DaemonManager> m) -> asio::awaitable<void> { co_await m->updateStatus(); };
            asio::co_spawn(executor, check(std::move(manager)), asio::detached);
        }
    });
    return link;
}

void DaemonLink::installShared() const
{
    DaemonClient::setShared(daemonClient);
    StatsClient::setShared(statsClient);
}

} // namespace tarnel
