#include "DaemonLink.h"

#include "TarnelKit/Daemon/DaemonClient.h"
#include "TarnelKit/Daemon/DaemonManager.h"
#include "TarnelKit/Daemon/ServiceRegistry.h"
#include "TarnelKit/Stats/StatsClient.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelXPC/ServiceEndpoint.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <QCoreApplication>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

namespace tarnel::gui {

std::shared_ptr<DaemonManager> startDaemonLink()
{
    const auto identifier = MonitorAppIdentity::daemon();
    const auto statsName = MonitorAppIdentity::statsServiceName(identifier);
    std::shared_ptr<ServiceRegistry> registry = makeServiceRegistry(identifier, false);
    const auto privileged = xpc::ServiceEndpoint::at(identifier, registry->socketPath(identifier));
    const auto stats = xpc::ServiceEndpoint::at(statsName, registry->socketPath(statsName));

    auto daemonClient = std::make_shared<DaemonClient>(identifier, privileged);
    DaemonClient::setShared(daemonClient);
    auto manager = std::make_shared<std::weak_ptr<DaemonManager>>();
    StatsClient::Environment environment;
    environment.makeTransport = [stats] { return xpc::XPCClient::create(stats, xpc::ServerRequirement::defaultFor(stats)); };
    environment.manager = [manager]() -> std::shared_ptr<DaemonReadiness> { return manager->lock(); };
    environment.isMainApplication = true;
    environment.executor = quendal::Runtime::shared().mainExecutor();
    environment.clock = quendal::Runtime::shared().clockPointer();
    auto statsClient = std::make_shared<StatsClient>(statsName, std::move(environment));
    StatsClient::setShared(statsClient);

    DaemonManager::Environment managed;
    managed.identifier = identifier;
    managed.registry = registry;
    managed.privilegedProbe = [daemonClient] { return daemonClient->apiVersion(); };
    managed.statsProbe = [statsClient] { return statsClient->apiVersion(); };
    // The process's preferences live as long as the process.
    managed.preferences = std::shared_ptr<quendal::Preferences>(&quendal::Preferences::shared(), [](quendal::Preferences*) {});
    managed.hostBuild = TARNEL_BUILD_NUMBER_TEXT;
    managed.applicationPath = QCoreApplication::applicationFilePath().toStdString();
    managed.executor = quendal::Runtime::shared().mainExecutor();
    managed.clock = quendal::Runtime::shared().clockPointer();
    auto daemonManager = std::make_shared<DaemonManager>(std::move(managed));
    *manager = daemonManager;
    asio::co_spawn(quendal::Runtime::shared().mainExecutor(), daemonManager->start(), asio::detached);
    return daemonManager;
}

} // namespace tarnel::gui
