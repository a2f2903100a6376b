#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

namespace tarnel {

namespace {
std::string pick(const char* name, bool debug) { return debug ? std::string(name) + "-debug" : std::string(name); }
} // namespace

std::string MonitorAppIdentity::mainApplication(bool debug) { return pick("org.quendal.Tarnel", debug); }
std::string MonitorAppIdentity::monitorApp(bool debug) { return pick("org.quendal.TarnelMonitor", debug); }
std::string MonitorAppIdentity::daemon(bool debug) { return pick("org.quendal.Tarnel.Daemon", debug); }
std::string MonitorAppIdentity::daemonStats(bool debug) { return statsServiceName(daemon(debug)); }
std::string MonitorAppIdentity::legacyDaemon(bool debug) { return pick("org.quendal.TarnelDaemon", debug); }
std::string MonitorAppIdentity::legacyHelper(bool debug) { return pick("org.quendal.TarnelHelper", debug); }
std::string MonitorAppIdentity::preReleaseDaemon(bool debug) { return pick("com.quendal.TarnelDaemon", debug); }

std::string MonitorAppIdentity::registeredHostBuildKey(const std::string& daemonIdentifier, int apiVersion)
{
    return "org.quendal.Tarnel.daemon." + daemonIdentifier + ".api" + std::to_string(apiVersion) + ".registeredHostBuild";
}

} // namespace tarnel
