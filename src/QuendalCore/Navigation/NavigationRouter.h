#pragma once

#include "QuendalCore/Navigation/AnyRoute.h"

#include <functional>
#include <memory>
#include <optional>
#include <typeindex>
#include <unordered_map>

namespace quendal {

struct SheetSize {
    double width = 0;
    double height = 0;
    friend bool operator==(const SheetSize&, const SheetSize&) = default;
};

// What a destination makes: the controller of one screen, toolkit-neutral.
class SheetContent {
public:
    virtual ~SheetContent() = default;
    // Loads and lays out the content, then answers the size it fits in.
    virtual SheetSize fittingSize() = 0;
};

// Makes the screen for a route by the route's type.
class NavigationRouter {
public:
    using Factory = std::function<std::shared_ptr<SheetContent>(const AnyRoute&)>;
    // Wraps a plain view in a controller of its own.
    using Hosting = std::function<std::shared_ptr<SheetContent>(std::shared_ptr<SheetContent>)>;

    explicit NavigationRouter(Hosting hosting = {}) : hosting_(std::move(hosting)) {}

    template <class Route>
    void registerView(std::function<std::shared_ptr<SheetContent>(const Route&)> make)
    {
        add(typeid(Route), Kind::view, erase(std::move(make)));
    }
    template <class Route>
    void registerViewController(std::function<std::shared_ptr<SheetContent>(const Route&)> make)
    {
        add(typeid(Route), Kind::viewController, erase(std::move(make)));
    }

    // The controller for the route; nullptr when its type has no destination.
    std::shared_ptr<SheetContent> resolve(const AnyRoute& route) const;
    bool hasDestination(const AnyRoute& route) const { return factories_.count(route.type()) != 0; }

private:
    enum class Kind { view, viewController };
    struct Destination {
        Kind kind;
        Factory make;
    };

    template <class Route>
    static Factory erase(std::function<std::shared_ptr<SheetContent>(const Route&)> make)
    {
        return [make = std::move(make)](const AnyRoute& route) { return make(*route.as<Route>()); };
    }
    void add(std::type_index type, Kind kind, Factory make);

    Hosting hosting_;
    std::unordered_map<std::type_index, Destination> factories_;
};

} // namespace quendal
