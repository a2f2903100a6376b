#pragma once

#include "App/Shell/AppRoute.h"

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "QuendalFoundation/Runtime/AsyncStream.h"
#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace tarnel {

// Where the user is: the top-level route, the stack of nested screens on it, and the routes
// this machine offers (Battery only while the daemon reports a battery). Main actor only.
class Router : public std::enable_shared_from_this<Router> {
public:
    using BatteryUpdates = std::function<quendal::AsyncStream<StatsUpdateBatch>()>;
    // Analytics events; analytics is optional, and without a client events go nowhere.
    using EventSink = std::function<void(const std::string& event, const std::map<std::string, std::string>& properties)>;

    static std::shared_ptr<Router> shared();
    // Makes a router and starts its battery watch.
    static std::shared_ptr<Router> make(BatteryUpdates batteryUpdates, EventSink events = {});

    quendal::Published<AppRoute> route{AppRoute::dashboard};
    quendal::Published<std::vector<SubRoute>> path;
    quendal::Published<std::set<AppRoute>> routes{routesFor(false)};

    bool hasBattery() const { return hasBattery_; }
    bool isWatchingBattery() const { return batteryTask_.isRunning(); }

    // Selects a top-level route and forgets the nested screens, even for the same route.
    void navigate(AppRoute to);
    void push(SubRoute sub);
    void pop();

    static std::set<AppRoute> routesFor(bool hasBattery);

    Router(BatteryUpdates batteryUpdates, EventSink events);

private:
    static asio::awaitable<void> watchBattery(std::weak_ptr<Router> weak, quendal::AsyncStream<StatsUpdateBatch> stream);

    BatteryUpdates batteryUpdates_;
    EventSink events_;
    bool hasBattery_ = false;
    quendal::Task batteryTask_;
};

} // namespace tarnel
