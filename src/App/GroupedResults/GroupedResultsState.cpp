#include "App/GroupedResults/GroupedResultsState.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>

namespace tarnel {

namespace {

std::string lowercased(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

void appendUnique(std::vector<GroupedResultNode*>& rows, GroupedResultNode* node)
{
    if (std::ranges::find(rows, node) == rows.end())
        rows.push_back(node);
}

} // namespace

GroupedResultsState::GroupedResultsState(std::vector<GroupedResultNodePtr> list)
    : groups(list), allGroups(std::move(list))
{
    if (!groups.empty())
        highlightedGroupIndex = 0;
}

GroupedResultNode* GroupedResultsState::highlightedGroup() const
{
    if (!highlightedGroupIndex || *highlightedGroupIndex < 1 || *highlightedGroupIndex > static_cast<int>(groups.size()))
        return nullptr;
    return groups[static_cast<std::size_t>(*highlightedGroupIndex - 1)].get();
}

ResultsChange GroupedResultsState::setSelected(GroupedResultNode& node, bool on)
{
    const auto state = on ? SelectionState::on : SelectionState::off;
    node.selectionState = state;
    auto descendants = node.allDescendants();
    for (auto* child : descendants)
        child->selectionState = state;
    auto update = node.updateParents();

    ResultsChange change;
    if (node.isGroup()) {
        change.wholeTree = true;
        change.list = true;
        return change;
    }
    change.rows.push_back(&node);
    change.rows.insert(change.rows.end(), descendants.begin(), descendants.end());
    change.rows.insert(change.rows.end(), update.changed.begin(), update.changed.end());
    change.list = update.group != nullptr;
    return change;
}

void GroupedResultsState::deselectAll()
{
    for (const auto& group : groups) {
        group->selectionState = SelectionState::off;
        for (auto* node : selectedItems(*group, {.topOnly = false, .includeMixed = true, .includeSubGroups = true}))
            node->selectionState = SelectionState::off;
    }
}

std::vector<GroupedResultNode*> GroupedResultsState::selectedTopItems() const
{
    std::vector<GroupedResultNode*> out;
    for (const auto& group : groups) {
        auto items = selectedItems(*group, {});
        out.insert(out.end(), items.begin(), items.end());
    }
    return out;
}

void GroupedResultsState::applyFilter(const std::string& filter)
{
    if (filter.empty()) {
        groups = allGroups;
    } else {
        const auto needle = lowercased(filter);
        groups.clear();
        for (const auto& group : allGroups)
            if (lowercased(group->title()).find(needle) != std::string::npos)
                groups.push_back(group);
    }
    if (highlightedGroupIndex && *highlightedGroupIndex >= 1 &&
        *highlightedGroupIndex >= static_cast<int>(groups.size()) - 1)
        highlightedGroupIndex.reset();
}

ResultsChange GroupedResultsState::dropFromParents(const std::vector<GroupedResultNode*>& nodes)
{
    // Parents in the order first met, each with the children it loses.
    std::vector<std::pair<GroupedResultNode*, std::vector<GroupedResultNode*>>> removals;
    auto note = [&](GroupedResultNode* parent, GroupedResultNode* node) {
        auto it = std::ranges::find_if(removals, [&](const auto& entry) { return entry.first == parent; });
        if (it == removals.end())
            removals.push_back({parent, {node}});
        else if (std::ranges::find(it->second, node) == it->second.end())
            it->second.push_back(node);
    };

    for (auto* node : nodes) {
        while (node->parent() && node->parent()->selectionState == SelectionState::on && !node->parent()->isGroup())
            node = node->parent();
        auto* parent = node->parent();
        auto* group = node->group();
        if (!parent || !group || group == node) {
            quendal::AppLogger::error(
                fmt::format("Every selectable item should have a parent group and parent. Parent was {}, group {}",
                            parent ? parent->title() : "nil", group && group != node ? group->title() : "nil"));
            continue;
        }
        note(parent, node);
    }

    ResultsChange change;
    change.structural = !removals.empty();
    const auto* highlighted = highlightedGroup();
    std::vector<GroupedResultNode*> goneGroups;
    // A parent emptied here is noted for its own parent and handled later in the same loop.
    for (std::size_t i = 0; i < removals.size(); ++i) {
        auto [parent, children] = removals[i];
        parent->removeChildren(children);
        if (parent->isGroup()) {
            if (parent->selectionState == SelectionState::on && parent->children().empty()) {
                goneGroups.push_back(parent);
                continue;
            }
        } else if (parent->children().empty() && parent->parent()) {
            // A row that only gathered the deleted rows stands for nothing any more.
            note(parent->parent(), parent);
            continue;
        }
        parent->recompute();
        if (!parent->isGroup())
            appendUnique(change.rows, parent);
        for (auto* row : parent->updateParents().changed)
            appendUnique(change.rows, row);
        change.list = true;
    }

    if (goneGroups.empty())
        return change;

    const bool highlightWent = highlighted && std::ranges::find(goneGroups, highlighted) != goneGroups.end();
    const auto oldRow = highlightedGroupIndex;
    auto isGone = [&](const GroupedResultNodePtr& g) { return std::ranges::find(goneGroups, g.get()) != goneGroups.end(); };
    if (highlighted && !highlightWent) {
        std::erase_if(groups, isGone);
        auto it = std::ranges::find_if(groups, [&](const auto& g) { return g.get() == highlighted; });
        highlightedGroupIndex = static_cast<int>(it - groups.begin()) + 1;
    } else if (highlightWent && oldRow) {
        // The row before: the last remaining group above the one that went, or the head row.
        int before = 0;
        for (int row = 1; row < *oldRow; ++row)
            if (!isGone(groups[static_cast<std::size_t>(row - 1)]))
                ++before;
        std::erase_if(groups, isGone);
        highlightedGroupIndex = before;
    } else {
        std::erase_if(groups, isGone);
    }
    std::erase_if(allGroups, isGone);
    change.wholeTree = highlightWent;
    change.list = true;
    return change;
}

} // namespace tarnel
