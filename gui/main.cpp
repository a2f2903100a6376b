#include "DaemonLink.h"
#include "MainWindow.h"
#include "QtExecutor.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>

int main(int argc, char** argv)
{
    // The logger first: everything after it may log.
    quendal::AppLogger::configure(tarnel::MonitorAppIdentity::mainApplication(), std::string("app"), std::nullopt);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarnel"));
    QApplication::setOrganizationDomain(QStringLiteral("quendal.org"));

    tarnel::gui::QtMainContext mainContext;
    quendal::Runtime::shared().setMainExecutor(tarnel::gui::QtExecutor(mainContext));

    auto daemonManager = tarnel::gui::startDaemonLink();
    tarnel::gui::MainWindow window;
    window.show();
    const int status = QApplication::exec();
    quendal::Runtime::shared().resetMainExecutor();
    return status;
}
