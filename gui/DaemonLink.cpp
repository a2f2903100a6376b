#include "DaemonLink.h"

#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <QCoreApplication>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

namespace tarnel::gui {

std::shared_ptr<DaemonManager> startDaemonLink()
{
    DaemonLink::Options options;
    options.identifier = MonitorAppIdentity::daemon();
    options.registry = makeServiceRegistry(options.identifier, false);
    options.hostBuild = TARNEL_BUILD_NUMBER_TEXT;
    options.applicationPath = QCoreApplication::applicationFilePath().toStdString();
    // The process's preferences live as long as the process.
    options.preferences = std::shared_ptr<quendal::Preferences>(&quendal::Preferences::shared(), [](quendal::Preferences*) {});
    options.executor = quendal::Runtime::shared().mainExecutor();
    options.clock = quendal::Runtime::shared().clockPointer();
    auto link = DaemonLink::make(std::move(options));
    link.installShared();
    asio::co_spawn(quendal::Runtime::shared().mainExecutor(), link.manager->start(), asio::detached);
    return link.manager;
}

} // namespace tarnel::gui
