#include "Statistics/SubscriptionManager.h"

#include <fmt/format.h>

namespace tarnel::daemon {

SubscriptionManager::SubscriptionManager(quendal::Executor executor, Options options)
    : executor_(std::move(executor)), options_(std::move(options))
{
}

SubscriptionManager::~SubscriptionManager() { loop_.cancel(); }

void SubscriptionManager::log(const std::string& line) const
{
    if (options_.log)
        options_.log(line);
}

std::set<DaemonService> SubscriptionManager::servicesOf(const StatsSubscriptionRequest& request)
{
    std::set<DaemonService> services = request.services;
    for (const auto& [statistic, indexes] : request.statistics.entries)
        services.insert(requiredService(statistic));
    return services;
}

StatsUpdateBatch SubscriptionManager::batchFor(const StatsSubscriptionRequest& request, const CollectedState& state)
{
    StatsUpdateBatch batch;
    batch.subscriptionID = request.subscriptionID;
    batch.generatedAt = state.arrays.generatedAt;
    std::set<DaemonService> carried;
    for (const auto& value : state.values) {
        auto wanted = request.statistics.entries.find(value.statistic);
        if (wanted == request.statistics.entries.end())
            continue;
        if (!wanted->second.empty() && !wanted->second.contains(value.index))
            continue;
        batch.values.push_back(value);
    }
    // A service brings its arrays whether it was asked for directly or through one of its statistics:
    // the process lists, volumes and temperatures are what those statistics show.
    for (auto service : servicesOf(request)) {
        if (!state.services.contains(service))
            continue;
        carried.insert(service);
        collectorOf(service).carry(service, state.arrays, batch);
    }
    batch.services.assign(carried.begin(), carried.end());
    return batch;
}

void SubscriptionManager::subscribe(const StatsSubscriptionRequest& request, Delivery delivery, std::uint64_t connectionId)
{
    // Prime the services no one samples yet, so the first batch already has rates.
    std::set<DaemonService> sampled;
    for (const auto& [key, s] : subscriptions_) {
        auto services = servicesOf(s.request);
        sampled.insert(services.begin(), services.end());
    }
    std::set<DaemonService> fresh;
    for (auto service : servicesOf(request))
        if (!sampled.contains(service))
            fresh.insert(service);
    if (!fresh.empty() && options_.collect)
        options_.collect(fresh);

    subscriptions_[request.key()] = Subscription{request, std::move(delivery), connectionId, options_.clock->now()};
    log(fmt::format("Subscription {} of client {} at {} ({} statistics, {} services)",
                    request.subscriptionID.rawValue.text(), request.clientID.rawValue.text(),
                    description(request.frequency), request.statistics.entries.size(), request.services.size()));
    ensureLoop();
}

bool SubscriptionManager::update(const StatsSubscriptionRequest& request)
{
    auto it = subscriptions_.find(request.key());
    if (it == subscriptions_.end())
        return false;
    it->second.request = request;
    it->second.renewedAt = options_.clock->now();
    return true;
}

void SubscriptionManager::unsubscribe(const StatsSubscriptionKey& key)
{
    if (subscriptions_.erase(key))
        log(fmt::format("Subscription {} ended by its client", key.subscriptionID.rawValue.text()));
}

void SubscriptionManager::dropConnection(std::uint64_t connectionId)
{
    std::erase_if(subscriptions_, [&](const auto& entry) { return entry.second.connectionId == connectionId; });
}

void SubscriptionManager::ensureLoop()
{
    if (loop_.isRunning())
        return;
    loop_ = quendal::spawn(executor_, tickLoop());
}

asio::awaitable<void> SubscriptionManager::tickLoop()
{
    while (!subscriptions_.empty()) {
        co_await options_.clock->sleep(quendal::Clock::fromSeconds(UpdateFrequencyClock::baseInterval()));
        ++tick_;
        tick();
    }
}

void SubscriptionManager::tick()
{
    const auto now = options_.clock->now();
    const auto expiry = quendal::Clock::fromSeconds(options_.expirySeconds);
    std::erase_if(subscriptions_, [&](const auto& entry) {
        if (now - entry.second.renewedAt <= expiry)
            return false;
        log(fmt::format("Subscription {} dropped: no renewal for {} seconds", entry.first.subscriptionID.rawValue.text(),
                        options_.expirySeconds));
        return true;
    });

    std::vector<StatsSubscriptionKey> due;
    std::set<DaemonService> services;
    for (const auto& [key, s] : subscriptions_) {
        if (tick_ % ticks(s.request.frequency) != 0)
            continue;
        due.push_back(key);
        auto needed = servicesOf(s.request);
        services.insert(needed.begin(), needed.end());
    }
    if (due.empty() || !options_.collect)
        return;
    const auto state = options_.collect(services);
    for (const auto& key : due) {
        auto it = subscriptions_.find(key);
        if (it == subscriptions_.end())
            continue;
        if (!it->second.delivery(batchFor(it->second.request, state))) {
            log(fmt::format("Subscription {} dropped: its client is gone", key.subscriptionID.rawValue.text()));
            subscriptions_.erase(it);
        }
    }
}

} // namespace tarnel::daemon
