#include "DaemonOptions.h"

#include <charconv>
#include <stdexcept>

namespace tarnel::daemon {

std::string DaemonOptions::usage()
{
    return "Usage: tarneld [--session] [--debug] [--socket-dir DIR] [--base-interval SECONDS] [--root DIR]\n"
           "              [--idle-exit SECONDS]\n"
           "  --session         run as this user; sockets in $XDG_RUNTIME_DIR/tarnel\n"
           "  --debug           serve the debug service names\n"
           "  --socket-dir DIR  put the sockets in DIR\n"
           "  --base-interval S length of one statistics tick in seconds (default 1)\n"
           "  --root DIR        read /proc and /sys below DIR\n"
           "  --idle-exit S     with --session, exit S seconds after the last client left (default 60)\n";
}

namespace {

double seconds(const std::string& option, const std::string& text)
{
    double value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value > 0) || value > 3600)
        throw std::invalid_argument(option + " needs a number of seconds between 0 and 3600");
    return value;
}

} // namespace

DaemonOptions DaemonOptions::parse(const std::vector<std::string>& arguments)
{
    DaemonOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& a = arguments[i];
        auto value = [&]() -> const std::string& {
            if (i + 1 >= arguments.size())
                throw std::invalid_argument(a + " needs a value");
            return arguments[++i];
        };
        if (a == "--session") {
            options.session = true;
        } else if (a == "--debug") {
            options.debug = true;
        } else if (a == "--socket-dir") {
            options.socketDirectory = value();
        } else if (a == "--root") {
            options.systemRoot = value();
        } else if (a == "--base-interval") {
            options.baseInterval = seconds(a, value());
        } else if (a == "--idle-exit") {
            options.idleExitSeconds = seconds(a, value());
        } else {
            throw std::invalid_argument("unknown argument " + a);
        }
    }
    return options;
}

} // namespace tarnel::daemon
