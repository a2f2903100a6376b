#include "Optimizer/OptimizerScreen.h"

#include "Theme/CardFrame.h"
#include "Theme/ThemeManager.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTimer>
#include <QVBoxLayout>

#include <chrono>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

QIcon iconNamed(const std::string& name, const QColor& ink)
{
    const auto text = qs(name);
    if (text.startsWith('/') && QFileInfo::exists(text))
        return QIcon(text);
    // Without an icon theme (or without the name in it) the screen's own symbol stands in.
    auto icon = QIcon::fromTheme(text, QIcon::fromTheme(QStringLiteral("application-x-executable")));
    return icon.isNull() ? TarnelThemeManager::icon(QStringLiteral("optimize"), ink, 32) : icon;
}

// A row: icon, title with its path as tooltip, subtitle, and a switch or a Remove button. The
// handlers are copied before they run: the reload they cause binds a new model to this cell.
class RowCell : public CardFrame, public BindableCell {
public:
    RowCell()
        : icon_(new QLabel(this)), title_(new QLabel(this)), subtitle_(new QLabel(this)), switch_(new QCheckBox(this)),
          remove_(new QPushButton(QStringLiteral("Remove"), this))
    {
        auto* layout = new QGridLayout(this);
        layout->setContentsMargins(16, 10, 16, 10);
        layout->setHorizontalSpacing(12);
        layout->addWidget(icon_, 0, 0, 2, 1, Qt::AlignVCenter);
        layout->addWidget(title_, 0, 1);
        layout->addWidget(subtitle_, 1, 1);
        layout->addWidget(switch_, 0, 2, 2, 1, Qt::AlignRight | Qt::AlignVCenter);
        layout->addWidget(remove_, 0, 3, 2, 1, Qt::AlignRight | Qt::AlignVCenter);
        layout->setColumnStretch(1, 1);
        TarnelThemeManager::style(subtitle_, Role::note);
        QObject::connect(switch_, &QCheckBox::toggled, this, [this](bool on) {
            auto handler = model_.switchSelectionChanged;
            if (handler) {
                switch_->setEnabled(false);
                handler(on);
            }
        });
        QObject::connect(remove_, &QPushButton::clicked, this, [this] {
            auto handler = model_.actionButtonPressed;
            if (handler) {
                remove_->setEnabled(false);
                handler();
            }
        });
    }

    bool bind(const CollectionViewCellModel& item) override
    {
        const auto* model = item.as<OptimizerRowModel>();
        if (!model)
            return false;
        model_ = *model;
        icon_->setPixmap(iconNamed(model_.icon, palette().color(QPalette::WindowText)).pixmap(32, 32));
        title_->setText(qs(model_.title));
        title_->setToolTip(qs(model_.titleTooltip));
        subtitle_->setText(qs(model_.subtitle.value_or("")));
        subtitle_->setVisible(model_.subtitle.has_value());
        const bool toggle = model_.control == OptimizerRowModel::Control::toggle;
        const QSignalBlocker quiet(switch_);
        switch_->setVisible(toggle);
        switch_->setEnabled(toggle && model_.controlEnabled);
        switch_->setChecked(toggle && model_.isOn);
        switch_->setAccessibleName(qs(model_.title));
        remove_->setVisible(!toggle);
        remove_->setEnabled(!toggle && model_.controlEnabled);
        return true;
    }

    QAbstractButton* control() const
    {
        return model_.control == OptimizerRowModel::Control::toggle ? static_cast<QAbstractButton*>(switch_) : remove_;
    }

private:
    QLabel* icon_;
    QLabel* title_;
    QLabel* subtitle_;
    QCheckBox* switch_;
    QPushButton* remove_;
    OptimizerRowModel model_;
};

} // namespace

OptimizerScreen::OptimizerScreen(std::shared_ptr<OptimizerProvider> provider, QWidget* parent)
    : QWidget(parent), provider_(provider), noticeTimer_(new QTimer(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* title = new QLabel(qs(provider_->title), this);
    TarnelThemeManager::style(title, Role::pageTitle);
    title->setContentsMargins(16, 12, 16, 4);
    layout->addWidget(title);

    noticeBar_ = new QWidget(this);
    auto* noticeLayout = new QHBoxLayout(noticeBar_);
    noticeLayout->setContentsMargins(16, 4, 16, 4);
    notice_ = new QLabel(noticeBar_);
    undo_ = new QPushButton(QStringLiteral("Undo"), noticeBar_);
    noticeLayout->addWidget(notice_, 1);
    noticeLayout->addWidget(undo_);
    noticeBar_->hide();
    layout->addWidget(noticeBar_);
    noticeTimer_->setSingleShot(true);
    noticeTimer_->setInterval(std::chrono::duration_cast<std::chrono::milliseconds>(OptimizerProvider::noticeDuration));
    QObject::connect(noticeTimer_, &QTimer::timeout, noticeBar_, &QWidget::hide);
    QObject::connect(undo_, &QPushButton::clicked, this, [this] {
        auto action = std::move(undoAction_);
        undoAction_ = nullptr;
        noticeBar_->hide();
        if (action)
            action();
    });

    empty_ = new QWidget(this);
    auto* emptyLayout = new QVBoxLayout(empty_);
    auto* emptyTitle = new QLabel(QString::fromUtf8(OptimizerProvider::emptyTitle), empty_);
    TarnelThemeManager::style(emptyTitle, Role::sectionTitle);
    auto* emptyText = new QLabel(QString::fromUtf8(OptimizerProvider::emptyDescription), empty_);
    TarnelThemeManager::style(emptyText, Role::note);
    emptyLayout->addStretch();
    emptyLayout->addWidget(emptyTitle, 0, Qt::AlignHCenter);
    emptyLayout->addWidget(emptyText, 0, Qt::AlignHCenter);
    emptyLayout->addStretch();
    layout->addWidget(empty_, 1);

    CellRenderers renderers;
    renderers.add<OptimizerRowModel>([](const CollectionViewCellModel& item) -> QWidget* {
        auto* cell = new RowCell;
        cell->bind(item);
        return cell;
    });
    list_ = new CollectionScreen(provider_, std::move(renderers), this);
    layout->addWidget(list_, 1);
    // The card screen reloads first, then the empty state follows what it shows.
    provider_->setReload([this] {
        list_->reload();
        updateEmptyState();
    });
    provider_->setNotify([this](const OptimizerNotice& notice) { showNotice(notice); });
    updateEmptyState();
}

bool OptimizerScreen::showsEmptyState() const
{
    return !empty_->isHidden();
}

QAbstractButton* OptimizerScreen::control(const std::string& identifier) const
{
    auto* cell = dynamic_cast<RowCell*>(list_->cell(identifier));
    return cell ? cell->control() : nullptr;
}

void OptimizerScreen::showNotice(const OptimizerNotice& notice)
{
    notice_->setText(qs(notice.text));
    TarnelThemeManager::style(notice_, notice.kind == OptimizerNotice::Kind::failure ? Role::errorText : Role::note);
    undoAction_ = notice.undo;
    undo_->setVisible(static_cast<bool>(notice.undo));
    noticeBar_->show();
    noticeTimer_->start();
}

void OptimizerScreen::updateEmptyState()
{
    const bool empty = provider_->sections().empty();
    empty_->setVisible(empty);
    list_->setVisible(!empty);
}

QWidget* makeOptimizerScreen()
{
    return new OptimizerScreen(OptimizerProvider::make());
}

} // namespace tarnel::gui
