#include "Monitor/DBusMonitorSignals.h"

#include "TarnelUI/Export/MonitorBus.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <stdexcept>

namespace tarnel {

void DBusMonitorSignals::post(ui::MonitorSignal signal)
{
    const char* member = signal == ui::MonitorSignal::quit ? ui::MonitorBus::quit : ui::MonitorBus::configurationChanged;
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        throw std::runtime_error("Unable to send " + std::string(member) + ": no session bus");
    auto message = QDBusMessage::createSignal(ui::MonitorBus::objectPath, ui::MonitorBus::interfaceName, member);
    if (!bus.send(message))
        throw std::runtime_error("Unable to send " + std::string(member) + ": " + bus.lastError().message().toStdString());
}

} // namespace tarnel
