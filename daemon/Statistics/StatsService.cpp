#include "Statistics/StatsService.h"

#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedServer.h"

namespace tarnel::daemon {

StatsService::StatsService(quendal::Executor executor, platform::SystemRoot root, SubscriptionManager::Logger log)
    : collector_(std::make_shared<StatisticsCollector>(root, &std::chrono::steady_clock::now, log)),
      subscriptions_(std::move(executor),
                     SubscriptionManager::Options{quendal::Runtime::shared().clockPointer(),
                                                  [collector = collector_](const std::set<DaemonService>& services) {
                                                      return collector->collect(services);
                                                  },
                                                  std::move(log), 60})
{
    // Drives are only asked on the real machine; a recorded tree has no devices behind it.
    if (root.root() == "/")
        collector_->setSmartProbe(std::make_shared<SmartctlProbe>());
}

void StatsService::registerRoutes(xpc::XPCServer& server)
{
    using xpc::RequestContext;
    using Sink = std::shared_ptr<xpc::TypedSequenceSink<StatsUpdateBatch>>;
    xpc::registerHandler(server, xpc::Routes::statsSubscribe,
                         [this](StatsSubscriptionRequest request, Sink sink, RequestContext c) -> asio::awaitable<void> {
                             subscriptions_.subscribe(
                                 request,
                                 [sink](const StatsUpdateBatch& batch) {
                                     try {
                                         sink->send(batch);
                                         return true;
                                     } catch (const xpc::XPCError&) {
                                         return false;
                                     }
                                 },
                                 c.connectionId);
                             co_return;
                         });
    xpc::registerHandler(server, xpc::Routes::statsUpdateSubscription,
                         [this](StatsSubscriptionRequest request, RequestContext) -> asio::awaitable<void> {
                             if (!subscriptions_.update(request))
                                 throw std::invalid_argument("No such subscription: " + request.subscriptionID.rawValue.text());
                             co_return;
                         });
    xpc::registerHandler(server, xpc::Routes::statsUnsubscribe,
                         [this](StatsSubscriptionKey key, RequestContext) -> asio::awaitable<void> {
                             subscriptions_.unsubscribe(key);
                             co_return;
                         });
}

} // namespace tarnel::daemon
