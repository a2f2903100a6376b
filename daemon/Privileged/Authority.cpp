#include "Privileged/Authority.h"

#include <fmt/format.h>

#include <cstdint>

#if __has_include(<systemd/sd-bus.h>)
#include <systemd/sd-bus.h>
#define TARNEL_HAS_SD_BUS 1
#endif

namespace tarnel::daemon {

bool PolkitAuthority::isAuthorized(const xpc::PeerCredentials& caller, const std::string& action)
{
#ifdef TARNEL_HAS_SD_BUS
    // The start time is the one seen at connect time; a pid that now names another process
    // (the caller exited and the pid was reused) must not stand in for the caller.
    if (!caller.isStillTheConnectingProcess())
        return false;
    const auto start = caller.startTime;
    sd_bus* bus = nullptr;
    if (sd_bus_open_system(&bus) < 0)
        return false;
    sd_bus_message* reply = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    // (sa{sv}) subject, s action, a{ss} details, u flags (1: allow interaction), s cancellation id
    int r = sd_bus_call_method(bus, "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                               "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization", &error, &reply,
                               "(sa{sv})sa{ss}us", "unix-process", 3, "pid", "u", static_cast<std::uint32_t>(caller.pid),
                               "start-time", "t", static_cast<std::uint64_t>(*start), "uid", "i",
                               static_cast<std::int32_t>(caller.uid), action.c_str(), 0, 1u, "");
    bool authorized = false;
    if (r >= 0) {
        int isAuthorized = 0, isChallenge = 0;
        if (sd_bus_message_enter_container(reply, 'r', "bba{ss}") >= 0 &&
            sd_bus_message_read(reply, "bb", &isAuthorized, &isChallenge) >= 0)
            authorized = isAuthorized != 0;
    }
    sd_bus_message_unref(reply);
    sd_bus_error_free(&error);
    sd_bus_unref(bus);
    return authorized;
#else
    (void)caller;
    (void)action;
    return false;
#endif
}

} // namespace tarnel::daemon
