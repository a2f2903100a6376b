#include "App/GroupedResults/GroupedResultsProvider.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"
#include "QuendalFoundation/Logging/AppLogger.h"

#include <fmt/format.h>

#include <asio/error.hpp>
#include <asio/system_error.hpp>

#include <algorithm>
#include <stdexcept>

namespace tarnel {

FileDeleter daemonFileDeleter()
{
    return [](std::vector<std::string> paths, DaemonClient::Reason reason) -> asio::awaitable<std::vector<bool>> {
        auto client = DaemonClient::shared();
        if (!client)
            throw std::runtime_error("The helper daemon is not running, so nothing can be deleted.");
        co_return co_await client->deleteFiles(std::move(paths), reason);
    };
}

SelectionSummary GroupedResultsProvider::selectionSummary()
{
    SelectionSummary summary;
    auto current = state();
    if (current)
        summary.nodes = current->selectedTopItems();
    std::uint64_t total = 0;
    std::size_t withIcon = 0;
    for (auto* node : summary.nodes) {
        total += node->size;
        if (!node->icon() && !node->path())
            continue;
        ++withIcon;
        if (summary.iconItems.size() < SelectionSummary::maxIconCount)
            summary.iconItems.push_back(node);
    }
    if (withIcon > SelectionSummary::maxIconCount)
        summary.overflowText = fmt::format("{}+", withIcon - SelectionSummary::maxIconCount);
    const auto format = Localizable::shared().text("general_size_selected", "%@ selected");
    const auto size = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(total));
    summary.title = format;
    if (auto at = summary.title.find("%@"); at != std::string::npos)
        summary.title.replace(at, 2, size);
    return summary;
}

void GroupedResultsProvider::reportChange(const ResultsChange& change)
{
    auto view = resultsViewController.lock();
    if (!view)
        return;
    view->reloadTree(change);
    if (change.list || change.wholeTree)
        view->reloadList();
    view->summaryDidChange();
}

void GroupedResultsProvider::selectionDidChange(GroupedResultNode& node, bool on)
{
    auto current = state();
    if (!current)
        return;
    reportChange(current->setSelected(node, on));
}

void GroupedResultsProvider::deselectAll()
{
    auto current = state();
    if (!current)
        return;
    current->deselectAll();
    reportChange({.wholeTree = true, .list = true, .rows = {}});
}

namespace {

std::string withCount(std::string format, std::size_t count)
{
    if (auto at = format.find("%d"); at != std::string::npos)
        format.replace(at, 2, std::to_string(count));
    return format;
}

} // namespace

void GroupedResultsProvider::runDeletion(std::vector<GroupedResultNode*> nodes, DeletionTexts texts)
{
    auto current = state();
    // The delete bar is the only guard the screen has; a second run would pair answers with
    // nodes the first one may drop.
    if (!current || nodes.empty() || deletion_.isRunning())
        return;
    auto& table = Localizable::shared();
    const auto count = nodes.size();
    const bool accepted = services_.prompts->confirm(
        withCount(table.text("general_confirm_delete_items_title", "Are you sure you want to delete %d items permanently?"),
                  count),
        table.text("general_action_irreversible", "This action can not be reversed."),
        withCount(table.text("general_delete_items", "Delete %d items"), count), table.text("general_cancel", "Cancel"));
    if (!accepted)
        return;

    std::vector<std::string> paths;
    paths.reserve(count);
    for (auto* node : nodes)
        paths.push_back(node->path().value_or(std::string()));

    auto work = [](GroupedResultsProvider* self, std::shared_ptr<GroupedResultsState> keep,
                   std::vector<GroupedResultNode*> sent, std::vector<std::string> sentPaths,
                   DeletionTexts words) -> asio::awaitable<void> {
        std::vector<bool> answer;
        try {
            answer = co_await self->services_.deleter(std::move(sentPaths), words.reason);
        } catch (const asio::system_error& error) {
            if (error.code() == asio::error::operation_aborted)
                co_return; // the provider went away and cancelled the task
            quendal::AppLogger::error(fmt::format("deleteAction(): {}", error.what()));
            self->services_.prompts->warn(words.errorTitle, words.errorMessage(error.what()));
            co_return;
        } catch (const std::exception& error) {
            quendal::AppLogger::error(fmt::format("deleteAction(): {}", error.what()));
            self->services_.prompts->warn(words.errorTitle, words.errorMessage(error.what()));
            co_return;
        }
        if (self->state() != keep)
            co_return; // a new scan replaced the tree the nodes belong to
        self->finishDeletion(sent, answer, words);
    };
    deletion_ = quendal::spawn(services_.executor, work(this, current, std::move(nodes), std::move(paths), std::move(texts)));
}

void GroupedResultsProvider::finishDeletion(const std::vector<GroupedResultNode*>& nodes,
                                            const std::vector<bool>& answer, const DeletionTexts& texts)
{
    std::vector<GroupedResultNode*> deleted;
    const auto paired = std::min(nodes.size(), answer.size());
    for (std::size_t i = 0; i < paired; ++i)
        if (answer[i])
            deleted.push_back(nodes[i]);
    DeletionOutcome outcome{.deleted = deleted.size(), .failed = nodes.size() - deleted.size(), .freedBytes = 0};
    for (auto* node : deleted)
        outcome.freedBytes += node->size;
    lastOutcome_ = outcome;
    if (deleted.size() < nodes.size())
        services_.prompts->warn(Localizable::shared().text("clean_delete_fail_title", "Unable to delete items"),
                                texts.failMessage(nodes.size() - deleted.size()));
    if (deleted.empty())
        return;
    auto change = state()->dropFromParents(deleted);
    reportChange(change);
    services_.prompts->showStatus(texts.successText(deleted.size()), std::chrono::milliseconds(1500));
}

} // namespace tarnel
