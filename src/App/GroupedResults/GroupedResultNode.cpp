#include "App/GroupedResults/GroupedResultNode.h"

#include <algorithm>

namespace tarnel {

void GroupedResultNode::appendChild(GroupedResultNodePtr child)
{
    child->parent_ = this;
    children_.push_back(std::move(child));
}

void GroupedResultNode::removeChildren(const std::vector<GroupedResultNode*>& nodes)
{
    std::erase_if(children_, [&](const GroupedResultNodePtr& child) {
        if (std::ranges::find(nodes, child.get()) == nodes.end())
            return false;
        child->parent_ = nullptr;
        return true;
    });
}

void GroupedResultNode::sortChildrenBySize()
{
    std::ranges::stable_sort(children_, [](const auto& a, const auto& b) { return a->size > b->size; });
    for (const auto& child : children_)
        child->sortChildrenBySize();
}

std::vector<GroupedResultNode*> GroupedResultNode::allDescendants() const
{
    std::vector<GroupedResultNode*> out;
    // An explicit stack: trees from a walk can be deeper than the call stack is comfortable with.
    std::vector<const GroupedResultNode*> pending{this};
    while (!pending.empty()) {
        const auto* node = pending.back();
        pending.pop_back();
        if (node != this)
            out.push_back(const_cast<GroupedResultNode*>(node));
        for (auto it = node->children_.rbegin(); it != node->children_.rend(); ++it)
            pending.push_back(it->get());
    }
    return out;
}

GroupedResultNode* GroupedResultNode::group()
{
    for (auto* node = this; node; node = node->parent_)
        if (node->isGroup())
            return node;
    return nullptr;
}

bool GroupedResultNode::recompute()
{
    if (children_.empty())
        return false;
    auto state = children_.front()->selectionState;
    std::uint64_t sum = 0;
    for (const auto& child : children_) {
        if (child->selectionState != state)
            state = SelectionState::mixed;
        sum += child->size;
    }
    const bool changed = state != selectionState || sum != size;
    selectionState = state;
    size = sum;
    return changed;
}

GroupedResultNode::ParentUpdate GroupedResultNode::updateParents()
{
    ParentUpdate update;
    for (auto* ancestor = parent_; ancestor; ancestor = ancestor->parent_) {
        if (!ancestor->recompute())
            break;
        if (ancestor->isGroup()) {
            update.group = ancestor;
            break;
        }
        update.changed.push_back(ancestor);
    }
    return update;
}

namespace {

void collect(const std::vector<GroupedResultNodePtr>& nodes, SelectionQuery query, std::vector<GroupedResultNode*>& out)
{
    for (const auto& node : nodes) {
        if (!node->isItem())
            continue;
        const auto state = node->selectionState;
        const bool taken = (state == SelectionState::on && (!node->isSubGroup() || query.includeSubGroups)) ||
                           (state == SelectionState::mixed && query.includeMixed);
        if (taken)
            out.push_back(node.get());
        if (!query.topOnly || state == SelectionState::mixed || node->isSubGroup())
            collect(node->children(), query, out);
    }
}

} // namespace

std::vector<GroupedResultNode*> selectedItems(const std::vector<GroupedResultNodePtr>& nodes, SelectionQuery query)
{
    std::vector<GroupedResultNode*> out;
    collect(nodes, query, out);
    return out;
}

std::vector<GroupedResultNode*> selectedItems(const GroupedResultNode& node, SelectionQuery query)
{
    return selectedItems(node.children(), query);
}

} // namespace tarnel
