#pragma once
// A daemon manager's environment on virtual time, as the onboarding and registry tests make it.
#include "TarnelKit/Daemon/DaemonManager.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include "VirtualTime.h"

#include <filesystem>
#include <memory>

namespace tarnel::testing {

// `registry` runs the daemon, `probe` answers for both of its services, the preferences live in
// `folder`.
inline DaemonManager::Environment managerEnvironment(std::shared_ptr<ServiceRegistry> registry,
                                                     const DaemonManager::Probe& probe,
                                                     const std::filesystem::path& folder, VirtualTime& time)
{
    DaemonManager::Environment environment;
    environment.identifier = "org.quendal.Tarnel.Daemon";
    environment.registry = std::move(registry);
    environment.privilegedProbe = probe;
    environment.statsProbe = probe;
    environment.preferences = std::make_shared<quendal::Preferences>(folder / "preferences.json");
    environment.hostBuild = "1";
    environment.executor = time.executor();
    environment.clock = time.clockPointer();
    return environment;
}

} // namespace tarnel::testing
