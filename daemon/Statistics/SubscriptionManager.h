#pragma once

#include "Statistics/StatisticsCollector.h"

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <map>
#include <memory>
#include <set>

namespace tarnel::daemon {

// The live subscriptions of all clients and the one tick loop that serves them. Each tick
// samples the services that the subscriptions due at that tick need (so a service is sampled
// at the pace of its fastest subscription) and sends each due subscription a batch with only
// what it asked for. A subscription whose renewals stop for `expirySeconds` is dropped.
class SubscriptionManager {
public:
    // Hands a batch to the client; false when the client is gone.
    using Delivery = std::function<bool(const StatsUpdateBatch&)>;
    // Tells the client that its subscription lapsed (the sequence's end).
    using Lapse = std::function<void()>;
    using Collect = std::function<CollectedState(const std::set<DaemonService>&)>;
    using Logger = std::function<void(const std::string&)>;

    struct Options {
        std::shared_ptr<quendal::Clock> clock;
        Collect collect;
        Logger log;
        double expirySeconds = 60;
    };

    SubscriptionManager(quendal::Executor executor, Options options);
    ~SubscriptionManager();

    void subscribe(const StatsSubscriptionRequest& request, Delivery delivery, std::uint64_t connectionId,
                   Lapse lapsed = {});
    // A renewal; false for a subscription the daemon does not know (dropped or never made).
    bool update(const StatsSubscriptionRequest& request);
    void unsubscribe(const StatsSubscriptionKey& key);
    void dropConnection(std::uint64_t connectionId);
    std::size_t count() const { return subscriptions_.size(); }

    // What a request needs sampled, and its share of a tick's state.
    static std::set<DaemonService> servicesOf(const StatsSubscriptionRequest& request);
    static StatsUpdateBatch batchFor(const StatsSubscriptionRequest& request, const CollectedState& state);

private:
    struct Subscription {
        StatsSubscriptionRequest request;
        Delivery delivery;
        std::uint64_t connectionId = 0;
        Lapse lapsed;
        quendal::Clock::TimePoint renewedAt;
    };

    void ensureLoop();
    asio::awaitable<void> tickLoop();
    void tick();
    void dropLapsed(quendal::Clock::TimePoint now);
    void log(const std::string& line) const;

    quendal::Executor executor_;
    Options options_;
    std::map<StatsSubscriptionKey, Subscription> subscriptions_;
    std::uint64_t tick_ = 0;
    quendal::Task loop_;
};

} // namespace tarnel::daemon
