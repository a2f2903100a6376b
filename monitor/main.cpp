#include "MonitorApp.h"
#include "MonitorBusName.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"

#include <QApplication>

#include <filesystem>

// Read by the application from the file to tell this build from an older copy.
[[gnu::used]] static const char bundleInfo[] =
    "TARNEL-BUNDLE-INFO:org.quendal.TarnelMonitor|" TARNEL_VERSION_TEXT "|" TARNEL_BUILD_NUMBER_TEXT "\n";

int main(int argc, char** argv)
{
    quendal::AppLogger::configure(tarnel::MonitorAppIdentity::monitorApp(), std::string("monitor"), std::nullopt);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarnel Monitor"));
    QApplication::setApplicationVersion(QStringLiteral(TARNEL_VERSION_TEXT));
    QApplication::setOrganizationDomain(QStringLiteral("quendal.org"));
    // Closing a fallback window hides one panel; the program lives until it is told to quit.
    QApplication::setQuitOnLastWindowClosed(false);

    tarnel::monitor::MonitorBusName bus;
    switch (bus.claim()) {
    case tarnel::monitor::MonitorBusName::Claim::taken:
        quendal::AppLogger::notice("Another Tarnel Monitor is running; exiting.", quendal::AppLogger::monitor);
        return 0;
    case tarnel::monitor::MonitorBusName::Claim::noBus:
        quendal::AppLogger::error("No session bus: Tarnel Monitor cannot make sure it runs once; exiting.",
                                  quendal::AppLogger::monitor);
        return 1;
    case tarnel::monitor::MonitorBusName::Claim::owned: break;
    }

    const bool hasBattery = std::filesystem::exists("/sys/class/power_supply/BAT0") ||
                            std::filesystem::exists("/sys/class/power_supply/BAT1");
    tarnel::monitor::MonitorApp monitor({tarnel::ui::MonitorConfigurationStore::directory(), hasBattery, std::nullopt});
    QObject::connect(&bus, &tarnel::monitor::MonitorBusName::configurationChanged, &monitor, [&monitor] {
        quendal::AppLogger::info("Configuration changed; reloading.", quendal::AppLogger::monitor);
        monitor.reload();
    });
    QObject::connect(&bus, &tarnel::monitor::MonitorBusName::quitRequested, &app, [] {
        quendal::AppLogger::info("Asked to quit.", quendal::AppLogger::monitor);
        QApplication::quit();
    });
    monitor.reload();
    quendal::AppLogger::info("Tarnel Monitor started.", quendal::AppLogger::monitor);
    return QApplication::exec();
}
