#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tarnel {

// The top-level screens, in sidebar order of declaration.
enum class AppRoute : std::uint8_t {
    dashboard,
    monitor,
    clean,
    trim,
    optimizer,
    uninstaller,
    storage,
    battery,
    graphics,
    cooling,
    settings,
    feedback,
};

inline constexpr std::array allAppRoutes{AppRoute::dashboard, AppRoute::monitor,  AppRoute::clean,    AppRoute::trim,
                                         AppRoute::optimizer, AppRoute::uninstaller, AppRoute::storage, AppRoute::battery,
                                         AppRoute::graphics,  AppRoute::cooling,  AppRoute::settings, AppRoute::feedback};

std::string_view rawValue(AppRoute route);
std::optional<AppRoute> appRouteFromRawValue(std::string_view raw);
// The localised title; `feedback` has no key and is always "Feedback".
std::string title(AppRoute route);
// The asset name of the icon, or for `feedback` a symbol name (see `usesSymbol`).
std::string_view iconName(AppRoute route);
bool usesSymbol(AppRoute route);
std::string describe(AppRoute route);

// Screens pushed on top of a route, by case and payload.
struct SubRoute {
    enum class Kind : std::uint8_t {
        diskBenchmark,
        diskHealth,
        diskStatistics,
        diskEntities,
        gpuStatistics,
        gpuEntities,
        cleanResults,
        uninstallerResults,
        optimizer,
        trim,
    };
    Kind kind;
    // The disk, drive or GPU identifier for the cases that carry one; empty otherwise.
    std::string identifier;

    static SubRoute diskBenchmark(std::string diskIdentifier) { return {Kind::diskBenchmark, std::move(diskIdentifier)}; }
    static SubRoute diskHealth(std::string driveIdentifier) { return {Kind::diskHealth, std::move(driveIdentifier)}; }
    static SubRoute diskStatistics(std::string driveIdentifier) { return {Kind::diskStatistics, std::move(driveIdentifier)}; }
    static SubRoute diskEntities(std::string diskIdentifier) { return {Kind::diskEntities, std::move(diskIdentifier)}; }
    static SubRoute gpuStatistics(std::string gpuIdentifier) { return {Kind::gpuStatistics, std::move(gpuIdentifier)}; }
    static SubRoute gpuEntities(std::string gpuIdentifier) { return {Kind::gpuEntities, std::move(gpuIdentifier)}; }
    static SubRoute of(Kind kind) { return {kind, {}}; }

    // The text shown while the item is not in the catalogue; nullopt when the screen handles it.
    std::optional<std::string> missingItemText() const;

    friend bool operator==(const SubRoute&, const SubRoute&) = default;
};

std::string describe(const SubRoute& route);

} // namespace tarnel

template <>
struct std::hash<tarnel::SubRoute> {
    std::size_t operator()(const tarnel::SubRoute& r) const
    {
        return std::hash<std::string>{}(r.identifier) * 31 + static_cast<std::size_t>(r.kind);
    }
};
