#include "App/Shell/SidebarMenu.h"

#include "App/Localization/Localizable.h"

#include <algorithm>

namespace tarnel {

std::vector<RouteSection> SidebarMenu::allSections()
{
    return {
        {"main", std::nullopt, {AppRoute::dashboard, AppRoute::monitor}},
        {"utilities", localized("utilities_section"),
         {AppRoute::optimizer, AppRoute::uninstaller, AppRoute::clean, AppRoute::trim}},
        {"hardware", localized("hardware_section"), {AppRoute::storage, AppRoute::graphics, AppRoute::cooling, AppRoute::battery}},
        {"settings", std::nullopt, {AppRoute::feedback, AppRoute::settings}},
    };
}

SidebarMenu::SidebarMenu(std::shared_ptr<Router> router) : currentRoute(router->route.value()), router_(std::move(router))
{
    router_->routes.publisher()
        .sink([this](const std::set<AppRoute>& offered) {
            std::vector<RouteSection> shown;
            for (auto section : allSections()) {
                std::erase_if(section.routes, [&](AppRoute r) { return !offered.contains(r); });
                if (!section.routes.empty())
                    shown.push_back(std::move(section));
            }
            sections.set(std::move(shown));
        })
        .store(cancellables_);
    router_->route.publisher().sink([this](const AppRoute& r) { currentRoute.set(r); }).store(cancellables_);
}

std::vector<SidebarItem> SidebarMenu::items(const RouteSection& section) const
{
    std::vector<SidebarItem> rows;
    const auto current = currentRoute.value();
    for (auto route : section.routes) {
        SidebarItem item{route, title(route), std::nullopt, std::nullopt, false, route == current};
        (usesSymbol(route) ? item.symbol : item.icon) = std::string(iconName(route));
        rows.push_back(std::move(item));
    }
    return rows;
}

} // namespace tarnel
