#include "Catalog/DisplayCatalogCollector.h"

#include "Platform/Display/DrmConnectorReader.h"
#include "Platform/Display/Edid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <tuple>

namespace tarnel::daemon {

namespace {

using platform::DrmConnector;
using platform::DrmModeName;
using platform::EdidDetailedTiming;
using platform::EdidInfo;

using ModeKey = std::tuple<std::uint32_t, std::uint32_t, bool>;

ModeKey keyOf(const DrmModeName& mode) { return {mode.width, mode.height, mode.interlaced}; }
ModeKey keyOf(const EdidDetailedTiming& timing) { return {timing.width(), timing.height(), timing.interlaced}; }

std::uint32_t fnv1a(std::string_view text)
{
    std::uint32_t hash = 2166136261u;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 16777619u;
    }
    return hash;
}

std::optional<std::string> manufactureDate(const EdidInfo& edid)
{
    if (edid.modelYear)
        return fmt::format("Model year {}", *edid.modelYear);
    if (!edid.manufactureYear)
        return std::nullopt;
    if (edid.manufactureWeek)
        return fmt::format("Week {}, {}", *edid.manufactureWeek, *edid.manufactureYear);
    return fmt::format("{}", *edid.manufactureYear);
}

// The preferred timing's image size is in millimetres and so finer than the base block's
// centimetres, but some displays write an aspect ratio (16 x 9) there: it is trusted only
// when it agrees with the centimetres.
std::pair<double, double> physicalSize(const EdidInfo& edid)
{
    if (!edid.widthCentimeters || !edid.heightCentimeters)
        return {0, 0};
    const double width = *edid.widthCentimeters * 10.0;
    const double height = *edid.heightCentimeters * 10.0;
    if (const auto* timing = edid.preferredTiming()) {
        const double w = timing->imageWidthMillimeters;
        const double h = timing->imageHeightMillimeters;
        if (w > 0 && h > 0 && std::abs(w - width) <= 10 && std::abs(h - height) <= 10)
            return {w, h};
    }
    return {width, height};
}

// Refresh rates for the kernel's mode lines, which name only a size. The kernel lists the
// preferred mode first and the modes of one size by falling refresh rate, but it also adds
// modes the EDID's detailed timings do not state; so a size gets the rates of its detailed
// timings only when it has as many lines as timings, and a rate stays absent otherwise.
std::vector<std::optional<double>> refreshRates(const std::vector<DrmModeName>& lines, const std::optional<EdidInfo>& edid)
{
    std::vector<std::optional<double>> rates(lines.size());
    if (!edid || lines.empty())
        return rates;
    std::map<ModeKey, std::vector<double>> timingRates;
    for (const auto& timing : edid->timings) {
        if (auto rate = timing.refreshRate())
            timingRates[keyOf(timing)].push_back(*rate);
    }
    std::size_t first = 0;
    if (const auto* preferred = edid->preferredTiming(); preferred && keyOf(lines[0]) == keyOf(*preferred)) {
        rates[0] = preferred->refreshRate();
        auto& pool = timingRates[keyOf(*preferred)];
        if (rates[0])
            pool.erase(std::find(pool.begin(), pool.end(), *rates[0]));
        first = 1;
    }
    std::map<ModeKey, std::vector<std::size_t>> linesOfSize;
    for (std::size_t i = first; i < lines.size(); ++i)
        linesOfSize[keyOf(lines[i])].push_back(i);
    for (auto& [key, indices] : linesOfSize) {
        auto found = timingRates.find(key);
        if (found == timingRates.end() || found->second.size() != indices.size())
            continue;
        auto pool = found->second;
        std::sort(pool.begin(), pool.end(), std::greater<>());
        for (std::size_t k = 0; k < indices.size(); ++k)
            rates[indices[k]] = pool[k];
    }
    return rates;
}

std::vector<DisplayModeSnapshot> modes(const DrmConnector& connector, const std::optional<EdidInfo>& edid, double widthMillimeters)
{
    std::vector<DrmModeName> lines = connector.modes;
    // A connector that lists no modes still has the ones its display states.
    if (lines.empty() && edid) {
        for (const auto& timing : edid->timings) {
            const DrmModeName mode{timing.width(), timing.height(), timing.interlaced};
            lines.push_back(mode);
        }
    }
    const auto rates = refreshRates(lines, edid);
    const EdidDetailedTiming* preferred = edid ? edid->preferredTiming() : nullptr;
    const std::optional<ModeKey> nativeKey = preferred ? std::optional(keyOf(*preferred))
        : lines.empty()                                ? std::nullopt
                                                       : std::optional(keyOf(lines.front()));

    std::vector<DisplayModeSnapshot> result;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto& line = lines[i];
        DisplayModeSnapshot mode;
        mode.id = static_cast<std::int32_t>(i);
        mode.width = line.width;
        mode.height = line.height;
        // Desktops leave interlaced modes out of their choice; those are television formats.
        mode.isUsableForDesktopGUI = !line.interlaced;
        mode.isTVOutput = line.interlaced;
        // The kernel lists only modes it checked against the display's stated limits.
        mode.isSafeForHardware = true;
        mode.isBuiltIn = edid && std::any_of(edid->timings.begin(), edid->timings.end(),
                                     [&](const EdidDetailedTiming& t) { return keyOf(t) == keyOf(line); });
        mode.isNative = nativeKey == keyOf(line);
        mode.isDefault = i == 0;
        if (widthMillimeters > 0)
            mode.ppi = std::llround(line.width / (widthMillimeters / 25.4));
        if (edid && edid->bitsPerColor)
            mode.depthFormat = *edid->bitsPerColor;
        mode.refreshRate = rates[i];
        result.push_back(mode);
    }
    return result;
}

DisplayCatalogItem item(const DrmConnector& connector)
{
    DisplayCatalogItem item;
    item.identifier = connector.name;
    item.displayID = connector.connectorID.value_or(fnv1a(connector.name));
    item.isInternal = connector.isInternal();

    const auto edid = platform::parseEdid(connector.edid);
    if (!connector.edid.empty())
        item.edid = Value::Bytes(connector.edid.begin(), connector.edid.end());
    double widthMillimeters = 0;
    if (edid) {
        item.name = edid->monitorName;
        item.vendorID = edid->vendorID.value_or("");
        item.productID = fmt::format("{:04X}", edid->productCode);
        item.serialNumber = edid->serialNumber;
        item.manufactureDate = manufactureDate(*edid);
        std::tie(item.widthMillimeters, item.heightMillimeters) = physicalSize(*edid);
        widthMillimeters = item.widthMillimeters;
    }

    if (item.isInternal) {
        item.isBacklit = connector.backlight.has_value();
        if (connector.backlight)
            item.backlight = connector.backlight->fraction();
    }

    const bool enabled = connector.enabled.value_or(false);
    const bool sleeping = connector.dpms && *connector.dpms != "On";
    item.isActive = enabled && !sleeping;
    item.isAsleep = enabled && sleeping;

    item.modes = modes(connector, edid, widthMillimeters);
    // Without a compositor to ask, the kernel drives an enabled output in its preferred mode
    // unless someone set another, so that mode is the one in use as far as sysfs can tell.
    if (enabled && !item.modes.empty())
        item.currentMode = item.modes.front();
    return item;
}

} // namespace

DisplayCatalogCollector::DisplayCatalogCollector(platform::SystemRoot root) : root_(std::move(root)) {}

DisplayCatalogSnapshot DisplayCatalogCollector::collect() const
{
    DisplayCatalogSnapshot snapshot;
    for (const auto& connector : platform::DrmConnectorReader(root_).connectors()) {
        if (!connector.isConnected())
            continue;
        auto display = item(connector);
        display.unitNumber = static_cast<std::uint32_t>(snapshot.displays.size());
        snapshot.displays.push_back(std::move(display));
    }

    auto& displays = snapshot.displays;
    auto main = std::find_if(displays.begin(), displays.end(),
        [](const DisplayCatalogItem& d) { return d.isActive && d.isInternal; });
    if (main == displays.end())
        main = std::find_if(displays.begin(), displays.end(), [](const DisplayCatalogItem& d) { return d.isActive; });
    if (main != displays.end())
        main->isMain = true;

    snapshot.generatedAt = Date::now();
    return snapshot;
}

} // namespace tarnel::daemon
