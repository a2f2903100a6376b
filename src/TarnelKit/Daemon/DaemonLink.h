#pragma once

#include "TarnelKit/Daemon/DaemonClient.h"
#include "TarnelKit/Daemon/DaemonManager.h"
#include "TarnelKit/Daemon/ServiceRegistry.h"
#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <memory>
#include <string>

namespace tarnel {

// The process's link to the daemon: the registry, a DaemonClient and a StatsClient for the
// registry's endpoints, and the DaemonManager that watches over them. The application makes
// one at launch and installs its clients as the shared ones.
struct DaemonLink {
    struct Options {
        std::string identifier;
        std::shared_ptr<ServiceRegistry> registry;
        std::string hostBuild;
        std::string applicationPath;
        std::shared_ptr<quendal::Preferences> preferences;
        quendal::Executor executor;
        std::shared_ptr<quendal::Clock> clock;
        bool isMainApplication = true;
    };

    std::shared_ptr<DaemonClient> daemonClient;
    std::shared_ptr<StatsClient> statsClient;
    std::shared_ptr<DaemonManager> manager;

    static DaemonLink make(Options options);
    // Makes the clients the process's shared ones.
    void installShared() const;
};

} // namespace tarnel
