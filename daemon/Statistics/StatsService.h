#pragma once

#include "Statistics/StatisticsCollector.h"
#include "Statistics/SubscriptionManager.h"

#include "TarnelXPC/XPCServer.h"

#include <memory>

namespace tarnel::daemon {

// The statistics endpoint's stream routes over one collector and one subscription manager.
class StatsService {
public:
    StatsService(quendal::Executor executor, platform::SystemRoot root, SubscriptionManager::Logger log);

    void registerRoutes(xpc::XPCServer& server);
    void connectionClosed(std::uint64_t connectionId) { subscriptions_.dropConnection(connectionId); }
    SubscriptionManager& subscriptions() { return subscriptions_; }

private:
    std::shared_ptr<StatisticsCollector> collector_;
    SubscriptionManager subscriptions_;
};

} // namespace tarnel::daemon
