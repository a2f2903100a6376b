#include "QuendalCore/Navigation/SheetController.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <asio/post.hpp>

#include <fmt/format.h>

namespace quendal {

SheetController::SheetController(std::weak_ptr<SheetHost> host, std::shared_ptr<QueueNavigator> navigator,
                                 std::shared_ptr<NavigationRouter> router, Executor executor)
    : host_(std::move(host)), navigator_(std::move(navigator)), router_(std::move(router)), executor_(std::move(executor))
{
}

void SheetController::start()
{
    navigator_->currentPublisher()
        .sink([this](const std::optional<AnyRoute>& route) {
            later([route](SheetController& self) { self.routeChanged(route); });
        })
        .store(cancellables_);
    if (auto host = host_.lock())
        host->observeSheetEnded([this] { later([](SheetController& self) { self.sheetEnded(); }); }).store(cancellables_);
}

void SheetController::later(std::function<void(SheetController&)> work)
{
    std::weak_ptr<SheetController> weak = weak_from_this();
    asio::post(executor_, [weak, work = std::move(work)] {
        if (auto self = weak.lock())
            work(*self);
    });
}

void SheetController::routeChanged(std::optional<AnyRoute> route)
{
    AppLogger::debug("Route changed: " + (route ? route->description() : std::string("none")));
    if (route) {
        present(*route);
        return;
    }
    AppLogger::debug("Dismissing current sheet");
    if (auto host = host_.lock(); host && presented_)
        host->endSheet(presented_);
}

void SheetController::present(const AnyRoute& route)
{
    auto host = host_.lock();
    if (!host) {
        AppLogger::debug("No host controller");
        return;
    }
    if (!host->hasWindow()) {
        AppLogger::debug("Host view has no window — deferring route " + route.description());
        pending_ = route;
        if (!windowObserver_)
            windowObserver_ = host->observeWindow([this] { later([](SheetController& self) { self.windowAppeared(); }); });
        return;
    }
    AppLogger::debug("Presenting sheet for route: " + route.description());
    pending_.reset();
    if (presented_)
        host->endSheet(std::exchange(presented_, nullptr));
    auto content = router_->resolve(route);
    if (!content) {
        AppLogger::debug("Attempting to present unregistered route: " + route.description());
        return;
    }
    auto size = content->fittingSize();
    if (size.width <= 0 || size.height <= 0)
        size = {400, 300};
    AppLogger::debug(fmt::format("Preferred content size: ({}, {})", size.width, size.height));
    if (!host->isWindowKeyAndVisible()) {
        AppLogger::debug("host.window is not key or visible — calling makeKeyAndOrderFront");
        host->makeKeyAndOrderFront();
    }
    host->presentSheet(content, size);
    AppLogger::debug("Sheet presentation triggered");
    presented_ = std::move(content);
}

void SheetController::windowAppeared()
{
    AppLogger::debug("Host window became non-nil, trying to present pending route");
    windowObserver_.reset();
    if (auto route = std::exchange(pending_, std::nullopt)) {
        AppLogger::debug("Trying to present deferred route: " + route->description());
        present(*route);
    } else {
        AppLogger::debug("No pending route to present");
    }
}

void SheetController::sheetEnded()
{
    AppLogger::debug("Received didEndSheetNotification");
    auto host = host_.lock();
    if (host && host->sheetCount() > 0) {
        AppLogger::debug("Sheet dismissal skipped — sheets still active");
        return;
    }
    AppLogger::debug("Sheet dismissed — dequeueing next");
    presented_.reset();
    navigator_->dequeue();
}

SheetCoordinator SheetCoordinator::make(std::weak_ptr<SheetHost> host, NavigationRouter::Hosting hosting, Executor executor)
{
    SheetCoordinator coordinator;
    coordinator.navigator = std::make_shared<QueueNavigator>();
    coordinator.router = std::make_shared<NavigationRouter>(std::move(hosting));
    coordinator.controller =
        std::make_shared<SheetController>(std::move(host), coordinator.navigator, coordinator.router, std::move(executor));
    coordinator.controller->start();
    return coordinator;
}

} // namespace quendal
