// Clean's delete button: the confirmation, the paths sent to a fake daemon, and what each answer
// does to the tree and the ticks; the daemon call runs on the main actor in virtual time.
#include "App/Clean/CleanResultNodes.h"
#include "App/Clean/CleanResultsProvider.h"

#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace tarnel;
using tarnel::testing::VirtualTime;
using S = SelectionState;

namespace {

struct Prompts : ResultsPrompts {
    bool accept = true;
    std::vector<std::string> confirmations, warnings, statuses;
    bool confirm(const std::string& message, const std::string& informative, const std::string& button,
                 const std::string&) override
    {
        confirmations.push_back(message + "|" + informative + "|" + button);
        return accept;
    }
    void warn(const std::string& message, const std::string& informative) override
    {
        warnings.push_back(message + "|" + informative);
    }
    void showStatus(const std::string& text, std::chrono::milliseconds duration) override
    {
        statuses.push_back(text + "|" + std::to_string(duration.count()));
    }
};

// Answers as told; records what it was asked.
struct FakeDaemon {
    std::vector<std::vector<std::string>> requests;
    std::vector<DaemonClient::Reason> reasons;
    std::function<std::vector<bool>(const std::vector<std::string>&)> answer;

    FileDeleter deleter()
    {
        return [this](std::vector<std::string> paths, DaemonClient::Reason reason) -> asio::awaitable<std::vector<bool>> {
            requests.push_back(paths);
            reasons.push_back(reason);
            co_return answer(paths);
        };
    }
};

GroupedResultNodePtr item(const std::string& path, std::uint64_t size, std::vector<GroupedResultNodePtr> children = {})
{
    auto node = std::make_shared<CleanScanResultItem>(std::make_shared<FileNode>(
        path, nullptr, static_cast<std::int64_t>(size),
        children.empty() ? FileNode::NodeType::file : FileNode::NodeType::directory));
    node->size = size;
    for (auto& child : children)
        node->appendChild(std::move(child));
    return node;
}

struct Flow {
    explicit Flow(FileDeleter deleter = {})
        : prompts(std::make_shared<Prompts>()),
          provider(std::make_shared<CleanResultsProvider>(
              GroupedResultsProvider::Services{.prompts = prompts,
                                               .fileActions = nullptr,
                                               .deleter = deleter ? std::move(deleter) : daemon.deleter(),
                                               .executor = time.executor()},
              CleanScanner::shared(), store))
    {
        // Downloads: folder /h/F (f1 kept unticked, f2), file /h/B; sub-group "Logs" (l1, l2). Caches: /h/C.
        auto downloads = std::make_shared<CleanScanResultGroup>(CleanScanGroup::downloads);
        downloads->appendChild(item("/h/F", 30, {item("/h/F/f1", 10), item("/h/F/f2", 20)}));
        downloads->appendChild(item("/h/B", 5));
        auto logs = std::make_shared<CleanScanResultSubGroupItem>("Logs", std::nullopt);
        logs->appendChild(item("/h/l1", 3));
        logs->appendChild(item("/h/l2", 2));
        logs->size = 5;
        downloads->appendChild(logs);
        downloads->size = 40;
        auto caches = std::make_shared<CleanScanResultGroup>(CleanScanGroup::userCache);
        caches->appendChild(item("/h/C", 7));
        caches->size = 7;
        store.state = std::make_shared<GroupedResultsState>(std::vector<GroupedResultNodePtr>{downloads, caches});
    }
    GroupedResultNode& downloads() { return *store.state->allGroups[0]; }
    GroupedResultNode& node(std::initializer_list<std::size_t> at)
    {
        GroupedResultNode* n = &downloads();
        for (auto i : at)
            n = n->children()[i].get();
        return *n;
    }
    std::vector<std::string> remainingPaths()
    {
        std::vector<std::string> out;
        for (const auto& g : store.state->allGroups)
            for (auto* n : g->allDescendants())
                out.push_back(n->path().value_or("<" + n->title() + ">"));
        return out;
    }

    VirtualTime time;
    FakeDaemon daemon;
    CleanResultsStore store;
    std::shared_ptr<Prompts> prompts;
    std::shared_ptr<CleanResultsProvider> provider;
};

} // namespace

TEST(CleanDeletion, SendsExactlyTheTickedTopItemsInOrderAndDropsThem)
{
    Flow flow;
    flow.daemon.answer = [](const auto& paths) { return std::vector<bool>(paths.size(), true); };
    flow.provider->selectionDidChange(flow.node({0}), true);    // the folder, then untick f1
    flow.provider->selectionDidChange(flow.node({0, 0}), false);
    flow.provider->selectionDidChange(flow.node({2}), true);    // the sub-group: its rows, not itself
    flow.provider->selectionDidChange(*flow.store.state->allGroups[1], true);
    flow.provider->deleteAction();
    flow.time.run();

    ASSERT_EQ(flow.daemon.requests.size(), 1u);
    EXPECT_EQ(flow.daemon.requests[0], (std::vector<std::string>{"/h/F/f2", "/h/l1", "/h/l2", "/h/C"}));
    EXPECT_EQ(flow.daemon.reasons[0], DaemonClient::Reason::userConfirmedCleanup);
    EXPECT_EQ(flow.prompts->confirmations,
              std::vector<std::string>{"Are you sure you want to delete 4 items permanently?|This action can not be "
                                       "reversed.|Delete 4 items"});
    EXPECT_TRUE(flow.prompts->warnings.empty());
    EXPECT_EQ(flow.prompts->statuses, std::vector<std::string>{"Deleted 4 items|1500"});
    EXPECT_EQ(flow.remainingPaths(), (std::vector<std::string>{"/h/F", "/h/F/f1", "/h/B"}))
        << "the unticked file and its folder stay; the emptied sub-group and the fully ticked group go";
    EXPECT_EQ(flow.downloads().size, 15u);
    ASSERT_TRUE(flow.provider->lastOutcome());
    EXPECT_EQ(flow.provider->lastOutcome()->freedBytes, 32u);
    EXPECT_EQ(flow.node({0}).selectionState, S::off);
    EXPECT_TRUE(flow.provider->selectionSummary().empty());
}

TEST(CleanDeletion, ARefusedOrVanishedPathStaysTickedAndIsCounted)
{
    Flow flow;
    // The daemon refuses /h/B; the answer for a file already gone by hand is the daemon's to give.
    flow.daemon.answer = [](const auto& paths) {
        std::vector<bool> out;
        for (const auto& p : paths)
            out.push_back(p != "/h/B");
        return out;
    };
    flow.provider->selectionDidChange(flow.downloads(), true);
    flow.provider->deleteAction();
    flow.time.run();
    EXPECT_EQ(flow.daemon.requests[0], (std::vector<std::string>{"/h/F", "/h/B", "/h/l1", "/h/l2"}));
    EXPECT_EQ(flow.prompts->warnings, std::vector<std::string>{"Unable to delete items|1 items could not be deleted."});
    EXPECT_EQ(flow.prompts->statuses, std::vector<std::string>{"Deleted 3 items|1500"});
    EXPECT_EQ(flow.remainingPaths(), (std::vector<std::string>{"/h/B", "/h/C"}));
    EXPECT_EQ(flow.store.state->allGroups.size(), 2u) << "a group keeping a failed row stays";
    EXPECT_EQ(flow.node({0}).selectionState, S::on) << "so the user can try again";
    EXPECT_EQ(flow.downloads().selectionState, S::on);
    EXPECT_EQ(flow.downloads().size, 5u);
    EXPECT_EQ(flow.provider->lastOutcome()->failed, 1u);
    EXPECT_EQ(flow.provider->lastOutcome()->freedBytes, 35u);

    // A short answer pairs as far as it goes; nothing deleted means no change and no status.
    flow.daemon.answer = [](const auto&) { return std::vector<bool>{}; };
    flow.provider->deleteAction();
    flow.time.run();
    EXPECT_EQ(flow.prompts->warnings.back(), "Unable to delete items|1 items could not be deleted.");
    EXPECT_EQ(flow.prompts->statuses.size(), 1u);
    EXPECT_EQ(flow.remainingPaths(), (std::vector<std::string>{"/h/B", "/h/C"}));
}

TEST(CleanDeletion, CancelErrorsAndNoDaemonLeaveTheTreeAsItWas)
{
    Flow flow;
    flow.daemon.answer = [](const auto& paths) { return std::vector<bool>(paths.size(), true); };
    flow.provider->selectionDidChange(flow.node({1}), true);
    const auto before = flow.remainingPaths();

    flow.prompts->accept = false;
    flow.provider->deleteAction();
    flow.time.run();
    EXPECT_TRUE(flow.daemon.requests.empty()) << "cancelling sends nothing";
    EXPECT_EQ(flow.node({1}).selectionState, S::on);
    flow.prompts->accept = true;

    flow.daemon.answer = [](const auto&) -> std::vector<bool> { throw std::runtime_error("connection reset"); };
    flow.provider->deleteAction();
    flow.time.run();
    EXPECT_EQ(flow.prompts->warnings,
              std::vector<std::string>{"Unable to delete items|Helper returned error: connection reset"});
    EXPECT_EQ(flow.remainingPaths(), before);
    EXPECT_EQ(flow.node({1}).selectionState, S::on);

    // With no daemon client in the process the flow has no route and says so.
    DaemonClient::setShared(nullptr);
    Flow alone(daemonFileDeleter());
    alone.provider->selectionDidChange(alone.node({1}), true);
    alone.provider->deleteAction();
    alone.time.run();
    ASSERT_EQ(alone.prompts->warnings.size(), 1u);
    EXPECT_NE(alone.prompts->warnings[0].find("not running"), std::string::npos) << alone.prompts->warnings[0];
    EXPECT_EQ(alone.remainingPaths(), before);

    // Nothing ticked: no question is asked.
    Flow idle;
    idle.provider->deleteAction();
    EXPECT_TRUE(idle.prompts->confirmations.empty());
}

TEST(CleanDeletion, KeysAndMenuActOnTheRowTheyCameFrom)
{
    struct Actions : ResultsFileActions {
        std::vector<std::pair<ResultsAction, std::string>> done;
        void perform(ResultsAction action, const std::string& path) override { done.emplace_back(action, path); }
    };
    auto actions = std::make_shared<Actions>();
    Flow withActions;
    auto provider = std::make_shared<CleanResultsProvider>(
        GroupedResultsProvider::Services{.prompts = withActions.prompts, .fileActions = actions, .deleter = {},
                                         .executor = withActions.time.executor()},
        CleanScanner::shared(), withActions.store);
    auto& row = withActions.node({1});
    auto entries = provider->menu(row);
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_TRUE(entries[1].separator);
    EXPECT_EQ(entries[2].title, "Open \"B\"");
    EXPECT_EQ(entries[4].title, "Select");
    EXPECT_EQ(provider->selectedItem, &row);
    provider->handleKey(ResultsKey::commandReturn, row);
    EXPECT_EQ(row.selectionState, S::on);
    EXPECT_EQ(provider->menu(row)[4].title, "Deselect");
    provider->handleKey(ResultsKey::commandShiftF, row);
    provider->handleKey(ResultsKey::commandShiftO, withActions.node({0, 1}));
    EXPECT_EQ(actions->done, (std::vector<std::pair<ResultsAction, std::string>>{
                                 {ResultsAction::reveal, "/h/B"}, {ResultsAction::open, "/h/F/f2"}}));
    // A sub-group has no file: only the tick is offered.
    EXPECT_EQ(provider->menu(withActions.node({2})).size(), 1u);
}
