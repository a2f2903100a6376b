#include "Shell/MainWindow.h"

#include "Shell/SidebarView.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include <QHBoxLayout>

namespace tarnel::gui {

MainWindow::MainWindow(std::shared_ptr<Router> router, ContentView::ScreenFactory screens, QWidget* parent)
    : QMainWindow(parent), menu_(std::make_shared<SidebarMenu>(router))
{
    setWindowTitle(QStringLiteral("Tarnel"));
    setObjectName(QStringLiteral("Main"));
    setMinimumSize(minimumWidth, minimumHeight);
    resize(minimumWidth, minimumHeight);

    auto* central = new QWidget(this);
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    sidebar_ = new SidebarView(menu_, central);
    content_ = new ContentView(std::move(router), std::move(screens), central);
    layout->addWidget(sidebar_);
    layout->addWidget(content_, 1);
    setCentralWidget(central);
    sidebar_->setVisible(quendal::read(quendal::Preferences::shared(), quendal::PreferenceKeys::showSidebar));
}

void MainWindow::setSidebarVisible(bool visible)
{
    sidebar_->setVisible(visible);
    quendal::write(quendal::Preferences::shared(), quendal::PreferenceKeys::showSidebar, visible);
}

} // namespace tarnel::gui
