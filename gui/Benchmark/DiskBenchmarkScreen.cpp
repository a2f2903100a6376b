#include "Benchmark/DiskBenchmarkScreen.h"

#include "Benchmark/QtBenchmarkPrompts.h"
#include "Theme/CardFrame.h"
#include "Theme/ThemeManager.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

constexpr int cardColumns = 3;

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

QIcon driveIcon(const std::optional<std::string>& name)
{
    const auto fallback = TarnelThemeManager::icon(QStringLiteral("storage"), TarnelThemeManager::shared().appearance().accent, 32);
    return name ? QIcon::fromTheme(qs(*name), fallback) : fallback;
}

// One stored run: the drive, when, and the two speeds in their colours.
class ResultCard : public CardFrame {
public:
    explicit ResultCard(const DiskBenchmarkResultCardModel& model)
    {
        setObjectName(QStringLiteral("benchmarkResultCard"));
        setAccessibleName(qs(model.title + " " + model.identifier));
        auto* layout = new QGridLayout(this);
        layout->setContentsMargins(14, 12, 14, 12);
        layout->setHorizontalSpacing(10);
        layout->setVerticalSpacing(2);
        auto* icon = new QLabel(this);
        icon->setPixmap(driveIcon(model.image).pixmap(32, 32));
        layout->addWidget(icon, 0, 0, 2, 1, Qt::AlignTop);
        auto* title = new QLabel(qs(model.title), this);
        QFont bold = title->font();
        bold.setWeight(QFont::DemiBold);
        title->setFont(bold);
        layout->addWidget(title, 0, 1, 1, 2);
        auto* subtitle = new QLabel(qs(model.subtitle.value_or(std::string())), this);
        TarnelThemeManager::style(subtitle, Role::note);
        layout->addWidget(subtitle, 1, 1, 1, 2);
        int column = 1;
        for (const auto& value : model.values) {
            auto* box = new QVBoxLayout;
            box->setSpacing(0);
            auto* name = new QLabel(qs(value.title), this);
            QPalette palette = name->palette();
            palette.setColor(QPalette::WindowText, benchmarkColor(value.color));
            name->setPalette(palette);
            auto* speed = new QLabel(qs(value.value), this);
            TarnelThemeManager::style(speed, Role::statValue);
            box->addWidget(name);
            box->addWidget(speed);
            layout->addLayout(box, 2, column++);
        }
        layout->setRowMinimumHeight(2, 44);
        layout->setColumnStretch(1, 1);
        layout->setColumnStretch(2, 1);
    }
};

} // namespace

DiskBenchmarkScreen::DiskBenchmarkScreen(std::shared_ptr<DiskBenchmarkProvider> provider, QWidget* parent)
    : QWidget(parent), provider_(std::move(provider)), drives_(new QComboBox(this)), run_(new QPushButton(this)),
      note_(new QLabel(this)), read_(new BenchmarkSpeedometer(this)), write_(new BenchmarkSpeedometer(this)),
      historyTitle_(new QLabel(this)), emptyHistory_(new QLabel(this)), history_(new QWidget), historyLayout_(new QVBoxLayout(history_))
{
    setObjectName(QStringLiteral("diskBenchmark"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);

    auto* controls = new QHBoxLayout;
    drives_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    drives_->setMinimumWidth(220);
    drives_->setAccessibleName(QStringLiteral("Drive"));
    TarnelThemeManager::style(run_, Role::primaryButton);
    run_->setMinimumWidth(150);
    controls->addWidget(drives_);
    controls->addStretch(1);
    controls->addWidget(run_);
    layout->addLayout(controls);

    auto* dials = new CardFrame(this);
    auto* dialLayout = new QHBoxLayout(dials);
    dialLayout->setContentsMargins(16, 14, 16, 10);
    dialLayout->setSpacing(24);
    dialLayout->addWidget(read_);
    dialLayout->addWidget(write_);
    dials->setMinimumHeight(300);
    layout->addWidget(dials, 3);

    TarnelThemeManager::style(note_, Role::note);
    note_->setWordWrap(true);
    layout->addWidget(note_);

    TarnelThemeManager::style(historyTitle_, Role::sectionTitle);
    layout->addWidget(historyTitle_);
    TarnelThemeManager::style(emptyHistory_, Role::note);
    emptyHistory_->setWordWrap(true);
    layout->addWidget(emptyHistory_);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(history_);
    history_->setAutoFillBackground(false);
    scroll->viewport()->setAutoFillBackground(false);
    historyLayout_->setContentsMargins(0, 0, 0, 0);
    historyLayout_->setSpacing(10);
    historyLayout_->addStretch(1);
    layout->addWidget(scroll, 4);

    connect(run_, &QPushButton::clicked, this, [this] { provider_->runBenchmark(); });
    connect(drives_, &QComboBox::activated, this, [this](int index) {
        const auto drives = provider_->model.value().drives;
        if (index >= 0 && static_cast<std::size_t>(index) < drives.size())
            provider_->selectDrive(drives[static_cast<std::size_t>(index)].identifier);
    });
    provider_->model.publisher().sink([this](const DiskBenchmarkScreenModel& m) { render(m); }).store(cancellables_);
}

void DiskBenchmarkScreen::showEvent(QShowEvent* event)
{
    provider_->viewWillAppear();
    QWidget::showEvent(event);
}

void DiskBenchmarkScreen::hideEvent(QHideEvent* event)
{
    provider_->viewDidDisappear();
    QWidget::hideEvent(event);
}

void DiskBenchmarkScreen::render(const DiskBenchmarkScreenModel& model)
{
    setAccessibleName(qs(model.title));
    read_->setModel(model.read, model.state);
    write_->setModel(model.write, model.state);
    run_->setText(qs(model.runTitle));
    run_->setEnabled(model.runEnabled);

    {
        const QSignalBlocker quiet(drives_);
        drives_->clear();
        for (const auto& drive : model.drives)
            drives_->addItem(qs(drive.title));
        if (model.selectedDrive)
            drives_->setCurrentIndex(static_cast<int>(*model.selectedDrive));
        // A drive the route named but the catalogue lacks can still be replaced by a known one.
        drives_->setEnabled(model.state != BenchmarkSpeedometerState::working && !model.drives.empty());
        drives_->setVisible(!model.drives.empty());
    }
    note_->setText(qs(model.note.value_or(std::string())));
    note_->setVisible(model.note.has_value());
    historyTitle_->setText(qs(model.historyTitle));
    emptyHistory_->setText(qs(model.emptyHistoryText));
    emptyHistory_->setVisible(model.sections.empty());
    if (model.sections != shownSections_)
        renderHistory(model);
}

void DiskBenchmarkScreen::renderHistory(const DiskBenchmarkScreenModel& model)
{
    while (historyLayout_->count() > 1) {
        auto* item = historyLayout_->takeAt(0);
        if (auto* widget = item->widget()) {
            // Out of the tree at once, so the cards on screen are only the new ones.
            widget->hide();
            widget->setParent(nullptr);
            widget->deleteLater();
        }
        delete item;
    }
    int at = 0;
    for (const auto& section : model.sections) {
        auto* grid = new QWidget(history_);
        grid->setObjectName(qs("section:" + section.identifier));
        auto* gridLayout = new QGridLayout(grid);
        gridLayout->setContentsMargins(0, 0, 0, 0);
        gridLayout->setSpacing(10);
        for (int c = 0; c < cardColumns; ++c)
            gridLayout->setColumnStretch(c, 1);
        int index = 0;
        for (const auto& card : section.cards) {
            gridLayout->addWidget(new ResultCard(card), index / cardColumns, index % cardColumns);
            ++index;
        }
        historyLayout_->insertWidget(at++, grid);
    }
    shownSections_ = model.sections;
}

std::vector<QWidget*> DiskBenchmarkScreen::cards() const
{
    const auto found = history_->findChildren<QWidget*>(QStringLiteral("benchmarkResultCard"));
    return {found.begin(), found.end()};
}

QWidget* makeDiskBenchmarkScreen(std::optional<std::string> diskIdentifier)
{
    auto prompts = std::make_shared<QtBenchmarkPrompts>();
    auto* screen = new DiskBenchmarkScreen(DiskBenchmarkProvider::make(prompts, std::move(diskIdentifier)));
    prompts->setParent(screen);
    return screen;
}

} // namespace tarnel::gui
