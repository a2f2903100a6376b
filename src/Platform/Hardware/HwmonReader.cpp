#include "Platform/Hardware/HwmonReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <algorithm>
#include <map>

namespace tarnel::platform {

namespace {

// tempN_input → N for the given prefix and suffix; 0 when the name is something else.
int channelOf(std::string_view entry, std::string_view prefix, std::string_view suffix)
{
    if (!entry.starts_with(prefix) || !entry.ends_with(suffix) || entry.size() <= prefix.size() + suffix.size())
        return 0;
    auto digits = entry.substr(prefix.size(), entry.size() - prefix.size() - suffix.size());
    auto n = text::parseUnsigned(digits);
    return n && *n > 0 && *n < 1000 ? static_cast<int>(*n) : 0;
}

class Attributes {
public:
    explicit Attributes(std::filesystem::path base) : base_(std::move(base)) {}
    std::optional<std::string> text(const std::string& name) const
    {
        auto value = SystemRoot::readAttribute(base_ / name);
        if (value) {
            auto trimmed = std::string(text::trim(*value));
            if (!trimmed.empty())
                return trimmed;
        }
        return std::nullopt;
    }
    // Milli-units as written by hwmon (m°C) scaled down; absent when unreadable or not a number.
    std::optional<double> scaled(const std::string& name, double divisor) const
    {
        auto value = text(name);
        if (!value)
            return std::nullopt;
        auto number = text::parseSigned(*value);
        if (!number)
            return std::nullopt;
        return static_cast<double>(*number) / divisor;
    }

private:
    std::filesystem::path base_;
};

std::optional<double> plausibleCelsius(std::optional<double> celsius)
{
    // Disconnected thermistors report -128, 127 or 255 °C; none is a reading.
    if (!celsius || *celsius <= -60 || *celsius >= 127)
        return std::nullopt;
    return celsius;
}

} // namespace

std::string HwmonChip::stableIdentifier() const { return device ? name + "@" + *device : name + "@" + directory; }

std::vector<HwmonChip> HwmonReader::read() const
{
    std::vector<HwmonChip> chips;
    const auto classDirectory = root_.resolve("/sys/class/hwmon");
    for (const auto& entry : SystemRoot::listDirectory(classDirectory)) {
        if (!entry.starts_with("hwmon"))
            continue;
        const auto base = classDirectory / entry;
        Attributes attributes(base);
        HwmonChip chip;
        chip.directory = entry;
        // Older drivers keep their attributes on the device instead of the hwmon node.
        auto name = attributes.text("name");
        if (!name)
            name = Attributes(base / "device").text("name");
        if (!name)
            continue;
        chip.name = *name;
        if (auto link = SystemRoot::readLink(base / "device"))
            chip.device = std::filesystem::path(*link).filename().string();

        std::map<int, HwmonTemperature> temperatures;
        std::map<int, HwmonFan> fans;
        for (const auto& file : SystemRoot::listDirectory(base)) {
            if (int n = channelOf(file, "temp", "_input")) {
                auto& t = temperatures[n];
                t.channel = n;
                const auto stem = "temp" + std::to_string(n);
                t.label = attributes.text(stem + "_label");
                t.celsius = plausibleCelsius(attributes.scaled(file, 1000));
                t.maximumCelsius = plausibleCelsius(attributes.scaled(stem + "_max", 1000));
                t.criticalCelsius = plausibleCelsius(attributes.scaled(stem + "_crit", 1000));
            } else if (int f = channelOf(file, "fan", "_input")) {
                auto& fan = fans[f];
                fan.channel = f;
                const auto stem = "fan" + std::to_string(f);
                fan.label = attributes.text(stem + "_label");
                fan.rpm = attributes.scaled(file, 1);
                fan.minimumRPM = attributes.scaled(stem + "_min", 1);
                fan.maximumRPM = attributes.scaled(stem + "_max", 1);
                fan.targetRPM = attributes.scaled(stem + "_target", 1);
                // A maximum of 0 is a driver that does not know it.
                if (fan.maximumRPM && *fan.maximumRPM <= 0)
                    fan.maximumRPM.reset();
            }
        }
        for (auto& [n, t] : temperatures)
            chip.temperatures.push_back(std::move(t));
        for (auto& [n, f] : fans)
            chip.fans.push_back(std::move(f));
        if (!chip.temperatures.empty() || !chip.fans.empty())
            chips.push_back(std::move(chip));
    }
    std::stable_sort(chips.begin(), chips.end(), [](const HwmonChip& a, const HwmonChip& b) {
        return std::tie(a.name, a.device) < std::tie(b.name, b.device);
    });
    return chips;
}

} // namespace tarnel::platform
