#pragma once

#include "App/Clean/CleanResultNodes.h"
#include "App/GroupedResults/GroupedResultsProvider.h"

#include "Scanning/Clean/CleanScanner.h"
#include "Scanning/ScanProgress.h"

namespace tarnel {

// Clean's results: the last scan's tree outlives the screen, so coming back shows the same ticks.
class CleanResultsStore {
public:
    static CleanResultsStore& shared();
    std::shared_ptr<GroupedResultsState> state;
};

class CleanResultsProvider : public GroupedResultsProvider,
                             public CleanScannerListener,
                             public std::enable_shared_from_this<CleanResultsProvider> {
public:
    CleanResultsProvider(Services services, CleanScanner& scanner, CleanResultsStore& store);

    // The target of the last context menu or key.
    GroupedResultNode* selectedItem = nullptr;

    std::shared_ptr<GroupedResultsState> state() override { return store_.state; }
    std::vector<ResultsMenuEntry> menu(GroupedResultNode& node) override;
    bool handleKey(ResultsKey key, GroupedResultNode& node) override;
    void resultsWillAppear() override;
    void resultsDidDisappear() override;
    void deleteAction() override;
    void perform(ResultsAction action, GroupedResultNode& node) override;

    // Replaces the result with a new scan.
    void rescan();

    void cleanScannerDidStart() override;
    void cleanScannerDidFinish() override;
    void cleanScannerDidUpdate(const std::string& status, double progress) override;

private:
    CleanScanner& scanner_;
    CleanResultsStore& store_;
    bool listening_ = false;
};

} // namespace tarnel
