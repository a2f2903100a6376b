#include "MonitorBusName.h"

#include "TarnelUI/Export/MonitorBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

namespace tarnel::monitor {

using namespace tarnel::ui;

MonitorBusName::MonitorBusName(QObject* parent) : QObject(parent) {}

MonitorBusName::~MonitorBusName()
{
    if (owned_)
        QDBusConnection::sessionBus().unregisterService(QString::fromLatin1(MonitorBus::serviceName));
}

MonitorBusName::Claim MonitorBusName::claim()
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Claim::noBus;
    // Without queueing: a name that is taken answers at once instead of waiting for its owner.
    auto reply = bus.interface()->registerService(QString::fromLatin1(MonitorBus::serviceName),
                                                  QDBusConnectionInterface::DontQueueService,
                                                  QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered)
        return Claim::taken;
    owned_ = true;
    const auto path = QString::fromLatin1(MonitorBus::objectPath);
    const auto interface = QString::fromLatin1(MonitorBus::interfaceName);
    bus.connect(QString(), path, interface, QString::fromLatin1(MonitorBus::configurationChanged), this,
                SLOT(onConfigurationChanged()));
    bus.connect(QString(), path, interface, QString::fromLatin1(MonitorBus::quit), this, SLOT(onQuit()));
    return Claim::owned;
}

void MonitorBusName::onConfigurationChanged() { Q_EMIT configurationChanged(); }

void MonitorBusName::onQuit() { Q_EMIT quitRequested(); }

} // namespace tarnel::monitor
