#pragma once

#include "App/Shell/Router.h"

#include "QuendalFoundation/Runtime/Cancellable.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

struct RouteSection {
    std::string id;
    std::optional<std::string> title;
    std::vector<AppRoute> routes;
    friend bool operator==(const RouteSection&, const RouteSection&) = default;
};

// One row of the sidebar.
struct SidebarItem {
    AppRoute route;
    std::string title;
    std::optional<std::string> symbol;
    std::optional<std::string> icon;
    bool isLoading = false;
    bool selected = false;
};

// The sidebar's model: the sections of the routes the router offers, and the selection.
class SidebarMenu {
public:
    explicit SidebarMenu(std::shared_ptr<Router> router);

    // Every section with all its routes, in order; "settings" is pinned to the bottom.
    static std::vector<RouteSection> allSections();

    quendal::Published<std::vector<RouteSection>> sections;
    quendal::Published<AppRoute> currentRoute;

    std::vector<SidebarItem> items(const RouteSection& section) const;
    void tap(AppRoute route) { router_->navigate(route); }

private:
    std::shared_ptr<Router> router_;
    quendal::Cancellables cancellables_;
};

} // namespace tarnel
