#pragma once
// The application's daemon link to session daemons of this build, as the end-to-end tests make it.
#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include <filesystem>
#include <memory>

namespace tarnel::testing {

// `registry` starts the daemons; the link's preferences live in `folder`.
inline DaemonLink sessionDaemonLink(std::shared_ptr<ServiceRegistry> registry, const std::filesystem::path& folder,
                                    quendal::Executor executor, std::shared_ptr<quendal::Clock> clock)
{
    DaemonLink::Options options;
    options.identifier = MonitorAppIdentity::daemon();
    options.registry = std::move(registry);
    options.hostBuild = "1";
    options.applicationPath = "/usr/bin/tarnel";
    options.preferences = std::make_shared<quendal::Preferences>(folder / "preferences.json");
    options.executor = std::move(executor);
    options.clock = std::move(clock);
    return DaemonLink::make(options);
}

} // namespace tarnel::testing
