#include "MainWindow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>

namespace tarnel::gui {

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent)
{
    setWindowTitle(QStringLiteral("Tarnel"));
    setMinimumSize(minimumWidth, minimumHeight);
    resize(minimumWidth, minimumHeight);

    auto* central = new QWidget(this);
    auto* layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* sidebar = new QListWidget(central);
    sidebar->setObjectName(QStringLiteral("sidebar"));
    sidebar->setFixedWidth(200);
    sidebar->setFrameShape(QFrame::NoFrame);
    layout->addWidget(sidebar);

    auto* content = new QLabel(QStringLiteral("Tarnel"), central);
    content->setObjectName(QStringLiteral("content"));
    content->setAlignment(Qt::AlignCenter);
    layout->addWidget(content, 1);

    setCentralWidget(central);
}

} // namespace tarnel::gui
