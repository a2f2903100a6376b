#pragma once

#include "TarnelUI/Export/MonitorPlatform.h"

#include <optional>
#include <string_view>

namespace tarnel::ui {

// A Monitor executable carries its identity as one line inside the file,
// "<marker><identifier>|<version>|<build>\n", so it can be read without running it.
inline constexpr std::string_view monitorBundleInfoMarker = "TARNEL-BUNDLE-INFO:";

// The first well-formed identity line in `contents`; none when there is none.
inline std::optional<MonitorBundleInfo> parseMonitorBundleInfo(std::string_view contents)
{
    for (auto at = contents.find(monitorBundleInfoMarker); at != std::string_view::npos;
         at = contents.find(monitorBundleInfoMarker, at + 1)) {
        auto rest = contents.substr(at + monitorBundleInfoMarker.size());
        auto end = rest.find('\n');
        if (end == std::string_view::npos || end > 256)
            continue;
        auto line = rest.substr(0, end);
        auto first = line.find('|');
        auto second = first == std::string_view::npos ? first : line.find('|', first + 1);
        if (second == std::string_view::npos || first == 0 || second == first + 1 || second + 1 == line.size())
            continue;
        return MonitorBundleInfo{std::string(line.substr(0, first)), std::string(line.substr(first + 1, second - first - 1)),
                                 std::string(line.substr(second + 1)), std::nullopt};
    }
    return std::nullopt;
}

} // namespace tarnel::ui
