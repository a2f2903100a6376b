#include "Shell/ContentView.h"

#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

// Routes whose screens draw their own title.
bool showsTitle(AppRoute route)
{
    return route != AppRoute::monitor && route != AppRoute::feedback;
}

} // namespace

ContentView::ContentView(std::shared_ptr<Router> router, ScreenFactory screens, QWidget* parent)
    : QWidget(parent), router_(std::move(router)), screens_(std::move(screens)), title_(new QLabel(this)),
      back_(new QPushButton(QStringLiteral("‹"), this)), stack_(new QStackedWidget(this))
{
    setObjectName(QStringLiteral("content"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 20, 28, 20);
    layout->setSpacing(16);
    auto* header = new QHBoxLayout;
    back_->setFixedSize(28, 28);
    back_->setToolTip(QStringLiteral("Back"));
    connect(back_, &QPushButton::clicked, this, [this] { router_->pop(); });
    TarnelThemeManager::style(title_, Role::pageTitle);
    header->addWidget(back_);
    header->addWidget(title_, 1);
    layout->addLayout(header);
    layout->addWidget(stack_, 1);

    router_->route.publisher().sink([this](const AppRoute& r) { show(r, router_->path.value()); }).store(cancellables_);
    router_->path.publisher()
        .dropFirst()
        .sink([this](const std::vector<SubRoute>& p) { show(router_->route.value(), p); })
        .store(cancellables_);
}

QWidget* ContentView::currentScreen() const
{
    return stack_->currentWidget();
}

QWidget* ContentView::comingSoon(const QString& title)
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->addStretch(1);
    auto* text = new QLabel(QString::fromStdString(localized("general_coming_soon")), page);
    TarnelThemeManager::style(text, Role::note);
    text->setAlignment(Qt::AlignCenter);
    text->setAccessibleName(title);
    layout->addWidget(text);
    layout->addStretch(2);
    return page;
}

void ContentView::show(AppRoute route, const std::vector<SubRoute>& path)
{
    while (stack_->count() > 0) {
        auto* old = stack_->widget(0);
        stack_->removeWidget(old);
        old->deleteLater();
    }
    QString title = showsTitle(route) ? QString::fromStdString(tarnel::title(route)) : QString();
    QWidget* screen = nullptr;
    if (path.empty()) {
        screen = screens_ ? screens_(route) : nullptr;
    } else {
        // Nested screens arrive with their modules; until then each says so under its name.
        title = QString::fromStdString(describe(path.back()));
    }
    if (!screen)
        screen = comingSoon(title);
    stack_->addWidget(screen);
    stack_->setCurrentWidget(screen);
    title_->setText(title);
    title_->setVisible(!title.isEmpty());
    back_->setVisible(!path.empty());
}

} // namespace tarnel::gui
