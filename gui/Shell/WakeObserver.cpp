#include "Shell/WakeObserver.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <QDBusConnection>

namespace tarnel::gui {

WakeObserver::WakeObserver(std::function<void()> woke, QObject* parent) : QObject(parent), woke_(std::move(woke))
{
    auto bus = QDBusConnection::systemBus();
    watching_ = bus.isConnected() &&
                bus.connect(QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
                            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
                            SLOT(prepareForSleep(bool)));
    if (!watching_)
        quendal::AppLogger::warning("No system bus: wake from sleep goes unnoticed", quendal::AppLogger::lifecycle);
}

void WakeObserver::prepareForSleep(bool sleeping)
{
    if (!sleeping && woke_)
        woke_();
}

} // namespace tarnel::gui
