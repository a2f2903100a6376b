#include "Clean/GroupedResultsScreen.h"

#include "Clean/GroupedResultsTreeModel.h"
#include "Theme/ThemeManager.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

QString sizeText(std::uint64_t bytes)
{
    return qs(quendal::ByteCountFormatter::string(static_cast<std::int64_t>(bytes)));
}

QIcon nodeIcon(const GroupedResultNode& node)
{
    if (auto icon = node.icon())
        return QIcon::fromTheme(qs(*icon), QIcon::fromTheme(QStringLiteral("folder")));
    static const QFileIconProvider icons;
    if (auto path = node.path())
        return icons.icon(QFileInfo(qs(*path)));
    return icons.icon(QFileIconProvider::Folder);
}

// Forwards the provider's calls to the screen while it lives.
class ScreenView : public GroupedResultsView {
public:
    explicit ScreenView(GroupedResultsScreen* screen) : screen_(screen) {}
    void reloadTree(const ResultsChange& change) override { screen_->reloadTree(change); }
    void reloadList() override { screen_->reloadList(); }
    void summaryDidChange() override { screen_->summaryDidChange(); }
    void showOverlay(const LoadingOverlayModel& model) override { screen_->showOverlay(model); }
    void dismissOverlay() override { screen_->dismissOverlay(); }

private:
    GroupedResultsScreen* screen_;
};

} // namespace

GroupedResultsScreen::GroupedResultsScreen(std::shared_ptr<GroupedResultsProvider> provider, QWidget* parent)
    : QWidget(parent), provider_(std::move(provider)), view_(std::make_shared<ScreenView>(this)),
      list_(new QListWidget(this)), groupTitle_(new QLabel(this)), groupDescription_(new QLabel(this)),
      emptyNote_(new QLabel(this)), tree_(new QTreeView(this)), model_(new GroupedResultsTreeModel(provider_, this)),
      bar_(new QWidget(this)), summary_(new QLabel(bar_)), icons_(new QHBoxLayout), delete_(new QPushButton(bar_)),
      cancel_(new QPushButton(bar_)), banner_(new QLabel(this)), overlay_(new QWidget(this)),
      overlayTitle_(new QLabel(overlay_)), overlayMessage_(new QLabel(overlay_)), overlayProgress_(new QProgressBar(overlay_))
{
    provider_->resultsViewController = view_;
    setObjectName(QStringLiteral("groupedResultsScreen"));

    list_->setObjectName(QStringLiteral("resultGroups"));
    list_->setFixedWidth(260);
    list_->setIconSize(QSize(22, 22));
    list_->setSpacing(2);

    TarnelThemeManager::style(groupTitle_, Role::sectionTitle);
    TarnelThemeManager::style(groupDescription_, Role::note);
    groupDescription_->setWordWrap(true);
    TarnelThemeManager::style(emptyNote_, Role::note);
    emptyNote_->setAlignment(Qt::AlignCenter);

    tree_->setObjectName(QStringLiteral("resultTree"));
    tree_->setModel(model_);
    tree_->setUniformRowHeights(true); // keeps 100,000 rows cheap to lay out
    tree_->setContextMenuPolicy(Qt::CustomContextMenu);
    tree_->setAlternatingRowColors(true);
    tree_->header()->setStretchLastSection(false);
    tree_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    tree_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    tree_->installEventFilter(this);

    bar_->setObjectName(QStringLiteral("deleteBar"));
    auto* barLayout = new QHBoxLayout(bar_);
    barLayout->setContentsMargins(8, 6, 8, 6);
    QFont bold = summary_->font();
    bold.setWeight(QFont::DemiBold);
    summary_->setFont(bold);
    barLayout->addWidget(summary_);
    barLayout->addLayout(icons_);
    barLayout->addStretch(1);
    cancel_->setText(tr("Cancel"));
    delete_->setText(tr("Delete"));
    delete_->setObjectName(QStringLiteral("deleteButton"));
    TarnelThemeManager::style(delete_, Role::primaryButton);
    barLayout->addWidget(cancel_);
    barLayout->addWidget(delete_);

    banner_->setObjectName(QStringLiteral("statusBanner"));
    banner_->setAlignment(Qt::AlignCenter);
    TarnelThemeManager::style(banner_, Role::sectionTitle);
    banner_->hide();

    auto* right = new QVBoxLayout;
    right->addWidget(groupTitle_);
    right->addWidget(groupDescription_);
    right->addWidget(banner_);
    right->addWidget(tree_, 1);
    right->addWidget(emptyNote_, 1);
    right->addWidget(bar_);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(list_);
    layout->addLayout(right, 1);

    overlay_->setObjectName(QStringLiteral("scanningOverlay"));
    overlay_->setAutoFillBackground(true);
    auto* overlayLayout = new QVBoxLayout(overlay_);
    overlayLayout->addStretch(1);
    TarnelThemeManager::style(overlayTitle_, Role::pageTitle);
    overlayTitle_->setAlignment(Qt::AlignCenter);
    overlayMessage_->setAlignment(Qt::AlignCenter);
    TarnelThemeManager::style(overlayMessage_, Role::note);
    overlayProgress_->setRange(0, 1000);
    overlayProgress_->setTextVisible(false);
    overlayProgress_->setFixedWidth(360);
    overlayLayout->addWidget(overlayTitle_);
    overlayLayout->addWidget(overlayMessage_);
    overlayLayout->addWidget(overlayProgress_, 0, Qt::AlignHCenter);
    overlayLayout->addStretch(1);
    overlay_->hide();

    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (reloadingList_ || row < 0)
            return;
        if (auto state = provider_->state()) {
            state->highlightedGroupIndex = row;
            showHighlightedGroup();
        }
    });
    connect(list_, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        auto state = provider_->state();
        const int row = list_->row(item);
        if (reloadingList_ || !state || row < 1 || row > static_cast<int>(state->groups.size()))
            return;
        auto& group = *state->groups[static_cast<std::size_t>(row - 1)];
        const bool on = item->checkState() != Qt::Unchecked;
        if (on != (group.selectionState == SelectionState::on))
            provider_->selectionDidChange(group, on);
    });
    connect(tree_, &QWidget::customContextMenuRequested, this, &GroupedResultsScreen::showMenu);
    connect(delete_, &QPushButton::clicked, this, [this] { provider_->deleteAction(); });
    connect(cancel_, &QPushButton::clicked, this, [this] { provider_->deselectAll(); });

    reloadList();
    summaryDidChange();
}

void GroupedResultsScreen::highlightRow(int row)
{
    list_->setCurrentRow(row);
}

void GroupedResultsScreen::reloadList()
{
    auto state = provider_->state();
    const std::size_t groupCount = state ? state->groups.size() : 0;
    std::uint64_t total = 0;
    if (state)
        for (const auto& group : state->groups)
            total += group->size;
    reloadingList_ = true;
    // Rows are updated in place when the groups are the same, since this runs from the list's
    // own change signal, where its items must stay alive.
    const bool rebuild = list_->count() != static_cast<int>(groupCount) + 1;
    if (rebuild) {
        list_->clear();
        auto* head = new QListWidgetItem(QIcon::fromTheme(QStringLiteral("edit-clear-all")), QString(), list_);
        head->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        for (std::size_t i = 0; i < groupCount; ++i) {
            auto* item = new QListWidgetItem(list_);
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        }
    }
    list_->item(0)->setText(qs(provider_->title.value_or(std::string())) + QStringLiteral("\n") + sizeText(total));
    for (std::size_t i = 0; i < groupCount; ++i) {
        const auto& group = *state->groups[i];
        auto* item = list_->item(static_cast<int>(i) + 1);
        item->setIcon(nodeIcon(group));
        item->setText(qs(group.title()) + QStringLiteral("\n") + sizeText(group.size));
        item->setCheckState(group.selectionState == SelectionState::on      ? Qt::Checked
                            : group.selectionState == SelectionState::mixed ? Qt::PartiallyChecked
                                                                             : Qt::Unchecked);
    }
    if (state)
        list_->setCurrentRow(state->highlightedGroupIndex.value_or(-1));
    reloadingList_ = false;
    showHighlightedGroup();
}

void GroupedResultsScreen::showHighlightedGroup()
{
    auto state = provider_->state();
    auto* group = state ? state->highlightedGroup() : nullptr;
    if (group != model_->group())
        model_->setGroup(group);
    const bool hasRows = group && !group->children().empty();
    tree_->setVisible(hasRows);
    emptyNote_->setVisible(!hasRows);
    groupTitle_->setText(group ? qs(group->title()) : qs(provider_->title.value_or(std::string())));
    auto* asGroup = dynamic_cast<GroupedResultsGroup*>(group);
    groupDescription_->setText(asGroup ? qs(asGroup->description()) : QString());
    if (!state)
        emptyNote_->setText(tr("No results yet."));
    else if (!group)
        emptyNote_->setText(tr("Choose a group on the left to review its files."));
    else
        emptyNote_->setText(tr("Nothing to clean here."));
}

void GroupedResultsScreen::reloadTree(const ResultsChange& change)
{
    if (change.structural) {
        model_->setGroup(nullptr); // the rows it pointed at may be gone
        showHighlightedGroup();
        return;
    }
    // Rows read their ticks from the nodes when painted: a repaint of the visible rows is enough
    // for a whole group, where signalling every row would cost as much as the rows.
    if (!change.wholeTree)
        model_->refreshRows(change.rows);
    tree_->viewport()->update();
}

void GroupedResultsScreen::summaryDidChange()
{
    const auto summary = provider_->selectionSummary();
    bar_->setVisible(!summary.empty());
    summary_->setText(qs(summary.title));
    while (auto* item = icons_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (auto* node : summary.iconItems) {
        auto* icon = new QLabel(bar_);
        icon->setPixmap(nodeIcon(*node).pixmap(20, 20));
        icon->setToolTip(qs(node->path().value_or(node->title())));
        icons_->addWidget(icon);
    }
    if (summary.overflowText)
        icons_->addWidget(new QLabel(qs(*summary.overflowText), bar_));
}

void GroupedResultsScreen::showOverlay(const LoadingOverlayModel& model)
{
    overlayTitle_->setText(qs(model.title));
    overlayMessage_->setText(qs(model.message.value_or(std::string())));
    overlayProgress_->setVisible(model.progress.has_value());
    overlayProgress_->setValue(static_cast<int>(model.progress.value_or(0) * 1000));
    overlay_->setGeometry(rect());
    overlay_->raise();
    overlay_->show();
}

void GroupedResultsScreen::dismissOverlay()
{
    overlay_->hide();
}

void GroupedResultsScreen::showStatus(const std::string& text, std::chrono::milliseconds duration)
{
    QString line = qs(text);
    if (const auto& outcome = provider_->lastOutcome(); outcome && outcome->freedBytes > 0)
        line += QStringLiteral(" · ") + tr("%1 freed").arg(sizeText(outcome->freedBytes));
    banner_->setText(line);
    banner_->show();
    QTimer::singleShot(duration, banner_, [banner = banner_] { banner->hide(); });
}

void GroupedResultsScreen::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    overlay_->setGeometry(rect());
}

bool GroupedResultsScreen::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != tree_ || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    auto* node = model_->node(tree_->currentIndex());
    if (!node)
        return false;
    const auto mods = key->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier);
    std::optional<ResultsKey> action;
    if (mods == Qt::ControlModifier && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter))
        action = ResultsKey::commandReturn;
    else if (mods == (Qt::ControlModifier | Qt::ShiftModifier) && key->key() == Qt::Key_F)
        action = ResultsKey::commandShiftF;
    else if (mods == (Qt::ControlModifier | Qt::ShiftModifier) && key->key() == Qt::Key_O)
        action = ResultsKey::commandShiftO;
    else if (mods == Qt::NoModifier && key->key() == Qt::Key_Space)
        action = ResultsKey::commandReturn; // the usual toggle of a check box in a tree
    return action && provider_->handleKey(*action, *node);
}

void GroupedResultsScreen::showMenu(const QPoint& at)
{
    auto* node = model_->node(tree_->indexAt(at));
    if (!node)
        return;
    QMenu menu(this);
    for (const auto& entry : provider_->menu(*node)) {
        if (entry.separator) {
            menu.addSeparator();
            continue;
        }
        auto* action = menu.addAction(qs(entry.title));
        if (entry.key) {
            const auto key = *entry.key == '\r' ? QKeySequence(Qt::CTRL | Qt::Key_Return)
                                                 : QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key(*entry.key));
            action->setShortcut(key);
        }
        connect(action, &QAction::triggered, this, [this, node, what = entry.action] { provider_->perform(what, *node); });
    }
    menu.exec(tree_->viewport()->mapToGlobal(at));
}

} // namespace tarnel::gui
