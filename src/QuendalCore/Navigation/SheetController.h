#pragma once

#include "QuendalCore/Navigation/NavigationRouter.h"
#include "QuendalCore/Navigation/QueueNavigator.h"

#include "QuendalFoundation/Runtime/Cancellable.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <functional>
#include <memory>
#include <optional>

namespace quendal {

// The window side of sheets: a toolkit implements it over its main window.
class SheetHost {
public:
    virtual ~SheetHost() = default;
    virtual bool hasWindow() const = 0;
    virtual bool isWindowKeyAndVisible() const = 0;
    virtual void makeKeyAndOrderFront() = 0;
    virtual void presentSheet(std::shared_ptr<SheetContent> content, SheetSize size) = 0;
    virtual void endSheet(const std::shared_ptr<SheetContent>& content) = 0;
    virtual std::size_t sheetCount() const = 0;
    // Calls back when the window comes into being.
    virtual Cancellable observeWindow(std::function<void()> appeared) = 0;
    // Calls back each time a sheet of the window ended, by the user or by endSheet.
    virtual Cancellable observeSheetEnded(std::function<void()> ended) = 0;
};

// Shows the head of a queue of routes as a sheet on the host's window, one at a time; a sheet
// that ends dequeues the next. Every change is handled on the main actor, in order.
class SheetController : public std::enable_shared_from_this<SheetController> {
public:
    SheetController(std::weak_ptr<SheetHost> host, std::shared_ptr<QueueNavigator> navigator,
                    std::shared_ptr<NavigationRouter> router, Executor executor);

    void start();

    std::shared_ptr<SheetContent> presentedContent() const { return presented_; }
    std::optional<AnyRoute> pendingRoute() const { return pending_; }

private:
    void routeChanged(std::optional<AnyRoute> route);
    void present(const AnyRoute& route);
    void windowAppeared();
    void sheetEnded();
    // Runs `work` on the main actor, holding the controller weakly.
    void later(std::function<void(SheetController&)> work);

    std::weak_ptr<SheetHost> host_;
    std::shared_ptr<QueueNavigator> navigator_;
    std::shared_ptr<NavigationRouter> router_;
    Executor executor_;
    Cancellables cancellables_;
    std::shared_ptr<SheetContent> presented_;
    std::optional<AnyRoute> pending_;
    std::optional<Cancellable> windowObserver_;
};

// The navigator, router and controller that a coordinator owns together.
struct SheetCoordinator {
    std::shared_ptr<QueueNavigator> navigator;
    std::shared_ptr<NavigationRouter> router;
    std::shared_ptr<SheetController> controller;

    static SheetCoordinator make(std::weak_ptr<SheetHost> host, NavigationRouter::Hosting hosting, Executor executor);
};

} // namespace quendal
