#include "Clean/GroupedResultsTreeModel.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QIcon>

#include <algorithm>

namespace tarnel::gui {

namespace {

Qt::CheckState checkState(SelectionState state)
{
    switch (state) {
    case SelectionState::on: return Qt::Checked;
    case SelectionState::mixed: return Qt::PartiallyChecked;
    case SelectionState::off: break;
    }
    return Qt::Unchecked;
}

int rowIn(const GroupedResultNode& parent, const GroupedResultNode* child)
{
    const auto& children = parent.children();
    auto it = std::ranges::find_if(children, [&](const auto& c) { return c.get() == child; });
    return it == children.end() ? -1 : static_cast<int>(it - children.begin());
}

} // namespace

GroupedResultsTreeModel::GroupedResultsTreeModel(std::shared_ptr<GroupedResultsProvider> provider, QObject* parent)
    : QAbstractItemModel(parent), provider_(std::move(provider))
{
}

void GroupedResultsTreeModel::setGroup(GroupedResultNode* group)
{
    beginResetModel();
    group_ = group;
    endResetModel();
}

GroupedResultNode* GroupedResultsTreeModel::node(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<GroupedResultNode*>(index.internalPointer()) : nullptr;
}

GroupedResultNode* GroupedResultsTreeModel::nodeOrGroup(const QModelIndex& index) const
{
    return index.isValid() ? node(index) : group_;
}

QModelIndex GroupedResultsTreeModel::indexOf(GroupedResultNode* node) const
{
    if (!node || node == group_ || !node->parent())
        return {};
    const int row = rowIn(*node->parent(), node);
    return row < 0 ? QModelIndex() : createIndex(row, 0, node);
}

void GroupedResultsTreeModel::refreshRows(const std::vector<GroupedResultNode*>& rows)
{
    for (auto* row : rows) {
        const auto at = indexOf(row);
        if (at.isValid())
            Q_EMIT dataChanged(at, at.siblingAtColumn(1), {Qt::CheckStateRole, Qt::DisplayRole});
    }
}

QModelIndex GroupedResultsTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    auto* owner = nodeOrGroup(parent);
    if (!owner || row < 0 || column < 0 || column > 1 || row >= static_cast<int>(owner->children().size()))
        return {};
    return createIndex(row, column, owner->children()[static_cast<std::size_t>(row)].get());
}

QModelIndex GroupedResultsTreeModel::parent(const QModelIndex& index) const
{
    auto* n = node(index);
    if (!n || !n->parent() || n->parent() == group_)
        return {};
    return indexOf(n->parent());
}

int GroupedResultsTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    auto* owner = nodeOrGroup(parent);
    return owner ? static_cast<int>(owner->children().size()) : 0;
}

int GroupedResultsTreeModel::columnCount(const QModelIndex&) const
{
    return 2;
}

QVariant GroupedResultsTreeModel::data(const QModelIndex& index, int role) const
{
    auto* n = node(index);
    if (!n)
        return {};
    if (index.column() == 1) {
        if (role == Qt::DisplayRole)
            return QString::fromStdString(quendal::ByteCountFormatter::string(static_cast<std::int64_t>(n->size)));
        if (role == Qt::TextAlignmentRole)
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    }
    switch (role) {
    case Qt::DisplayRole: return QString::fromStdString(n->title());
    case Qt::CheckStateRole: return checkState(n->selectionState);
    case Qt::ToolTipRole:
        return n->path() ? QVariant(QString::fromStdString(*n->path())) : QVariant();
    case Qt::DecorationRole: {
        if (auto icon = n->icon())
            return QIcon::fromTheme(QString::fromStdString(*icon), QIcon::fromTheme(QStringLiteral("folder")));
        static const QFileIconProvider icons;
        if (auto path = n->path())
            return icons.icon(QFileInfo(QString::fromStdString(*path)));
        return icons.icon(QFileIconProvider::Folder);
    }
    default: return {};
    }
}

bool GroupedResultsTreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    auto* n = node(index);
    if (!n || role != Qt::CheckStateRole)
        return false;
    // A click on a mixed box ticks everything below it.
    const bool on = static_cast<Qt::CheckState>(value.toInt()) != Qt::Unchecked &&
                    n->selectionState != SelectionState::on;
    provider_->selectionDidChange(*n, on);
    return true;
}

Qt::ItemFlags GroupedResultsTreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    auto flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (index.column() == 0)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QVariant GroupedResultsTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == 0 ? tr("Name") : tr("Size");
}

} // namespace tarnel::gui
