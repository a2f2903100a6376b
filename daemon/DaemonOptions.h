#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::daemon {

// What tarneld was asked to be, from its command line.
struct DaemonOptions {
    bool session = false;          // run as the user, sockets under the user's runtime folder
    bool debug = false;            // serve the debug identities
    std::optional<std::filesystem::path> socketDirectory;
    std::optional<double> baseInterval; // seconds per statistics tick
    std::filesystem::path systemRoot = "/"; // where /proc and /sys are read from
    // A session daemon leaves this long after its last client went away.
    double idleExitSeconds = 60;

    // Throws std::invalid_argument with a message fit for the user.
    static DaemonOptions parse(const std::vector<std::string>& arguments);
    static std::string usage();
};

} // namespace tarnel::daemon
