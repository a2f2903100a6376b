#include "Scanning/Applications/BundleInfo.h"

#include <charconv>
#include <vector>

namespace tarnel {

namespace {

std::optional<std::uint64_t> parseComponent(std::string_view text)
{
    if (!text.empty() && (text.front() == '+' || text.front() == '-'))
        text.remove_prefix(1);
    if (text.empty())
        return std::nullopt;
    std::uint64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace

BundleVersion::Version BundleVersion::Version::parse(std::string_view text)
{
    std::vector<std::uint64_t> values;
    while (values.size() < 3) {
        auto dot = text.find('.');
        if (auto value = parseComponent(text.substr(0, dot)))
            values.push_back(*value);
        if (dot == std::string_view::npos)
            break;
        text.remove_prefix(dot + 1);
    }
    values.resize(3, 0);
    return {values[0], values[1], values[2]};
}

BundleVersion BundleVersion::fromText(std::string_view text)
{
    BundleVersion version;
    version.shortVersionString = std::string(text);
    auto colon = text.find(':');
    if (colon != std::string_view::npos && parseComponent(text.substr(0, colon)))
        text.remove_prefix(colon + 1);
    auto dash = text.rfind('-');
    std::string_view revision;
    if (dash != std::string_view::npos && dash > 0) {
        revision = text.substr(dash + 1);
        text = text.substr(0, dash);
    }
    // Upstream texts often carry a suffix after the numbers ("2.1~rc1", "115.0+dfsg"), which
    // would otherwise drop the component it sticks to.
    auto numeric = text.find_first_not_of("0123456789.");
    version.release = Version::parse(text.substr(0, numeric));
    version.build = revision.empty() ? version.release
                                     : Version::parse(revision.substr(0, revision.find_first_not_of("0123456789.")));
    return version;
}

bool BundleVersion::operator<(const BundleVersion& other) const
{
    if (release.major != other.release.major)
        return release.major < other.release.major;
    if (release.minor != other.release.minor)
        return release.minor < other.release.minor;
    if (release.maintenance != other.release.maintenance)
        return false;
    if (build.major != other.build.major)
        return build.major < other.build.major;
    return build.minor < other.build.minor;
}

std::string BundleInfo::vendorOf(std::string_view identifier)
{
    auto first = identifier.find('.');
    if (first == std::string_view::npos)
        return {};
    auto rest = identifier.substr(first + 1);
    return std::string(rest.substr(0, rest.find('.')));
}

} // namespace tarnel
