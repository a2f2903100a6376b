#include "QtExecutor.h"
#include "Shell/AboutBox.h"
#include "Shell/SingleInstance.h"
#include "Shell/TarnelApplication.h"
#include "Theme/ScrollBarStyle.h"
#include "Monitor/MonitorLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <QApplication>
#include <QStyleFactory>

int main(int argc, char** argv)
{
    // The logger first: everything after it may log.
    quendal::AppLogger::configure(tarnel::MonitorAppIdentity::mainApplication(), std::string("app"), std::nullopt);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarnel"));
    QApplication::setApplicationVersion(QStringLiteral(TARNEL_VERSION_TEXT));
    QApplication::setOrganizationDomain(QStringLiteral("quendal.org"));
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    tarnel::gui::ScrollBarStyle::install(); // before any palette: a new style resets it
    QApplication::setWindowIcon(tarnel::gui::AboutBox::applicationIcon());

    tarnel::gui::SingleInstance instance;
    if (instance.claim() == tarnel::gui::SingleInstance::Claim::forwarded)
        return 0;

    tarnel::gui::QtMainContext mainContext;
    quendal::Runtime::shared().setMainExecutor(tarnel::gui::QtExecutor(mainContext));

    tarnel::gui::TarnelApplication::Options options;
    // The session's autostart entry starts the application with this flag.
    options.launchedAtLogin = QCoreApplication::arguments().contains(QStringLiteral("--launched-at-login"));
    int status = 0;
    {
        tarnel::gui::TarnelApplication application(options);
        application.launch();
        instance.onActivate([&application] { application.reopen(); });
        // The Monitor app gets what is stored and runs beside the application.
        auto monitor = quendal::spawnOnMain(tarnel::MonitorLink::shared().synchronize());
        QObject::connect(&app, &QGuiApplication::applicationStateChanged, [](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive)
                tarnel::MonitorLink::shared().refreshRunningState();
        });
        status = QApplication::exec();
        instance.onActivate(nullptr);
    }
    quendal::Runtime::shared().resetMainExecutor();
    return status;
}
