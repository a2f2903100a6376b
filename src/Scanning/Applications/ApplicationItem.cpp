#include "Scanning/Applications/ApplicationItem.h"

namespace tarnel {

std::string_view rawValue(ApplicationKind kind)
{
    switch (kind) {
    case ApplicationKind::flatpak:
        return "flatpak";
    case ApplicationKind::snap:
        return "snap";
    case ApplicationKind::appImage:
        return "appImage";
    case ApplicationKind::package:
        return "package";
    case ApplicationKind::handInstalled:
        return "handInstalled";
    }
    return "package";
}

std::vector<ApplicationResourceGroup> ApplicationItem::allGroups() const
{
    std::vector<ApplicationResourceGroup> groups{binaries};
    groups.insert(groups.end(), resources.begin(), resources.end());
    return groups;
}

std::int64_t ApplicationItem::size() const
{
    std::int64_t total = binaries.size();
    for (const auto& group : resources)
        total += group.size();
    return total;
}

} // namespace tarnel
