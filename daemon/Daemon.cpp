#include "Daemon.h"

#include "PidFileLock.h"
#include "Privileged/PrivilegedService.h"
#include "Statistics/StatsService.h"
#include "Catalog/DisplayCatalogCollector.h"
#include "Catalog/HardwareCatalogCollector.h"
#include "Catalog/SystemInventoryCollector.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedServer.h"

#include <fmt/format.h>

#include <unistd.h>

namespace tarnel::daemon {

namespace {

xpc::ServiceEndpoint endpointFor(const DaemonOptions& options, const std::string& name)
{
    if (options.socketDirectory)
        return xpc::ServiceEndpoint::at(name, *options.socketDirectory / (name + ".sock"));
    return options.session ? xpc::ServiceEndpoint::session(name) : xpc::ServiceEndpoint::system(name);
}

// A route without a message whose answer is read on a background thread.
template <class Snapshot, class Route, class Read>
void serveInBackground(xpc::XPCServer& server, const Route& route, Read read)
{
    xpc::registerHandler(server, route, [read](xpc::RequestContext) -> asio::awaitable<Snapshot> {
        auto reading = quendal::inBackground(read);
        co_return co_await std::move(reading);
    });
}

} // namespace

std::string Daemon::serviceName(bool debug) { return MonitorAppIdentity::daemon(debug); }

std::string Daemon::pingReply() { return fmt::format("v{}", xpc::daemonAPIVersion); }

Daemon::Daemon(DaemonOptions options, quendal::Executor executor, Logger log)
    : options_(std::move(options)), executor_(std::move(executor)), log_(std::move(log)),
      privilegedEndpoint_(endpointFor(options_, serviceName(options_.debug))),
      statisticsEndpoint_(endpointFor(options_, serviceName(options_.debug) + ".stats"))
{
}

Daemon::~Daemon() { stop(); }

void Daemon::start()
{
    if (options_.session || options_.socketDirectory)
        lock_ = std::make_unique<PidFileLock>(privilegedEndpoint_.socketPath.parent_path() / "tarneld.pid");

    xpc::XPCServer::Options serverOptions;
    serverOptions.log = log_;
    serverOptions.connectionCountChanged = [this](std::size_t) { connectionsChanged(); };
    // Both endpoints live on the same descriptor table.
    serverOptions.limits.serversSharingDescriptors = 2;
    if (options_.session || ::getuid() != 0) {
        // A daemon running as a user serves that user alone.
        const auto self = ::getuid();
        serverOptions.admit = [self](const xpc::PeerCredentials& peer) { return peer.uid == self; };
        serverOptions.socketMode = 0600;
    } else {
        // Anyone may ask; each privileged route checks what the caller may do.
        serverOptions.socketMode = 0666;
    }

    if (options_.baseInterval)
        UpdateFrequencyClock::setBaseInterval(*options_.baseInterval);
    statsService_ = std::make_unique<StatsService>(executor_, platform::SystemRoot(options_.systemRoot), log_);
    privileged_ = std::make_unique<xpc::XPCServer>(privilegedEndpoint_, executor_, serverOptions);
    auto statisticsOptions = serverOptions;
    // A client that vanishes costs nothing but its subscriptions.
    statisticsOptions.connectionClosed = [this](std::uint64_t id) { statsService_->connectionClosed(id); };
    statistics_ = std::make_unique<xpc::XPCServer>(statisticsEndpoint_, executor_, statisticsOptions);
    statsService_->registerRoutes(*statistics_);
    // Catalogues read many files and may run smartctl: never on the loop that serves the streams.
    const platform::SystemRoot system(options_.systemRoot);
    serveInBackground<SystemInventorySnapshot>(*statistics_, xpc::Routes::systemInventory,
                                               [system] { return SystemInventoryCollector(system).collect(); });
    serveInBackground<HardwareCatalogSnapshot>(*statistics_, xpc::Routes::hardwareCatalog, [system] {
        auto smart = system.root() == "/" ? std::make_shared<const SmartctlProbe>() : nullptr;
        return HardwareCatalogCollector(system, std::make_shared<platform::StatvfsFileSystemStatistics>(),
                                        platform::PciIdDatabase::find(system.root()), std::move(smart))
            .collect();
    });
    serveInBackground<DisplayCatalogSnapshot>(*statistics_, xpc::Routes::displayCatalog,
                                              [system] { return DisplayCatalogCollector(system).collect(); });
    registerCommonRoutes(*privileged_);
    registerCommonRoutes(*statistics_);

    PrivilegedService::Dependencies privileged;
    privileged.authority = std::make_shared<PolkitAuthority>();
    privileged.systemd = std::make_shared<SystemdControl>();
    privileged.log = log_;
    privileged.systemRoot = options_.systemRoot;
    privileged.sessionSocketDirectory = privilegedEndpoint_.socketPath.parent_path();
    privilegedService_ = std::make_unique<PrivilegedService>(std::move(privileged));
    privilegedService_->registerRoutes(*privileged_);

    privileged_->start();
    statistics_->start();
    connectionsChanged();
    if (log_)
        log_(fmt::format("tarneld serving {} and {} ({} mode)", privilegedEndpoint_.socketPath.string(),
                         statisticsEndpoint_.socketPath.string(), options_.session ? "session" : "system"));
}

void Daemon::connectionsChanged()
{
    // The system daemon stays for the machine; a session daemon leaves with its last client.
    if (!options_.session || !privileged_ || !statistics_ || stopping_)
        return;
    if (privileged_->connectionCount() + statistics_->connectionCount() > 0) {
        idleTimer_.cancel();
        idleTimer_ = {};
        return;
    }
    if (idleTimer_.isRunning())
        return;
    idleTimer_ = quendal::spawn(executor_, [](Daemon* self, double seconds) -> asio::awaitable<void> {
        co_await quendal::Runtime::shared().clock().sleep(quendal::Clock::fromSeconds(seconds));
        if (self->log_)
            self->log_(fmt::format("no client for {} seconds: leaving", seconds));
        if (self->onIdle_)
            self->onIdle_();
    }(this, options_.idleExitSeconds));
}

void Daemon::stop()
{
    stopping_ = true;
    idleTimer_.cancel();
    if (privileged_)
        privileged_->stop(true);
    if (statistics_)
        statistics_->stop(true);
}

void Daemon::registerCommonRoutes(xpc::XPCServer& server)
{
    xpc::registerHandler(server, xpc::Routes::ping,
                         [](std::string, xpc::RequestContext) -> asio::awaitable<std::string> { co_return pingReply(); });
}

} // namespace tarnel::daemon
