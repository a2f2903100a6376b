#include "TarnelKit/Stats/StatsClient.h"

#include "TarnelKit/SharedClientSlot.h"

#include "TarnelKit/Daemon/DaemonClient.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Cancellation.h"
#include "QuendalFoundation/Runtime/Race.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

#include <fmt/format.h>

#include <algorithm>

namespace tarnel {

using quendal::AppLogger;
using Kind = StatsStreamAttemptResult::Kind;

namespace {

SharedClientSlot<StatsClient> sharedClient;

std::string describe(std::exception_ptr error)
{
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "unknown error";
    }
}

bool isXPCError(std::exception_ptr error, xpc::XPCError::Kind kind)
{
    try {
        std::rethrow_exception(error);
    } catch (const xpc::XPCError& e) {
        return e.kind() == kind;
    } catch (...) {
        return false;
    }
}

} // namespace

std::shared_ptr<StatsClient> StatsClient::shared()
{
    return sharedClient.get();
}

void StatsClient::setShared(std::shared_ptr<StatsClient> client)
{
    sharedClient.set(std::move(client));
}

std::shared_ptr<StatsClient> StatsClient::make(const std::string& identifier, xpc::ServiceEndpoint endpoint,
                                               bool isMainApplication)
{
    Environment environment;
    environment.makeTransport = [endpoint] {
        return xpc::XPCClient::create(endpoint, xpc::ServerRequirement::defaultFor(endpoint));
    };
    environment.isMainApplication = isMainApplication;
    environment.executor = quendal::Runtime::shared().backgroundExecutor();
    environment.clock = quendal::Runtime::shared().clockPointer();
    return std::make_shared<StatsClient>(identifier, std::move(environment));
}

StatsClient::StatsClient(std::string identifier, Environment environment)
    : identifier_(std::move(identifier)), environment_(std::move(environment)), client_(environment_.makeTransport())
{
    AppLogger::info("Stats client initialized with identifier: " + identifier_, AppLogger::xpc);
}

std::shared_ptr<xpc::XPCClient> StatsClient::transport()
{
    std::lock_guard lock(clientLock_);
    return client_;
}

void StatsClient::resetTransport(const std::string& reason)
{
    {
        std::lock_guard lock(clientLock_);
        client_ = environment_.makeTransport();
    }
    AppLogger::info("Stats client recreated XPC transport after " + reason, AppLogger::xpc);
}

void StatsClient::handleSystemWake()
{
    AppLogger::info("Stats client received wake signal; reconnecting active subscriptions.", AppLogger::xpc);
    resetTransport("system wake");
    recoverySignal_->broadcast();
}

StatsClient::Duration StatsClient::backoffDelay(int failureCount)
{
    constexpr Duration first = std::chrono::milliseconds(250);
    constexpr Duration ceiling = std::chrono::seconds(5);
    const int doublings = failureCount < 2 ? 0 : std::min(failureCount, 5) - 1;
    return std::min(first * (1 << doublings), ceiling);
}

bool StatsClient::isTransportFailure(std::exception_ptr error)
{
    return isXPCError(error, xpc::XPCError::Kind::connectionInvalid) ||
           isXPCError(error, xpc::XPCError::Kind::connectionInterrupted) ||
           isXPCError(error, xpc::XPCError::Kind::terminationImminent);
}

asio::awaitable<std::shared_ptr<DaemonReadiness>> StatsClient::findManager()
{
    if (!environment_.manager)
        co_return nullptr;
    co_return environment_.manager();
}

asio::awaitable<void> StatsClient::waitForReadiness()
{
    auto manager = co_await findManager();
    if (manager) {
        co_await manager->waitForClientReadiness();
        co_return;
    }
    if (!environment_.isMainApplication)
        co_return;
    // The main application makes its manager during launch: give it five seconds.
    for (int i = 0; i < managerPollCount; ++i) {
        co_await environment_.clock->sleep(managerPollInterval);
        manager = co_await findManager();
        if (manager) {
            co_await manager->waitForClientReadiness();
            co_return;
        }
    }
}

asio::awaitable<bool> StatsClient::handleManagedDaemonFailure(std::exception_ptr error)
{
    auto manager = co_await findManager();
    if (!manager)
        co_return false;
    if (isXPCError(error, xpc::XPCError::Kind::insecure)) {
        AppLogger::info("Stats client saw insecure daemon connection; asking daemon manager to recover.", AppLogger::xpc);
        co_await manager->recoverAfterClientSecurityFailure();
        co_await manager->waitForClientReadiness();
        co_return true;
    }
    if (manager->isRecovering() && isTransportFailure(error)) {
        co_await manager->waitForClientReadiness();
        co_return true;
    }
    co_return false;
}

asio::awaitable<StatsStreamAttemptResult> StatsClient::classify(std::exception_ptr error, Kind fallback)
{
    if (quendal::isCancellation(error))
        co_return StatsStreamAttemptResult{Kind::cancelled, {}};
    const auto reason = describe(error);
    const bool handled = co_await handleManagedDaemonFailure(error);
    if (handled)
        co_return StatsStreamAttemptResult{Kind::daemonRecovery, reason};
    if (isTransportFailure(error)) {
        resetTransport(reason);
        co_return StatsStreamAttemptResult{Kind::transportReset, reason};
    }
    co_return StatsStreamAttemptResult{fallback, reason};
}

std::shared_ptr<StatsClient> StatsClient::required()
{
    auto client = shared();
    if (!client)
        throw std::logic_error("No statistics client was set up for this process");
    return client;
}

namespace {

template <class What>
quendal::AsyncStream<StatsUpdateBatch> updatesOfShared(const What& what, StatisticUpdateFrequency frequency)
{
    try {
        return StatsClient::required()->updates(what, frequency);
    } catch (...) {
        auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
        continuation.finish(std::current_exception());
        return stream;
    }
}

} // namespace

quendal::AsyncStream<StatsUpdateBatch> StatsClient::sharedUpdates(const std::vector<WidgetStatistic>& statistics,
                                                                  StatisticUpdateFrequency frequency)
{
    return updatesOfShared(statistics, frequency);
}

quendal::AsyncStream<StatsUpdateBatch> StatsClient::sharedUpdates(const std::set<DaemonService>& services,
                                                                  StatisticUpdateFrequency frequency)
{
    return updatesOfShared(services, frequency);
}

quendal::AsyncStream<StatsUpdateBatch> StatsClient::updates(const std::vector<WidgetStatistic>& statistics,
                                                            StatisticUpdateFrequency frequency)
{
    return updates(StatsSubscriptionRequest(clientID_, StatsSubscriptionID{},
                                            WidgetStatisticsSet(std::set<WidgetStatistic>(statistics.begin(), statistics.end())),
                                            {}, frequency));
}

quendal::AsyncStream<StatsUpdateBatch> StatsClient::updates(const std::set<DaemonService>& services,
                                                            StatisticUpdateFrequency frequency)
{
    return updates(StatsSubscriptionRequest(clientID_, StatsSubscriptionID{}, services, frequency));
}

quendal::AsyncStream<StatsUpdateBatch> StatsClient::updates(StatsSubscriptionRequest request)
{
    auto [stream, consumer] = quendal::AsyncStream<StatsUpdateBatch>::make();
    auto task = std::make_shared<quendal::Task>(
        quendal::spawn(environment_.executor, subscriptionLoop(request, consumer)));
    std::weak_ptr<StatsClient> weak = weak_from_this();
    const auto key = request.key();
    consumer.onTermination([task, weak, key](quendal::StreamTermination) {
        task->cancel();
        auto self = weak.lock();
        if (!self)
            return;
        // Tell the daemon, and ignore whatever comes of it.
        auto unsubscribe = [](std::shared_ptr<xpc::XPCClient> client, StatsSubscriptionKey k) -> asio::awaitable<void> {
            try {
                auto sending = xpc::send(*client, xpc::Routes::statsUnsubscribe, k);
                co_await std::move(sending);
            } catch (...) {
            }
        };
        asio::co_spawn(self->environment_.executor, unsubscribe(self->transport(), key), asio::detached);
    });
    return std::move(stream);
}

asio::awaitable<void> StatsClient::subscriptionLoop(StatsSubscriptionRequest request,
                                                    quendal::AsyncStream<StatsUpdateBatch>::Continuation consumer)
{
    int failures = 0;
    try {
        for (;;) {
            co_await quendal::checkCancellation();
            co_await waitForReadiness();
            auto attempting = attempt(request, consumer);
            auto result = co_await std::move(attempting);
            co_await quendal::checkCancellation();
            Duration delay{};
            switch (result.kind) {
            case Kind::transportReset:
                AppLogger::warning("Stats subscription reset XPC transport: " + result.reason, AppLogger::xpc);
                delay = backoffDelay(++failures);
                break;
            case Kind::interrupted:
                AppLogger::warning("Stats subscription interrupted: " + result.reason, AppLogger::xpc);
                delay = backoffDelay(++failures);
                break;
            case Kind::renewalFailed:
                AppLogger::warning("Stats subscription renewal failed: " + result.reason, AppLogger::xpc);
                delay = backoffDelay(++failures);
                break;
            case Kind::ended:
                AppLogger::warning("Stats subscription stream ended; reconnecting.", AppLogger::xpc);
                delay = backoffDelay(++failures);
                break;
            case Kind::daemonRecovery:
                AppLogger::info("Stats subscription waiting for daemon recovery: " + result.reason, AppLogger::xpc);
                failures = 0;
                delay = reconnectDelay;
                break;
            case Kind::reconnectRequested:
                AppLogger::info("Stats subscription reconnecting after wake.", AppLogger::xpc);
                failures = 0;
                delay = reconnectDelay;
                break;
            case Kind::cancelled:
                continue;
            }
            co_await environment_.clock->sleep(delay);
        }
    } catch (...) {
        // Cancellation is how a stream ends. Anything else is a fault of this loop: the stream
        // still ends without an error, as its consumer expects, but the fault is told.
        if (auto error = std::current_exception(); !quendal::isCancellation(error))
            AppLogger::error("Stats subscription stopped by an unexpected error: " + describe(error), AppLogger::xpc);
    }
    consumer.finish();
}

asio::awaitable<StatsStreamAttemptResult> StatsClient::attempt(
    const StatsSubscriptionRequest& request, const quendal::AsyncStream<StatsUpdateBatch>::Continuation& consumer)
{
    auto client = transport();
    auto streamTask = [](StatsClient& self, std::shared_ptr<xpc::XPCClient> c, StatsSubscriptionRequest r,
                         quendal::AsyncStream<StatsUpdateBatch>::Continuation out) -> asio::awaitable<StatsStreamAttemptResult> {
        std::exception_ptr failure;
        try {
            auto opening = xpc::sendForSequence(*c, xpc::Routes::statsSubscribe, r);
            auto stream = co_await std::move(opening);
            for (;;) {
                auto receiving = stream.next();
                auto batch = co_await std::move(receiving);
                if (!batch)
                    break;
                out.yield(std::move(*batch));
            }
            co_return StatsStreamAttemptResult{Kind::ended, {}};
        } catch (...) {
            failure = std::current_exception();
        }
        auto classifying = self.classify(failure, Kind::interrupted);
        co_return co_await std::move(classifying);
    };
    auto renewalTask = [](StatsClient& self, std::shared_ptr<xpc::XPCClient> c,
                          StatsSubscriptionRequest r) -> asio::awaitable<StatsStreamAttemptResult> {
        std::exception_ptr failure;
        try {
            for (;;) {
                co_await self.environment_.clock->sleep(renewalInterval);
                auto renewing = xpc::send(*c, xpc::Routes::statsUpdateSubscription, r);
                co_await std::move(renewing);
            }
        } catch (...) {
            failure = std::current_exception();
        }
        auto classifying = self.classify(failure, Kind::renewalFailed);
        co_return co_await std::move(classifying);
    };
    auto signalTask = [](std::shared_ptr<StatsClientRecoverySignal> signal) -> asio::awaitable<StatsStreamAttemptResult> {
        auto waiting = signal->wait();
        auto value = co_await waiting.next();
        co_return StatsStreamAttemptResult{value ? Kind::reconnectRequested : Kind::cancelled, {}};
    };
    std::vector<asio::awaitable<StatsStreamAttemptResult>> children;
    children.push_back(streamTask(*this, client, request, consumer));
    children.push_back(renewalTask(*this, client, request));
    children.push_back(signalTask(recoverySignal_));
    auto racing = quendal::race(std::move(children));
    co_return co_await std::move(racing);
}

template <class Reply, class Route>
asio::awaitable<Reply> StatsClient::sendSnapshotRequest(const Route& route)
{
    int attempts = 0;
    for (;;) {
        co_await waitForReadiness();
        std::exception_ptr failure;
        try {
            auto client = transport();
            auto sending = xpc::sendAndReceive(*client, route);
            co_return co_await std::move(sending);
        } catch (...) {
            failure = std::current_exception();
        }
        if (quendal::isCancellation(failure))
            std::rethrow_exception(failure);
        auto manager = co_await findManager();
        if (manager && isXPCError(failure, xpc::XPCError::Kind::insecure)) {
            AppLogger::info("Stats client saw insecure daemon connection; asking daemon manager to recover.", AppLogger::xpc);
            co_await manager->recoverAfterClientSecurityFailure();
            co_await manager->waitForClientReadiness();
            continue;
        }
        if (manager && manager->isRecovering() && isTransportFailure(failure)) {
            co_await manager->waitForClientReadiness();
            continue;
        }
        if (isTransportFailure(failure)) {
            resetTransport(describe(failure));
            if (++attempts > snapshotRetries)
                std::rethrow_exception(failure);
            AppLogger::warning("Stats snapshot request reset XPC transport; retrying: " + describe(failure), AppLogger::xpc);
        } else {
            if (++attempts > snapshotRetries)
                std::rethrow_exception(failure);
            AppLogger::warning("Stats snapshot request failed; retrying: " + describe(failure), AppLogger::xpc);
        }
        co_await environment_.clock->sleep(backoffDelay(attempts));
    }
}

asio::awaitable<HardwareCatalogSnapshot> StatsClient::hardwareCatalog()
{
    return sendSnapshotRequest<HardwareCatalogSnapshot>(xpc::Routes::hardwareCatalog);
}

asio::awaitable<SystemInventorySnapshot> StatsClient::systemInventory()
{
    return sendSnapshotRequest<SystemInventorySnapshot>(xpc::Routes::systemInventory);
}

asio::awaitable<DisplayCatalogSnapshot> StatsClient::displayCatalog()
{
    return sendSnapshotRequest<DisplayCatalogSnapshot>(xpc::Routes::displayCatalog);
}

asio::awaitable<std::string> StatsClient::ping()
{
    auto client = transport();
    const std::string message = "Ping from stats client";
    auto sending = xpc::sendAndReceive(*client, xpc::Routes::ping, message);
    co_return co_await std::move(sending);
}

asio::awaitable<std::optional<int>> StatsClient::apiVersion()
{
    auto reply = co_await ping();
    co_return DaemonClient::parseAPIVersion(reply);
}

asio::awaitable<bool> StatsClient::isCompatible()
{
    try {
        auto version = co_await apiVersion();
        co_return version == xpc::daemonAPIVersion;
    } catch (...) {
        co_return false;
    }
}

} // namespace tarnel
