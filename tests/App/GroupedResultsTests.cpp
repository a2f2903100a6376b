// The grouped results tree: three-state ticks, the selected top rows, the filter, the highlight,
// and what a deletion's answer does to the tree, with a fake daemon in virtual time.
#include "App/Clean/CleanResultNodes.h"
#include "App/Clean/CleanResultsProvider.h"
#include "App/GroupedResults/GroupedResultsProvider.h"
#include "App/GroupedResults/GroupedResultsState.h"


#include <gtest/gtest.h>

#include <stdexcept>

using namespace tarnel;
using S = SelectionState;

namespace {

GroupedResultNodePtr file(const std::string& path, std::uint64_t size)
{
    auto node = std::make_shared<CleanScanResultItem>(
        std::make_shared<FileNode>(path, nullptr, static_cast<std::int64_t>(size), FileNode::NodeType::file));
    node->size = size;
    return node;
}

GroupedResultNodePtr folder(const std::string& path, std::vector<GroupedResultNodePtr> children)
{
    auto node = std::make_shared<CleanScanResultItem>(
        std::make_shared<FileNode>(path, nullptr, 0, FileNode::NodeType::directory));
    for (auto& child : children) {
        node->size += child->size;
        node->appendChild(std::move(child));
    }
    return node;
}

GroupedResultNodePtr subGroup(const std::string& name, std::vector<GroupedResultNodePtr> children)
{
    auto node = std::make_shared<CleanScanResultSubGroupItem>(name, std::nullopt);
    for (auto& child : children) {
        node->size += child->size;
        node->appendChild(std::move(child));
    }
    return node;
}

GroupedResultNodePtr group(CleanScanGroup kind, std::vector<GroupedResultNodePtr> children)
{
    auto node = std::make_shared<CleanScanResultGroup>(kind);
    for (auto& child : children) {
        node->size += child->size;
        node->appendChild(std::move(child));
    }
    return node;
}

// Downloads: folder A (a1, a2), file B, sub-group S (s1, s2). Caches: C. Disk images: empty.
struct Fixture {
    Fixture()
        : state({group(CleanScanGroup::downloads,
                       {folder("/h/A", {file("/h/A/a1", 100), file("/h/A/a2", 50)}), file("/h/B", 300),
                        subGroup("Sub", {file("/h/s1", 20), file("/h/s2", 10)})}),
                 group(CleanScanGroup::userCache, {file("/h/C", 500)}), group(CleanScanGroup::diskImages, {})})
    {
    }
    GroupedResultNode& downloads() { return *state.allGroups[0]; }
    GroupedResultNode& caches() { return *state.allGroups[1]; }
    GroupedResultNode& A() { return *downloads().children()[0]; }
    GroupedResultNode& a1() { return *A().children()[0]; }
    GroupedResultNode& a2() { return *A().children()[1]; }
    GroupedResultNode& B() { return *downloads().children()[1]; }
    GroupedResultNode& sub() { return *downloads().children()[2]; }
    GroupedResultNode& C() { return *caches().children()[0]; }
    GroupedResultsState state;
};

std::vector<std::string> paths(const std::vector<GroupedResultNode*>& nodes)
{
    std::vector<std::string> out;
    for (auto* node : nodes)
        out.push_back(node->path().value_or("<" + node->title() + ">"));
    return out;
}

} // namespace

TEST(GroupedResults, TicksCarryDownAndUpWithMixedStates)
{
    Fixture f;
    f.state.setSelected(f.a1(), true);
    EXPECT_EQ(f.A().selectionState, S::mixed);
    EXPECT_EQ(f.downloads().selectionState, S::mixed);
    f.state.setSelected(f.a2(), true);
    EXPECT_EQ(f.A().selectionState, S::on) << "ticking every child one by one turns the folder on";
    EXPECT_EQ(f.downloads().selectionState, S::mixed);

    auto change = f.state.setSelected(f.downloads(), true);
    EXPECT_TRUE(change.wholeTree);
    for (auto* node : f.downloads().allDescendants())
        EXPECT_EQ(node->selectionState, S::on) << node->title();

    change = f.state.setSelected(f.a1(), false);
    EXPECT_EQ(f.A().selectionState, S::mixed);
    EXPECT_EQ(f.downloads().selectionState, S::mixed) << "every ancestor up to the group turns mixed";
    EXPECT_TRUE(change.list);
    EXPECT_EQ(change.rows, (std::vector<GroupedResultNode*>{&f.a1(), &f.A()})) << "the group is not a row of the tree";
    EXPECT_EQ(f.caches().selectionState, S::off);

    // A group without rows has nothing to recompute from: it keeps what it was set to.
    auto& empty = *f.state.allGroups[2];
    f.state.setSelected(empty, true);
    EXPECT_EQ(empty.selectionState, S::on);
    EXPECT_EQ(f.downloads().size, 480u);
}

TEST(GroupedResults, SelectedTopItemsAreTheTopmostTickedFileRows)
{
    Fixture f;
    f.state.setSelected(f.A(), true);
    f.state.setSelected(f.sub(), true);
    f.state.setSelected(f.C(), true);
    EXPECT_EQ(paths(f.state.selectedTopItems()), (std::vector<std::string>{"/h/A", "/h/s1", "/h/s2", "/h/C"}))
        << "a ticked folder stands for its children; a ticked sub-group never stands for itself";

    f.state.setSelected(f.a2(), false);
    EXPECT_EQ(paths(f.state.selectedTopItems()), (std::vector<std::string>{"/h/A/a1", "/h/s1", "/h/s2", "/h/C"}))
        << "a mixed folder is never taken, its ticked children are";

    f.state.setSelected(*f.sub().children()[0], false);
    auto everything = selectedItems(f.downloads(), {.topOnly = false, .includeMixed = true, .includeSubGroups = true});
    EXPECT_EQ(paths(everything), (std::vector<std::string>{"/h/A", "/h/A/a1", "<Sub>", "/h/s2"}));

    f.state.deselectAll();
    EXPECT_TRUE(f.state.selectedTopItems().empty());
    for (auto* node : f.downloads().allDescendants())
        EXPECT_EQ(node->selectionState, S::off) << node->title();
    EXPECT_EQ(f.downloads().selectionState, S::off);
}

TEST(GroupedResults, FilterHidesWithoutUntickingAndClearsAStaleHighlight)
{
    Fixture f;
    EXPECT_EQ(f.state.highlightedGroupIndex, 0) << "the head row is highlighted first";
    EXPECT_EQ(f.state.highlightedGroup(), nullptr);
    f.state.setSelected(f.C(), true);
    f.state.setSelected(f.B(), true);

    f.state.applyFilter("DOWN");
    ASSERT_EQ(f.state.groups.size(), 1u);
    EXPECT_EQ(f.state.groups[0].get(), &f.downloads());
    EXPECT_EQ(paths(f.state.selectedTopItems()), (std::vector<std::string>{"/h/B"}));
    EXPECT_EQ(f.C().selectionState, S::on) << "the filter hides, it does not untick";

    f.state.applyFilter("");
    EXPECT_EQ(f.state.groups.size(), 3u);
    EXPECT_EQ(paths(f.state.selectedTopItems()), (std::vector<std::string>{"/h/B", "/h/C"}));

    f.state.highlightedGroupIndex = 3;
    EXPECT_EQ(f.state.highlightedGroup(), f.state.groups[2].get());
    f.state.applyFilter("cache");
    EXPECT_FALSE(f.state.highlightedGroupIndex.has_value());
    EXPECT_EQ(f.state.highlightedGroup(), nullptr);
    EXPECT_FALSE(GroupedResultsState({}).highlightedGroupIndex.has_value());
}

TEST(GroupedResults, DropRemovesDeletedRowsAndKeepsTheRest)
{
    Fixture f;
    f.state.setSelected(f.A(), true);
    f.state.setSelected(f.sub(), true);
    auto* A = &f.A();
    auto* B = &f.B();
    auto* sub = &f.sub();
    // A fully ticked folder goes as one node even when its children are reported.
    f.state.dropFromParents({&f.a1(), &f.a2(), sub->children()[0].get(), sub->children()[1].get()});
    ASSERT_EQ(f.downloads().children().size(), 1u);
    EXPECT_EQ(f.downloads().children()[0].get(), B);
    EXPECT_NE(f.downloads().children()[0].get(), A);
    EXPECT_EQ(f.downloads().size, 300u) << "the group's size follows its rows";
    EXPECT_EQ(f.downloads().selectionState, S::off);
    EXPECT_EQ(f.state.allGroups.size(), 3u) << "a group that was not fully ticked stays";

    // A node outside any group is logged and stays where it is.
    auto loose = folder("/h/loose", {file("/h/loose/x", 1)});
    loose->children()[0]->selectionState = S::on;
    f.state.dropFromParents({loose->children()[0].get()});
    EXPECT_EQ(loose->children().size(), 1u);
}

TEST(GroupedResults, AFullyTickedGroupGoesAndTheHighlightMovesToTheRowBefore)
{
    Fixture f;
    // Highlight the last group, then delete it whole: the highlight moves to the row before.
    auto& last = *f.state.groups[1]; // caches, row 2
    f.state.setSelected(f.C(), true);
    EXPECT_EQ(last.selectionState, S::on);
    f.state.groups.erase(f.state.groups.begin() + 2); // show downloads and caches only
    f.state.highlightedGroupIndex = 2;
    auto change = f.state.dropFromParents({&f.C()});
    EXPECT_TRUE(change.wholeTree);
    EXPECT_EQ(f.state.groups.size(), 1u);
    EXPECT_EQ(f.state.allGroups.size(), 2u);
    EXPECT_EQ(f.state.highlightedGroupIndex, 1);

    // Another group going leaves the highlighted one highlighted at its new row.
    Fixture g;
    g.state.highlightedGroupIndex = 2;
    auto* caches = &g.caches();
    g.state.setSelected(g.downloads(), true);
    g.state.dropFromParents({&g.A(), &g.B(), g.sub().children()[0].get(), g.sub().children()[1].get()});
    EXPECT_EQ(g.state.groups.size(), 2u);
    EXPECT_EQ(g.state.highlightedGroup(), caches);
    EXPECT_EQ(g.state.highlightedGroupIndex, 1);
}

TEST(GroupedResults, CleanGroupsAreBuiltLargestFirstWithEveryGroup)
{
    auto fileNode = [](std::string path, std::int64_t size) {
        return std::make_shared<FileNode>(std::move(path), nullptr, size, FileNode::NodeType::file);
    };
    std::map<CleanScanGroup, CleanScanItemSet> found;
    found[CleanScanGroup::downloads].insert(*CleanScanItem::make(fileNode("/d/small", 10)));
    found[CleanScanGroup::downloads].insert(*CleanScanItem::make(fileNode("/d/big", 90)));
    found[CleanScanGroup::downloads].insert(*CleanScanItem::make(fileNode("/d/tie", 10)));
    found[CleanScanGroup::userLogs].insert(*CleanScanItem::make(
        nullptr, {*CleanScanItem::make(fileNode("/l/a", 200)), *CleanScanItem::make(fileNode("/l/b", 300))}, "App"));
    auto groups = makeCleanResultGroups(found);
    ASSERT_EQ(groups.size(), allCleanScanGroups.size());
    EXPECT_EQ(groups[0]->title(), CleanScanResultGroup(CleanScanGroup::userLogs).name());
    EXPECT_EQ(groups[0]->size, 500u);
    EXPECT_TRUE(groups[0]->children()[0]->isSubGroup());
    EXPECT_EQ(groups[0]->children()[0]->children()[0]->path(), "/l/b");
    EXPECT_EQ(groups[1]->size, 110u);
    EXPECT_EQ(paths(selectedItems(*groups[1], {.topOnly = false, .includeMixed = true, .includeSubGroups = true})),
              std::vector<std::string>{});
    std::vector<std::string> order;
    for (const auto& child : groups[1]->children())
        order.push_back(*child->path());
    EXPECT_EQ(order, (std::vector<std::string>{"/d/big", "/d/small", "/d/tie"})) << "equal sizes keep their order";
    EXPECT_EQ(groups.back()->size, 0u);
}

TEST(GroupedResults, SummaryCountsTheSelectedSizeAndCapsTheIcons)
{
    std::vector<GroupedResultNodePtr> rows;
    for (int i = 0; i < 12; ++i)
        rows.push_back(file("/f/" + std::to_string(i), 1'000'000));
    auto state = std::make_shared<GroupedResultsState>(
        std::vector<GroupedResultNodePtr>{group(CleanScanGroup::largeFiles, std::move(rows))});
    struct Provider : GroupedResultsProvider {
        using GroupedResultsProvider::GroupedResultsProvider;
        std::shared_ptr<GroupedResultsState> held;
        std::shared_ptr<GroupedResultsState> state() override { return held; }
    } provider(GroupedResultsProvider::Services{});
    provider.held = state;
    EXPECT_TRUE(provider.selectionSummary().empty());
    provider.selectionDidChange(*state->groups[0], true);
    auto summary = provider.selectionSummary();
    EXPECT_EQ(summary.nodes.size(), 12u);
    EXPECT_EQ(summary.iconItems.size(), SelectionSummary::maxIconCount);
    EXPECT_EQ(summary.overflowText, "5+");
    EXPECT_EQ(summary.title, "12 MB selected");
}
