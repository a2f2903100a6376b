#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// A check box's three states, with the toolkit's raw values.
enum class SelectionState : int { off = 0, on = 1, mixed = -1 };

class GroupedResultNode;
using GroupedResultNodePtr = std::shared_ptr<GroupedResultNode>;

// A node of a results tree: a group, a row for a file, or a row that only gathers other rows.
// Every node can be ticked and has a size; a parent owns its children.
class GroupedResultNode {
public:
    virtual ~GroupedResultNode() = default;
    GroupedResultNode(const GroupedResultNode&) = delete;
    GroupedResultNode& operator=(const GroupedResultNode&) = delete;

    std::uint64_t size = 0;
    SelectionState selectionState = SelectionState::off;

    GroupedResultNode* parent() const { return parent_; }
    const std::vector<GroupedResultNodePtr>& children() const { return children_; }
    void appendChild(GroupedResultNodePtr child);
    // Removes the given children, keeping the order of the rest.
    void removeChildren(const std::vector<GroupedResultNode*>& nodes);
    // Largest first; equal sizes keep their order.
    void sortChildrenBySize();
    // Depth first: each child, then its own descendants.
    std::vector<GroupedResultNode*> allDescendants() const;
    // This node or the nearest ancestor that is a group.
    GroupedResultNode* group();

    // The roles a node plays.
    virtual bool isGroup() const { return false; }
    virtual bool isItem() const { return false; }
    virtual bool isSubGroup() const { return false; }

    virtual std::string title() const = 0;
    // An icon file or theme name; absent when the view should find the platform's icon.
    virtual std::optional<std::string> icon() const { return std::nullopt; }
    // The file a quick preview shows, the tool tip, and what deletion sends.
    virtual std::optional<std::string> path() const { return std::nullopt; }

    struct ParentUpdate {
        std::vector<GroupedResultNode*> changed; // ancestors below the group whose state or size changed
        GroupedResultNode* group = nullptr;      // the group, if the walk reached it and changed it
    };
    // Recomputes the state and size of each ancestor from its children, up to where nothing changes.
    ParentUpdate updateParents();
    // Recomputes this node's state and size from its children; true when either changed.
    bool recompute();

protected:
    GroupedResultNode() = default;

private:
    GroupedResultNode* parent_ = nullptr;
    std::vector<GroupedResultNodePtr> children_;
};

// A top-level group of the list.
class GroupedResultsGroup : public GroupedResultNode {
public:
    bool isGroup() const override { return true; }
    std::string title() const override { return name(); }
    virtual std::string name() const = 0;
    virtual std::string description() const = 0;
    virtual std::string identifier() const = 0;
};

// A row inside a group.
class GroupedResultsItem : public GroupedResultNode {
public:
    bool isItem() const override { return true; }
    bool isExpanded = false;
    bool isExpandable() const { return !children().empty(); }
};

// Which nodes selectedItems gives.
struct SelectionQuery {
    bool topOnly = true;
    bool includeMixed = false;
    bool includeSubGroups = false;
};

// The ticked items of `nodes`, in order; groups and what lies below them are passed over.
std::vector<GroupedResultNode*> selectedItems(const std::vector<GroupedResultNodePtr>& nodes, SelectionQuery query);
// The same over a node's children.
std::vector<GroupedResultNode*> selectedItems(const GroupedResultNode& node, SelectionQuery query);

} // namespace tarnel
