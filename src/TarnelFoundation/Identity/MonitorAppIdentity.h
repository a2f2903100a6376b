#pragma once

#include <string>

namespace tarnel {

// The names the application, the Monitor app and the daemon agree on. Each has a release and
// a debug value; "-debug" stands after the last word, before ".stats".
struct MonitorAppIdentity {
    static std::string mainApplication(bool debug = false);
    static std::string monitorApp(bool debug = false);
    static std::string daemon(bool debug = false);
    static std::string daemonStats(bool debug = false);
    static std::string legacyDaemon(bool debug = false);
    static std::string legacyHelper(bool debug = false);
    static std::string preReleaseDaemon(bool debug = false);

    // The statistics endpoint of any daemon identifier, custom ones included.
    static std::string statsServiceName(const std::string& daemonIdentifier) { return daemonIdentifier + ".stats"; }
    // The stored-default key of the build that last registered the daemon.
    static std::string registeredHostBuildKey(const std::string& daemonIdentifier, int apiVersion);

    static constexpr const char* configurationChangedNotification = "org.quendal.TarnelMonitor.configurationChanged";
    static constexpr const char* quitNotification = "org.quendal.TarnelMonitor.quit";
};

} // namespace tarnel
