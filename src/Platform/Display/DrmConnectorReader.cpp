#include "Platform/Display/DrmConnectorReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <algorithm>
#include <tuple>

namespace tarnel::platform {

namespace {

std::optional<std::uint32_t> parseIndex(std::string_view digits)
{
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    auto value = text::parseUnsigned(digits);
    if (!value || *value > UINT32_MAX)
        return std::nullopt;
    return static_cast<std::uint32_t>(*value);
}

std::optional<DrmBacklight> readBacklight(const std::filesystem::path& directory)
{
    auto maximum = SystemRoot::readAttribute(directory / "max_brightness");
    auto current = SystemRoot::readAttribute(directory / "brightness");
    if (!maximum || !current)
        return std::nullopt;
    auto maxValue = text::parseUnsigned(*maximum);
    auto value = text::parseUnsigned(*current);
    if (!maxValue || !value)
        return std::nullopt;
    return DrmBacklight{directory.filename().string(), *value, *maxValue};
}

// Userspace is to prefer a firmware interface over a platform one over raw registers.
int backlightRank(const std::optional<std::string>& type)
{
    if (type == "firmware")
        return 0;
    if (type == "platform")
        return 1;
    if (type == "raw")
        return 2;
    return 3;
}

} // namespace

std::optional<DrmModeName> DrmModeName::parse(std::string_view line)
{
    line = text::trim(line);
    DrmModeName mode;
    if (!line.empty() && line.back() == 'i') {
        mode.interlaced = true;
        line.remove_suffix(1);
    }
    const auto x = line.find('x');
    if (x == std::string_view::npos)
        return std::nullopt;
    auto width = parseIndex(line.substr(0, x));
    auto height = parseIndex(line.substr(x + 1));
    if (!width || !height || *width == 0 || *height == 0)
        return std::nullopt;
    mode.width = *width;
    mode.height = *height;
    return mode;
}

std::optional<double> DrmBacklight::fraction() const
{
    if (maxBrightness == 0)
        return std::nullopt;
    return std::min(1.0, double(brightness) / double(maxBrightness));
}

std::optional<DrmConnectorName> DrmConnectorName::parse(std::string_view name)
{
    constexpr std::string_view prefix = "card";
    if (name.substr(0, prefix.size()) != prefix)
        return std::nullopt;
    name.remove_prefix(prefix.size());
    const auto firstDash = name.find('-');
    const auto lastDash = name.rfind('-');
    if (firstDash == std::string_view::npos || lastDash == firstDash)
        return std::nullopt;
    auto card = parseIndex(name.substr(0, firstDash));
    auto index = parseIndex(name.substr(lastDash + 1));
    const auto type = name.substr(firstDash + 1, lastDash - firstDash - 1);
    if (!card || !index || type.empty())
        return std::nullopt;
    return DrmConnectorName{*card, std::string(type), *index};
}

std::vector<DrmConnector> DrmConnectorReader::connectors() const
{
    std::vector<DrmConnector> result;
    for (const auto& name : SystemRoot::listDirectory(root_.resolve("/sys/class/drm"))) {
        if (auto parsed = DrmConnectorName::parse(name))
            result.push_back(readConnector(name, parsed->card, std::move(parsed->type), parsed->index));
    }
    std::stable_sort(result.begin(), result.end(), [](const DrmConnector& a, const DrmConnector& b) {
        return std::tie(a.card, a.type, a.index) < std::tie(b.card, b.type, b.index);
    });

    // A backlight of the class drives the first connected internal panel that found none next
    // to it; the class also lists the backlights found below connectors, which are taken.
    std::vector<std::string> taken;
    for (const auto& connector : result) {
        if (connector.backlight)
            taken.push_back(connector.backlight->name);
    }
    auto panel = std::find_if(result.begin(), result.end(),
        [](const DrmConnector& c) { return c.isInternal() && c.isConnected() && !c.backlight; });
    if (panel != result.end())
        panel->backlight = classBacklight(taken);
    return result;
}

DrmConnector DrmConnectorReader::readConnector(const std::string& name, std::uint32_t card, std::string type, std::uint32_t index) const
{
    const auto directory = root_.resolve("/sys/class/drm") / name;
    DrmConnector connector;
    connector.name = name;
    connector.card = card;
    connector.type = std::move(type);
    connector.index = index;
    if (auto id = SystemRoot::readAttribute(directory / "connector_id"))
        connector.connectorID = parseIndex(*id);
    connector.status = SystemRoot::readAttribute(directory / "status");
    if (auto enabled = SystemRoot::readAttribute(directory / "enabled")) {
        if (*enabled == "enabled")
            connector.enabled = true;
        else if (*enabled == "disabled")
            connector.enabled = false;
    }
    connector.dpms = SystemRoot::readAttribute(directory / "dpms");
    if (auto edid = SystemRoot::readText(directory / "edid"))
        connector.edid.assign(edid->begin(), edid->end());
    if (auto modes = SystemRoot::readText(directory / "modes")) {
        for (auto line : text::lines(*modes)) {
            if (auto mode = DrmModeName::parse(line))
                connector.modes.push_back(*mode);
        }
    }
    // Some drivers (i915) hang the panel's backlight device below its connector.
    if (connector.isInternal()) {
        for (const auto& entry : SystemRoot::listDirectory(directory)) {
            if (SystemRoot::exists(directory / entry / "max_brightness")) {
                connector.backlight = readBacklight(directory / entry);
                if (connector.backlight)
                    break;
            }
        }
    }
    return connector;
}

std::optional<DrmBacklight> DrmConnectorReader::classBacklight(const std::vector<std::string>& taken) const
{
    const auto directory = root_.resolve("/sys/class/backlight");
    std::optional<DrmBacklight> best;
    int bestRank = 0;
    for (const auto& name : SystemRoot::listDirectory(directory)) {
        if (std::find(taken.begin(), taken.end(), name) != taken.end())
            continue;
        auto backlight = readBacklight(directory / name);
        if (!backlight)
            continue;
        const int rank = backlightRank(SystemRoot::readAttribute(directory / name / "type"));
        if (!best || rank < bestRank) {
            best = std::move(backlight);
            bestRank = rank;
        }
    }
    return best;
}

} // namespace tarnel::platform
