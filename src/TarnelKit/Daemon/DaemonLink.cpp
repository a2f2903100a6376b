#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelXPC/ServiceEndpoint.h"

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
    return link;
}

void DaemonLink::installShared() const
{
    DaemonClient::setShared(daemonClient);
    StatsClient::setShared(statsClient);
}

} // namespace tarnel
