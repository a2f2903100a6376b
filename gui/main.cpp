#include "MainWindow.h"
#include "QtExecutor.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarnel"));
    QApplication::setOrganizationDomain(QStringLiteral("quendal.org"));

    tarnel::gui::QtMainContext mainContext;
    quendal::Runtime::shared().setMainExecutor(tarnel::gui::QtExecutor(mainContext));

    tarnel::gui::MainWindow window;
    window.show();
    const int status = QApplication::exec();
    quendal::Runtime::shared().resetMainExecutor();
    return status;
}
