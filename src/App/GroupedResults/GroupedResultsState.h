#pragma once

#include "App/GroupedResults/GroupedResultNode.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// Rows of the tree a change touched, for the view to reload.
struct ResultsChange {
    bool wholeTree = false;
    bool list = false;       // a group changed: reload the list too
    bool structural = false; // rows were removed, not only re-ticked
    std::vector<GroupedResultNode*> rows;
};

// The list of groups and its highlight, the ticks of their trees, and what deletion does to
// them. Row 0 of the list is its head row; group n of `groups` stands in row n + 1.
class GroupedResultsState {
public:
    explicit GroupedResultsState(std::vector<GroupedResultNodePtr> groups);

    std::vector<GroupedResultNodePtr> groups;
    std::vector<GroupedResultNodePtr> allGroups;
    std::optional<int> highlightedGroupIndex;
    std::optional<int> highlightedItemIndex;

    GroupedResultNode* highlightedGroup() const;

    // Ticks or unticks a node with all below it and carries the change up.
    ResultsChange setSelected(GroupedResultNode& node, bool on);
    // Unticks every node of the groups the list shows.
    void deselectAll();
    // The topmost fully ticked rows that stand for a file, in the groups the list shows.
    std::vector<GroupedResultNode*> selectedTopItems() const;

    // Groups whose name contains `filter`, ignoring case; an empty filter shows all. Hides, never
    // unticks.
    void applyFilter(const std::string& filter);

    // Removes deleted nodes: a fully ticked folder goes whole, a fully ticked group that loses all
    // its rows goes from the list. Nodes without a parent or group are logged and stay.
    ResultsChange dropFromParents(const std::vector<GroupedResultNode*>& nodes);
};

} // namespace tarnel
