#include "App/Clean/CleanResultNodes.h"

#include "App/Localization/Localizable.h"

#include <algorithm>

namespace tarnel {

std::string CleanScanResultGroup::name() const
{
    const auto text = tarnel::title(group_);
    return Localizable::shared().text(text.key, text.defaultText);
}

std::string CleanScanResultGroup::description() const
{
    const auto text = tarnel::description(group_);
    return Localizable::shared().text(text.key, text.defaultText);
}

namespace {

GroupedResultNodePtr makeNode(const CleanScanItem& item)
{
    GroupedResultNodePtr node;
    if (item.file)
        node = std::make_shared<CleanScanResultItem>(item.file, item.icon());
    else
        node = std::make_shared<CleanScanResultSubGroupItem>(item.name().value_or(std::string()), item.icon());
    node->size = item.size;
    for (const auto& child : item.children)
        node->appendChild(makeNode(child));
    return node;
}

} // namespace

std::vector<GroupedResultNodePtr> makeCleanResultGroups(const std::map<CleanScanGroup, CleanScanItemSet>& groups)
{
    std::vector<GroupedResultNodePtr> out;
    for (auto group : allCleanScanGroups) {
        auto node = std::make_shared<CleanScanResultGroup>(group);
        if (auto it = groups.find(group); it != groups.end())
            for (const auto& item : it->second.items())
                node->appendChild(makeNode(item));
        node->sortChildrenBySize();
        std::uint64_t sum = 0;
        for (const auto& child : node->children())
            sum += child->size;
        node->size = sum;
        out.push_back(std::move(node));
    }
    std::ranges::stable_sort(out, [](const auto& a, const auto& b) { return a->size > b->size; });
    return out;
}

} // namespace tarnel
