#include "Shell/SingleInstance.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace tarnel::gui {

using quendal::AppLogger;

SingleInstance::SingleInstance(QObject* parent) : QObject(parent) {}

SingleInstance::Claim SingleInstance::claim()
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        AppLogger::warning("No session bus: another running Tarnel cannot be found, so this one runs");
        return Claim::noBus;
    }
    // The object first, so a caller that sees the name finds someone to answer.
    bus.registerObject(QString::fromLatin1(objectPath), this, QDBusConnection::ExportScriptableSlots);
    const auto reply = bus.interface()->registerService(QString::fromLatin1(busName), QDBusConnectionInterface::DontQueueService,
                                                        QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return Claim::primary;
    bus.unregisterObject(QString::fromLatin1(objectPath));

    auto call = QDBusMessage::createMethodCall(QString::fromLatin1(busName), QString::fromLatin1(objectPath),
                                               QString::fromLatin1(busName), QStringLiteral("Activate"));
    const auto answer = bus.call(call, QDBus::Block, 5000);
    if (answer.type() == QDBusMessage::ErrorMessage) {
        // The owner does not answer: better a second window than none.
        AppLogger::warning("The running Tarnel did not answer (" + answer.errorMessage().toStdString() + "); starting anyway");
        return Claim::noBus;
    }
    AppLogger::info("Tarnel already runs; its window was brought forward");
    return Claim::forwarded;
}

void SingleInstance::onActivate(std::function<void()> activate)
{
    activate_ = std::move(activate);
    if (pending_ && activate_) {
        pending_ = false;
        activate_();
    }
}

void SingleInstance::Activate()
{
    AppLogger::info("Another launch of Tarnel asked this one to come forward");
    if (activate_)
        activate_();
    else
        pending_ = true;
}

} // namespace tarnel::gui
