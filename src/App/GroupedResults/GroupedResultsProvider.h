#pragma once

#include "App/GroupedResults/GroupedResultsState.h"

#include "TarnelKit/Daemon/DaemonClient.h"

#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <asio/awaitable.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// The bar under the tree: the selected size and the icons of the selected rows.
struct SelectionSummary {
    static constexpr std::size_t maxIconCount = 7;

    std::string title;                         // "1.2 GB selected"
    std::vector<GroupedResultNode*> iconItems; // at most maxIconCount rows that have an icon
    std::optional<std::string> overflowText;   // "12+" for the rows beyond them
    std::vector<GroupedResultNode*> nodes;     // what the delete button deletes
    bool empty() const { return nodes.empty(); }
};

// What the last deletion did.
struct DeletionOutcome {
    std::size_t deleted = 0;
    std::size_t failed = 0;
    std::uint64_t freedBytes = 0; // the sizes of the deleted rows, as the scan measured them
};

// The scanning overlay over the results screen.
struct LoadingOverlayModel {
    std::string title;
    std::optional<std::string> message;
    bool animated = false;
    std::optional<double> progress;
};

enum class ResultsAction { reveal, open, preview, toggle };
enum class ResultsKey { commandReturn, commandShiftF, commandShiftO };

struct ResultsMenuEntry {
    bool separator = false;
    std::string title;
    std::optional<char> key; // with the Control key, the desktop's Command
    ResultsAction action = ResultsAction::toggle;
};

// What the results screen does for its provider.
class GroupedResultsView {
public:
    virtual ~GroupedResultsView() = default;
    virtual void reloadTree(const ResultsChange& change) = 0;
    virtual void reloadList() = 0;
    virtual void summaryDidChange() = 0;
    virtual void showOverlay(const LoadingOverlayModel& model) = 0;
    virtual void dismissOverlay() = 0;
};

// The questions and messages of the deletion flow; the toolkit shows them.
class ResultsPrompts {
public:
    virtual ~ResultsPrompts() = default;
    // An informational alert with two buttons; true when the first was chosen.
    virtual bool confirm(const std::string& message, const std::string& informativeText, const std::string& accept,
                         const std::string& cancel) = 0;
    virtual void warn(const std::string& message, const std::string& informativeText) = 0;
    // A status text that goes away by itself.
    virtual void showStatus(const std::string& text, std::chrono::milliseconds duration) = 0;
};

// Reveals, opens or previews a row's file.
class ResultsFileActions {
public:
    virtual ~ResultsFileActions() = default;
    virtual void perform(ResultsAction action, const std::string& path) = 0;
};

// Removes paths for the application and answers path by path; throws when it cannot be asked.
using FileDeleter =
    std::function<asio::awaitable<std::vector<bool>>(std::vector<std::string> paths, DaemonClient::Reason reason)>;
// The process's daemon client; without one it throws, so the flow reports that deletion has no route.
FileDeleter daemonFileDeleter();

// The model behind a grouped results screen; a feature fills it in.
class GroupedResultsProvider {
public:
    struct Services {
        std::shared_ptr<ResultsPrompts> prompts;
        std::shared_ptr<ResultsFileActions> fileActions;
        FileDeleter deleter;
        quendal::Executor executor; // the main actor
    };

    explicit GroupedResultsProvider(Services services) : services_(std::move(services)) {}
    virtual ~GroupedResultsProvider() = default;

    std::weak_ptr<GroupedResultsView> resultsViewController;
    std::optional<std::string> title;
    std::optional<std::string> icon;
    std::optional<std::string> analyticsId;
    std::optional<std::string> identifier;
    std::string filter;
    bool searchEnabled = false;

    virtual std::shared_ptr<GroupedResultsState> state() { return nullptr; }
    virtual SelectionSummary selectionSummary();
    virtual std::vector<ResultsMenuEntry> menu(GroupedResultNode&) { return {}; }
    virtual bool handleKey(ResultsKey, GroupedResultNode&) { return false; }
    // An entry of the context menu, chosen on `node`.
    virtual void perform(ResultsAction, GroupedResultNode&) {}
    virtual void filterDidChange() {}
    virtual void resultsWillAppear() {}
    virtual void resultsDidDisappear() {}
    virtual void deleteAction() {}

    // The screen's handler of a check box.
    void selectionDidChange(GroupedResultNode& node, bool on);
    // The delete bar's cancel button.
    void deselectAll();
    // Running while a deletion waits for its answer.
    bool isDeleting() const { return deletion_.isRunning(); }
    const std::optional<DeletionOutcome>& lastOutcome() const { return lastOutcome_; }

protected:
    struct DeletionTexts {
        DaemonClient::Reason reason;
        std::function<std::string(std::size_t)> failMessage;
        std::function<std::string(std::size_t)> successText;
        std::string errorTitle;
        std::function<std::string(const std::string&)> errorMessage;
    };
    // Confirms, sends the paths of `nodes` in order, and drops from the tree what the answer says went.
    void runDeletion(std::vector<GroupedResultNode*> nodes, DeletionTexts texts);
    void reportChange(const ResultsChange& change);

    Services services_;

private:
    void finishDeletion(const std::vector<GroupedResultNode*>& nodes, const std::vector<bool>& answer,
                        const DeletionTexts& texts);
    quendal::Task deletion_;
    std::optional<DeletionOutcome> lastOutcome_;
};

} // namespace tarnel
