#include "Shell/AppMenu.h"

#include "App/Localization/Localizable.h"

#include <QApplication>
#include <QKeySequence>

namespace tarnel::gui {

namespace {

void add(QMenu* menu, const QString& title, const std::function<void()>& action, const QKeySequence& key = {})
{
    auto* item = menu->addAction(title);
    if (!key.isEmpty())
        item->setShortcut(key);
    if (action)
        QObject::connect(item, &QAction::triggered, item, action);
    else
        item->setEnabled(false);
}

// Edit commands go to the focused widget, as the toolkit's own shortcuts do.
void addEdit(QMenu* menu, const QString& title, const char* slot, const QKeySequence& key)
{
    auto* item = menu->addAction(title);
    item->setShortcut(key);
    QObject::connect(item, &QAction::triggered, item, [slot] {
        if (auto* focus = QApplication::focusWidget())
            QMetaObject::invokeMethod(focus, slot);
    });
}

} // namespace

QMenuBar* buildAppMenu(const AppMenuActions& actions, QWidget* parent)
{
    auto* bar = new QMenuBar(parent);
    bar->setObjectName(QStringLiteral("MainMenu"));
    const auto name = QApplication::applicationName().isEmpty() ? QStringLiteral("App") : QApplication::applicationName();

    auto* app = bar->addMenu(name);
    add(app, QStringLiteral("About %1").arg(name), actions.showAbout);
    app->addSeparator();
    add(app, QStringLiteral("Settings…"), actions.showSettings, QKeySequence(Qt::CTRL | Qt::Key_Comma));
    app->addSeparator();
    add(app, QStringLiteral("Quit %1").arg(name), actions.quit, QKeySequence(Qt::CTRL | Qt::Key_Q));

    auto* edit = bar->addMenu(QStringLiteral("Edit"));
    addEdit(edit, QStringLiteral("Undo"), "undo", QKeySequence(Qt::CTRL | Qt::Key_Z));
    addEdit(edit, QStringLiteral("Redo"), "redo", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    edit->addSeparator();
    addEdit(edit, QStringLiteral("Cut"), "cut", QKeySequence(Qt::CTRL | Qt::Key_X));
    addEdit(edit, QStringLiteral("Copy"), "copy", QKeySequence(Qt::CTRL | Qt::Key_C));
    addEdit(edit, QStringLiteral("Paste"), "paste", QKeySequence(Qt::CTRL | Qt::Key_V));
    addEdit(edit, QStringLiteral("Select All"), "selectAll", QKeySequence(Qt::CTRL | Qt::Key_A));

    auto* window = bar->addMenu(QStringLiteral("Window"));
    add(window, QStringLiteral("Close"), actions.closeWindow, QKeySequence(Qt::CTRL | Qt::Key_W));
    add(window, QStringLiteral("Minimize"), actions.minimize, QKeySequence(Qt::CTRL | Qt::Key_M));
    add(window, QString::fromStdString(localized("app_menu_zoom")), actions.zoom);
    window->addSeparator();
    add(window, QStringLiteral("Enter Full Screen"), actions.toggleFullScreen, QKeySequence(Qt::CTRL | Qt::META | Qt::Key_F));

    auto* help = bar->addMenu(QStringLiteral("Help"));
    add(help, QString::fromStdString(localized("app_menu_open_website")), actions.openWebsite);
    add(help, QString::fromStdString(localized("app_menu_report_problem")), actions.reportAProblem);
    return bar;
}

} // namespace tarnel::gui
