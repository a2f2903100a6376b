#pragma once

#include <filesystem>
#include <string>

namespace tarnel::xpc {

// Where a named service listens: a Unix domain socket per service name.
struct ServiceEndpoint {
    enum class Scope { system, session, custom };

    std::string serviceName;
    std::filesystem::path socketPath;
    Scope scope = Scope::custom;

    // /run/tarnel/<name>.sock, served by the system daemon as root.
    static ServiceEndpoint system(const std::string& serviceName);
    // $XDG_RUNTIME_DIR/tarnel/<name>.sock (or /tmp/tarnel-<uid>/ without one), served by a
    // daemon running as this user.
    static ServiceEndpoint session(const std::string& serviceName);
    static ServiceEndpoint at(const std::string& serviceName, std::filesystem::path socketPath);

    static std::filesystem::path sessionDirectory();
};

} // namespace tarnel::xpc
