#pragma once

#include "TarnelKit/Daemon/DaemonManaging.h"
#include "TarnelKit/Stats/StatsClientRecoverySignal.h"

#include "TarnelFoundation/Catalog/DisplayCatalog.h"
#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Catalog/SystemInventory.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"
#include "TarnelXPC/ServiceEndpoint.h"
#include "TarnelXPC/XPCClient.h"

#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// How one connection attempt of a subscription ended.
struct StatsStreamAttemptResult {
    enum class Kind { transportReset, daemonRecovery, interrupted, renewalFailed, ended, reconnectRequested, cancelled };
    Kind kind = Kind::cancelled;
    std::string reason;
};

// The one door to the daemon's statistics endpoint: streams that survive daemon restarts,
// reinstalls, sleep and dropped transports, and snapshot requests that retry.
class StatsClient : public std::enable_shared_from_this<StatsClient> {
public:
    struct Environment {
        // Makes a transport client for the endpoint; replaced on every reset.
        std::function<std::shared_ptr<xpc::XPCClient>()> makeTransport;
        // The daemon manager of this process, if it has one (read on the main actor).
        std::function<std::shared_ptr<DaemonReadiness>()> manager;
        // The main application waits up to five seconds for its manager to appear.
        bool isMainApplication = false;
        quendal::Executor executor;
        std::shared_ptr<quendal::Clock> clock;
    };

    static std::shared_ptr<StatsClient> shared();
    static void setShared(std::shared_ptr<StatsClient> client);
    // The shared client; throws std::logic_error when the process set none up.
    static std::shared_ptr<StatsClient> required();
    // A stream of the shared client, or one that ends at once with that error.
    static quendal::AsyncStream<StatsUpdateBatch> sharedUpdates(const std::vector<WidgetStatistic>& statistics,
                                                                StatisticUpdateFrequency frequency);
    static quendal::AsyncStream<StatsUpdateBatch> sharedUpdates(const std::set<DaemonService>& services,
                                                                StatisticUpdateFrequency frequency);
    // A client of the statistics endpoint `identifier` in this process's usual environment.
    static std::shared_ptr<StatsClient> make(const std::string& identifier, xpc::ServiceEndpoint endpoint,
                                             bool isMainApplication);

    StatsClient(std::string identifier, Environment environment);

    const StatsClientID& clientID() const { return clientID_; }
    const std::string& identifier() const { return identifier_; }

    quendal::AsyncStream<StatsUpdateBatch> updates(const std::vector<WidgetStatistic>& statistics,
                                                   StatisticUpdateFrequency frequency);
    quendal::AsyncStream<StatsUpdateBatch> updates(const std::set<DaemonService>& services, StatisticUpdateFrequency frequency);
    quendal::AsyncStream<StatsUpdateBatch> updates(StatsSubscriptionRequest request);

    asio::awaitable<HardwareCatalogSnapshot> hardwareCatalog();
    asio::awaitable<SystemInventorySnapshot> systemInventory();
    asio::awaitable<DisplayCatalogSnapshot> displayCatalog();
    asio::awaitable<std::string> ping();
    asio::awaitable<std::optional<int>> apiVersion();
    asio::awaitable<bool> isCompatible();

    void resetTransport(const std::string& reason);
    void handleSystemWake();
    asio::awaitable<bool> handleManagedDaemonFailure(std::exception_ptr error);

    StatsClientRecoverySignal& recoverySignal() { return *recoverySignal_; }

    using Duration = quendal::Clock::Duration;

    // A subscription renews itself this often while an attempt lasts.
    static constexpr Duration renewalInterval = std::chrono::seconds(20);
    // The wait before reconnecting after a recovery or a wake.
    static constexpr Duration reconnectDelay = std::chrono::milliseconds(250);
    // The main application looks for its daemon manager this often, this many times.
    static constexpr Duration managerPollInterval = std::chrono::milliseconds(100);
    static constexpr int managerPollCount = 50;
    // Counted failures a snapshot request retries before it gives up: eight sends at most.
    static constexpr int snapshotRetries = 7;

    // The wait after the n-th failure in a row: 0.25, 0.5, 1, 2, then 4 seconds.
    static Duration backoffDelay(int failureCount);
    static bool isTransportFailure(std::exception_ptr error);

private:
    std::shared_ptr<xpc::XPCClient> transport();
    asio::awaitable<std::shared_ptr<DaemonReadiness>> findManager();
    asio::awaitable<void> waitForReadiness();
    asio::awaitable<void> subscriptionLoop(StatsSubscriptionRequest request,
                                           quendal::AsyncStream<StatsUpdateBatch>::Continuation consumer);
    asio::awaitable<StatsStreamAttemptResult> attempt(const StatsSubscriptionRequest& request,
                                                      const quendal::AsyncStream<StatsUpdateBatch>::Continuation& consumer);
    // How an attempt's child ended with `error`: cancelled, or classified with `fallback` last.
    asio::awaitable<StatsStreamAttemptResult> classify(std::exception_ptr error, StatsStreamAttemptResult::Kind fallback);
    template <class Reply, class Route>
    asio::awaitable<Reply> sendSnapshotRequest(const Route& route);

    StatsClientID clientID_;
    std::string identifier_;
    Environment environment_;
    std::mutex clientLock_;
    std::shared_ptr<xpc::XPCClient> client_;
    std::shared_ptr<StatsClientRecoverySignal> recoverySignal_ = std::make_shared<StatsClientRecoverySignal>();
};

} // namespace tarnel
