#pragma once

#include "App/GroupedResults/GroupedResultsProvider.h"

#include <QWidget>

#include <chrono>
#include <memory>

class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTreeView;
class QHBoxLayout;

namespace tarnel::gui {

class GroupedResultsTreeModel;

// The groups on the left, the tree of the highlighted group on the right, the delete bar under
// it, and the scanning overlay over all of it.
class GroupedResultsScreen : public QWidget {
public:
    explicit GroupedResultsScreen(std::shared_ptr<GroupedResultsProvider> provider, QWidget* parent = nullptr);

    GroupedResultsProvider& provider() const { return *provider_; }
    QListWidget* groupList() const { return list_; }
    QTreeView* tree() const { return tree_; }
    GroupedResultsTreeModel* treeModel() const { return model_; }
    QWidget* deleteBar() const { return bar_; }
    QLabel* summaryLabel() const { return summary_; }
    QPushButton* deleteButton() const { return delete_; }
    QWidget* overlay() const { return overlay_; }
    QLabel* statusBanner() const { return banner_; }

    // Highlights row `row` of the list (0 is the head row).
    void highlightRow(int row);
    void showStatus(const std::string& text, std::chrono::milliseconds duration);

    // Called by the provider through its view.
    void reloadTree(const ResultsChange& change);
    void reloadList();
    void summaryDidChange();
    void showOverlay(const LoadingOverlayModel& model);
    void dismissOverlay();

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showHighlightedGroup();
    void showMenu(const QPoint& at);

    std::shared_ptr<GroupedResultsProvider> provider_;
    std::shared_ptr<GroupedResultsView> view_;
    QListWidget* list_;
    QLabel* groupTitle_;
    QLabel* groupDescription_;
    QLabel* emptyNote_;
    QTreeView* tree_;
    GroupedResultsTreeModel* model_;
    QWidget* bar_;
    QLabel* summary_;
    QHBoxLayout* icons_;
    QPushButton* delete_;
    QPushButton* cancel_;
    QLabel* banner_;
    QWidget* overlay_;
    QLabel* overlayTitle_;
    QLabel* overlayMessage_;
    QProgressBar* overlayProgress_;
    bool reloadingList_ = false;
};

} // namespace tarnel::gui
