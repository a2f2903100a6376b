#include "App/Clean/CleanResultsProvider.h"

#include "App/Localization/Localizable.h"

namespace tarnel {

namespace {

std::string replaced(std::string format, std::string_view marker, const std::string& value)
{
    if (auto at = format.find(marker); at != std::string::npos)
        format.replace(at, marker.size(), value);
    return format;
}

std::string scanningTitle()
{
    return Localizable::shared().text("clean_scanning", "Scanning");
}

} // namespace

CleanResultsStore& CleanResultsStore::shared()
{
    static CleanResultsStore store;
    return store;
}

CleanResultsProvider::CleanResultsProvider(Services services, CleanScanner& scanner, CleanResultsStore& store)
    : GroupedResultsProvider(std::move(services)), scanner_(scanner), store_(store)
{
    identifier = "clean";
    analyticsId = "clean";
    title = Localizable::shared().text("clean_title", "Clean");
}

std::vector<ResultsMenuEntry> CleanResultsProvider::menu(GroupedResultNode& node)
{
    selectedItem = &node;
    auto& table = Localizable::shared();
    const bool on = node.selectionState == SelectionState::on;
    std::vector<ResultsMenuEntry> entries;
    if (node.path()) {
        entries.push_back({.title = table.text("general_action_show_in_finder", "Show in the file manager"),
                           .key = 'F',
                           .action = ResultsAction::reveal});
        entries.push_back({.separator = true});
        entries.push_back({.title = replaced(table.text("general_action_open_item", "Open \"%@\""), "%@", node.title()),
                           .key = 'O',
                           .action = ResultsAction::open});
        entries.push_back({.title = table.text("general_action_preview", "Preview"), .action = ResultsAction::preview});
    }
    entries.push_back({.title = on ? table.text("general_action_deselect", "Deselect")
                                   : table.text("general_action_select", "Select"),
                       .key = '\r',
                       .action = ResultsAction::toggle});
    return entries;
}

void CleanResultsProvider::perform(ResultsAction action, GroupedResultNode& node)
{
    selectedItem = &node;
    if (action == ResultsAction::toggle) {
        selectionDidChange(node, node.selectionState != SelectionState::on);
        return;
    }
    if (auto path = node.path(); path && services_.fileActions)
        services_.fileActions->perform(action, *path);
}

bool CleanResultsProvider::handleKey(ResultsKey key, GroupedResultNode& node)
{
    switch (key) {
    case ResultsKey::commandReturn: perform(ResultsAction::toggle, node); return true;
    case ResultsKey::commandShiftF: perform(ResultsAction::reveal, node); return true;
    case ResultsKey::commandShiftO: perform(ResultsAction::open, node); return true;
    }
    return false;
}

void CleanResultsProvider::resultsWillAppear()
{
    if (!listening_) {
        scanner_.addListener(shared_from_this());
        listening_ = true;
    }
    if (!scanner_.isRunning() && !store_.state)
        scanner_.start();
    else if (scanner_.isRunning())
        cleanScannerDidStart();
}

void CleanResultsProvider::resultsDidDisappear()
{
    if (listening_)
        scanner_.removeListener(shared_from_this());
    listening_ = false;
}

void CleanResultsProvider::rescan()
{
    if (scanner_.isRunning())
        return;
    scanner_.clear();
    scanner_.start();
}

void CleanResultsProvider::cleanScannerDidStart()
{
    if (auto view = resultsViewController.lock())
        view->showOverlay({.title = scanningTitle(), .message = std::string(), .animated = true, .progress = 0.0});
}

void CleanResultsProvider::cleanScannerDidUpdate(const std::string& status, double progress)
{
    if (auto view = resultsViewController.lock())
        view->showOverlay({.title = scanningTitle(), .message = status, .animated = false, .progress = progress});
}

void CleanResultsProvider::cleanScannerDidFinish()
{
    store_.state = std::make_shared<GroupedResultsState>(makeCleanResultGroups(scanner_.groups()));
    scanner_.clear();
    selectedItem = nullptr;
    if (auto view = resultsViewController.lock()) {
        view->reloadList();
        view->reloadTree({.wholeTree = true, .list = true, .rows = {}});
        view->summaryDidChange();
        view->dismissOverlay();
    }
}

void CleanResultsProvider::deleteAction()
{
    auto current = state();
    if (!current)
        return;
    std::vector<GroupedResultNode*> nodes;
    for (auto* node : current->selectedTopItems())
        if (dynamic_cast<CleanScanResultItem*>(node))
            nodes.push_back(node);
    auto& table = Localizable::shared();
    auto withCount = [](std::string format, std::size_t count) {
        return replaced(std::move(format), "%d", std::to_string(count));
    };
    runDeletion(std::move(nodes),
                {.reason = DaemonClient::Reason::userConfirmedCleanup,
                 .failMessage = [&table, withCount](std::size_t count) {
                     return withCount(table.text("clean_delete_fail_message", "%d items could not be deleted."), count);
                 },
                 .successText = [&table, withCount](std::size_t count) {
                     return withCount(table.text("clean_delete_success", "Deleted %d items"), count);
                 },
                 .errorTitle = table.text("clean_delete_fail_title", "Unable to delete items"),
                 .errorMessage = [&table](const std::string& what) {
                     return replaced(table.text("agent_uninstall_error_returned", "Helper returned error: %@"), "%@", what);
                 }});
}

} // namespace tarnel
