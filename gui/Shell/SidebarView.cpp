#include "Shell/SidebarView.h"

#include "Theme/ThemeManager.h"

#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarnel::gui {

SidebarView::SidebarView(std::shared_ptr<SidebarMenu> menu, QWidget* parent)
    : QWidget(parent), menu_(std::move(menu)), layout_(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("sidebar"));
    setAttribute(Qt::WA_StyledBackground);
    TarnelThemeManager::style(this, Role::sidebar);
    setFixedWidth(fixedWidth);
    layout_->setContentsMargins(0, 10, 0, 12);
    layout_->setSpacing(0);
    menu_->sections.publisher().sink([this](const std::vector<RouteSection>& s) { rebuild(s); }).store(cancellables_);
    menu_->currentRoute.publisher().sink([this](const AppRoute& r) { select(r); }).store(cancellables_);
}

QPushButton* SidebarView::row(AppRoute route) const
{
    auto found = rows_.find(route);
    return found == rows_.end() ? nullptr : found->second;
}

void SidebarView::rebuild(const std::vector<RouteSection>& sections)
{
    while (auto* item = layout_->takeAt(0)) {
        if (auto* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
    rows_.clear();
    const auto color = TarnelThemeManager::shared().appearance().text;
    for (const auto& section : sections) {
        // The flexible space keeps the settings section at the bottom.
        if (section.id == "settings")
            layout_->addStretch(1);
        if (section.title) {
            auto* header = new QLabel(QString::fromStdString(*section.title), this);
            header->setObjectName(QStringLiteral("sectionHeader"));
            layout_->addWidget(header);
        }
        for (const auto& item : menu_->items(section)) {
            auto* button = new QPushButton(QString::fromStdString(item.title), this);
            button->setCheckable(true);
            button->setChecked(item.selected);
            button->setIcon(TarnelThemeManager::icon(QString::fromStdString(item.icon.value_or(item.symbol.value_or(""))), color));
            button->setIconSize(QSize(18, 18));
            button->setCursor(Qt::PointingHandCursor);
            button->setObjectName(QString::fromUtf8(rawValue(item.route).data(), static_cast<int>(rawValue(item.route).size())));
            const auto route = item.route;
            button->setFocusPolicy(Qt::StrongFocus);
            button->installEventFilter(this);
            connect(button, &QPushButton::clicked, this, [this, route] { open(route); });
            layout_->addWidget(button);
            rows_[route] = button;
        }
    }
    select(menu_->currentRoute.value());
}

void SidebarView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    // Later: the palette is still being handed to the rows this would delete.
    if (event->type() == QEvent::PaletteChange)
        QMetaObject::invokeMethod(this, [this] { rebuild(menu_->sections.value()); }, Qt::QueuedConnection);
}

void SidebarView::open(AppRoute route)
{
    menu_->tap(route);
    select(menu_->currentRoute.value()); // a click on the current row keeps it checked
}

bool SidebarView::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->modifiers() & ~Qt::KeypadModifier)
        return QWidget::eventFilter(watched, event);
    for (auto [route, button] : rows_) {
        if (button != watched)
            continue;
        switch (key->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            open(route);
            return true;
        case Qt::Key_Up:
        case Qt::Key_Down:
            focusNextPrevChild(key->key() == Qt::Key_Down);
            return true;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void SidebarView::select(AppRoute current)
{
    for (auto& [route, button] : rows_)
        button->setChecked(route == current);
}

} // namespace tarnel::gui
