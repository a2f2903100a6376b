#include "Clean/CleanScreen.h"

#include "Clean/GroupedResultsScreen.h"
#include "Clean/QtResultsPrompts.h"
#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QString text(std::string_view key, std::string_view english)
{
    return QString::fromStdString(Localizable::shared().text(key, english));
}

QWidget* featureRow(const QString& icon, const QString& title, const QString& description, QWidget* parent)
{
    auto* row = new QWidget(parent);
    auto* layout = new QGridLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setHorizontalSpacing(14);
    auto* image = new QLabel(row);
    image->setPixmap(TarnelThemeManager::icon(icon, TarnelThemeManager::shared().appearance().accent, 32).pixmap(32, 32));
    layout->addWidget(image, 0, 0, 2, 1, Qt::AlignTop);
    auto* name = new QLabel(title, row);
    QFont bold = name->font();
    bold.setWeight(QFont::DemiBold);
    name->setFont(bold);
    layout->addWidget(name, 0, 1);
    auto* note = new QLabel(description, row);
    note->setWordWrap(true);
    TarnelThemeManager::style(note, Role::note);
    layout->addWidget(note, 1, 1);
    layout->setColumnStretch(1, 1);
    return row;
}

std::size_t itemCount(const GroupedResultsState& state)
{
    std::size_t count = 0;
    for (const auto& group : state.allGroups)
        count += group->children().size();
    return count;
}

} // namespace

CleanScreen::CleanScreen(std::shared_ptr<CleanResultsProvider> provider, std::shared_ptr<QtResultsPrompts> prompts,
                         QWidget* parent)
    : QWidget(parent), provider_(std::move(provider)), prompts_(std::move(prompts)), pages_(new QStackedLayout(this)),
      results_(new GroupedResultsScreen(provider_, this))
{
    intro_ = makeIntro();
    setObjectName(QStringLiteral("cleanScreen"));
    prompts_->setParent(this);
    prompts_->setStatusHandler([this](const std::string& status, std::chrono::milliseconds duration) {
        results_->showStatus(status, duration);
    });
    // The results page gets a way back to the intro, which holds the new scan.
    resultsPage_ = new QWidget(this);
    auto* pageLayout = new QVBoxLayout(resultsPage_);
    pageLayout->setContentsMargins(0, 0, 0, 0);
    auto* back = new QPushButton(text("clean_title", "Clean"), resultsPage_);
    back->setObjectName(QStringLiteral("cleanBack"));
    back->setIcon(QIcon::fromTheme(QStringLiteral("go-previous")));
    back->setFlat(true);
    connect(back, &QPushButton::clicked, this, &CleanScreen::showIntro);
    pageLayout->addWidget(back, 0, Qt::AlignLeft);
    pageLayout->addWidget(results_, 1);
    pages_->addWidget(intro_);
    pages_->addWidget(resultsPage_);
    refreshIntro();
}

QWidget* CleanScreen::makeIntro()
{
    auto* page = new QWidget(this);
    page->setObjectName(QStringLiteral("cleanIntro"));
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(48, 36, 48, 36);
    layout->setSpacing(18);
    layout->addStretch(1);
    auto* title = new QLabel(text("clean_title", "Clean"), page);
    TarnelThemeManager::style(title, Role::pageTitle);
    layout->addWidget(title);
    auto* description = new QLabel(
        text("clean_description", "The quickest way to free up disk space on your computer. This feature will scan "
                                   "your system for files that are safe to delete and let you review and delete the "
                                   "ones you no longer need."),
        page);
    description->setWordWrap(true);
    TarnelThemeManager::style(description, Role::note);
    layout->addWidget(description);
    layout->addWidget(featureRow(QStringLiteral("storage"), text("clean_recycle_title", "Recycle disk space"),
                                 text("clean_recycle_description",
                                      "Automatically locate files that take up your disk space, allowing you free up "
                                      "several gigabytes of storage in a matter of seconds."),
                                 page));
    layout->addWidget(featureRow(QStringLiteral("clean"), text("clean_system_title", "Clean up your system"),
                                 text("clean_system_description",
                                      "Locate and delete old system files such as caches or log files that can "
                                      "accumulate on your computer over time."),
                                 page));
    auto* buttons = new QHBoxLayout;
    scan_ = new QPushButton(page);
    scan_->setObjectName(QStringLiteral("cleanScan"));
    TarnelThemeManager::style(scan_, Role::primaryButton);
    view_ = new QPushButton(page);
    view_->setObjectName(QStringLiteral("cleanViewItems"));
    buttons->addWidget(scan_);
    buttons->addWidget(view_);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    layout->addStretch(2);
    connect(scan_, &QPushButton::clicked, this, &CleanScreen::startScan);
    connect(view_, &QPushButton::clicked, this, &CleanScreen::showResults);
    return page;
}

void CleanScreen::refreshIntro()
{
    auto state = provider_->state();
    scan_->setText(state ? text("clean_new_scan", "New Scan") : text("clean_scan", "Scan"));
    view_->setVisible(state != nullptr);
    if (state)
        view_->setText(text("clean_view_items", "Show %d Items").replace(QStringLiteral("%d"), QString::number(itemCount(*state))));
}

bool CleanScreen::showsResults() const
{
    return pages_->currentWidget() == resultsPage_;
}

void CleanScreen::startScan()
{
    showResults();
    provider_->rescan();
}

void CleanScreen::showResults()
{
    pages_->setCurrentWidget(resultsPage_);
    provider_->resultsWillAppear();
    results_->reloadList();
    results_->summaryDidChange();
}

void CleanScreen::showIntro()
{
    provider_->resultsDidDisappear();
    refreshIntro();
    pages_->setCurrentWidget(intro_);
}

void CleanScreen::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (showsResults())
        provider_->resultsWillAppear();
    else
        refreshIntro();
}

void CleanScreen::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    if (showsResults())
        provider_->resultsDidDisappear();
}

QWidget* makeCleanScreen()
{
    auto prompts = std::make_shared<QtResultsPrompts>();
    auto provider = std::make_shared<CleanResultsProvider>(
        GroupedResultsProvider::Services{.prompts = prompts,
                                         .fileActions = std::make_shared<QtResultsFileActions>(),
                                         .deleter = daemonFileDeleter(),
                                         .executor = quendal::Runtime::shared().mainExecutor()},
        CleanScanner::shared(), CleanResultsStore::shared());
    return new CleanScreen(std::move(provider), std::move(prompts));
}

} // namespace tarnel::gui
