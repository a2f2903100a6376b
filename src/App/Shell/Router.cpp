#include "App/Shell/Router.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/ConsumeWhileAlive.h"

namespace tarnel {

std::shared_ptr<Router> Router::shared()
{
    static const auto router = make([] {
        return StatsClient::sharedUpdates(std::set<DaemonService>{DaemonService::battery}, StatisticUpdateFrequency::slow);
    });
    return router;
}

std::shared_ptr<Router> Router::make(BatteryUpdates batteryUpdates, EventSink events)
{
    auto router = std::make_shared<Router>(std::move(batteryUpdates), std::move(events));
    auto stream = router->batteryUpdates_();
    router->batteryTask_ = quendal::spawnOnMain(watchBattery(router, std::move(stream)));
    return router;
}

Router::Router(BatteryUpdates batteryUpdates, EventSink events)
    : batteryUpdates_(std::move(batteryUpdates)), events_(std::move(events))
{
}

std::set<AppRoute> Router::routesFor(bool hasBattery)
{
    std::set<AppRoute> offered(allAppRoutes.begin(), allAppRoutes.end());
    if (!hasBattery)
        offered.erase(AppRoute::battery);
    return offered;
}

void Router::navigate(AppRoute to)
{
    route.set(to);
    path.set({});
    if (events_)
        events_("route_changed", {{"route_id", std::string(rawValue(to))}});
}

void Router::push(SubRoute sub)
{
    auto stack = path.value();
    stack.push_back(std::move(sub));
    path.set(std::move(stack));
}

void Router::pop()
{
    auto stack = path.value();
    if (stack.empty())
        return;
    stack.pop_back();
    path.set(std::move(stack));
}

asio::awaitable<void> Router::watchBattery(std::weak_ptr<Router> weak, quendal::AsyncStream<StatsUpdateBatch> stream)
{
    std::exception_ptr failure;
    try {
        auto following = quendal::consumeWhileAlive(std::move(weak), std::move(stream), [](Router& self, StatsUpdateBatch batch) {
            // The user is never moved away from Battery when it vanishes; only the row goes.
            self.hasBattery_ = batch.battery.has_value();
            self.routes.set(routesFor(self.hasBattery_));
        });
        co_await std::move(following);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure)
        quendal::AppLogger::errorUnlessCancelled(failure, {}, "The battery watch ended with an unknown error");
}

} // namespace tarnel
