#pragma once

#include "App/GroupedResults/GroupedResultsProvider.h"

#include <QAbstractItemModel>

#include <memory>

namespace tarnel::gui {

// The tree of the highlighted group, read live from its nodes: a check box and title in the
// first column, the size in the second. Rows are fetched on demand, so 100,000 rows cost only
// what is on screen.
class GroupedResultsTreeModel : public QAbstractItemModel {
public:
    explicit GroupedResultsTreeModel(std::shared_ptr<GroupedResultsProvider> provider, QObject* parent = nullptr);

    // Shows the rows of `group`; null shows nothing.
    void setGroup(GroupedResultNode* group);
    GroupedResultNode* group() const { return group_; }
    GroupedResultNode* node(const QModelIndex& index) const;
    QModelIndex indexOf(GroupedResultNode* node) const;
    // After a change of ticks only: the rows repaint from the nodes.
    void refreshRows(const std::vector<GroupedResultNode*>& rows);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    GroupedResultNode* nodeOrGroup(const QModelIndex& index) const;

    std::shared_ptr<GroupedResultsProvider> provider_;
    GroupedResultNode* group_ = nullptr;
};

} // namespace tarnel::gui
