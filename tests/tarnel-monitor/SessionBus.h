#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <sys/types.h>

namespace tarnel::testing {

// A private session bus for one test program, so its names and signals meet no other.
class SessionBus {
public:
    SessionBus()
    {
        FILE* output = ::popen("dbus-daemon --session --fork --print-address=1 --print-pid=1", "r");
        if (!output)
            throw std::runtime_error("dbus-daemon could not be started");
        char address[512] = {};
        char pid[32] = {};
        const bool read = std::fgets(address, sizeof address, output) && std::fgets(pid, sizeof pid, output);
        ::pclose(output);
        if (!read)
            throw std::runtime_error("dbus-daemon printed no address");
        std::string text(address);
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
            text.pop_back();
        address_ = text;
        pid_ = static_cast<pid_t>(std::strtol(pid, nullptr, 10));
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
    }
    ~SessionBus()
    {
        if (pid_ > 0)
            ::kill(pid_, SIGTERM);
    }
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    const std::string& address() const { return address_; }

private:
    std::string address_;
    pid_t pid_ = 0;
};

} // namespace tarnel::testing
