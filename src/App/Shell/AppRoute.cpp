#include "App/Shell/AppRoute.h"

#include "App/Localization/Localizable.h"

namespace tarnel {

namespace {

struct RouteInfo {
    std::string_view raw;
    std::string_view titleKey; // empty: the title is not localised
    std::string_view icon;
};

constexpr std::array<RouteInfo, allAppRoutes.size()> routeInfo{{
    {"dashboard", "dashboard_title", "dashboard-macbook"},
    {"monitor", "monitor_title", "monitor"},
    {"clean", "clean_title", "clean"},
    {"trim", "trim_title", "trim"},
    {"optimizer", "optimizer_title", "optimize"},
    {"uninstaller", "uninstaller_title", "uninstaller"},
    {"storage", "storage_title", "storage"},
    {"battery", "battery_title", "battery"},
    {"graphics", "graphics_title", "graphics"},
    {"cooling", "cooling_title", "cooling"},
    {"settings", "settings_title", "settings"},
    {"feedback", "", "megaphone"},
}};

const RouteInfo& info(AppRoute route)
{
    return routeInfo[static_cast<std::size_t>(route)];
}

constexpr std::array<std::string_view, 10> subRouteNames{"diskBenchmark", "diskHealth",   "diskStatistics",
                                                          "diskEntities",  "gpuStatistics", "gpuEntities",
                                                          "cleanResults",  "uninstallerResults", "optimizer", "trim"};

} // namespace

std::string_view rawValue(AppRoute route)
{
    return info(route).raw;
}

std::optional<AppRoute> appRouteFromRawValue(std::string_view raw)
{
    for (auto route : allAppRoutes)
        if (info(route).raw == raw)
            return route;
    return std::nullopt;
}

std::string title(AppRoute route)
{
    const auto& i = info(route);
    return i.titleKey.empty() ? std::string("Feedback") : localized(i.titleKey);
}

std::string_view iconName(AppRoute route)
{
    return info(route).icon;
}

bool usesSymbol(AppRoute route)
{
    return route == AppRoute::feedback;
}

std::string describe(AppRoute route)
{
    return std::string(rawValue(route));
}

std::optional<std::string> SubRoute::missingItemText() const
{
    switch (kind) {
    case Kind::diskHealth:
    case Kind::diskStatistics:
        return "Drive not found";
    case Kind::diskEntities:
        return "Disk not found";
    case Kind::gpuStatistics:
    case Kind::gpuEntities:
        return "GPU not found";
    default:
        return std::nullopt;
    }
}

std::string describe(const SubRoute& route)
{
    std::string text(subRouteNames[static_cast<std::size_t>(route.kind)]);
    if (!route.identifier.empty())
        text += "(" + route.identifier + ")";
    return text;
}

} // namespace tarnel
