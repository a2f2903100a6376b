#pragma once

#include "TarnelXPC/PrivilegedRequests.h"
#include "TarnelXPC/ServiceEndpoint.h"
#include "TarnelXPC/XPCClient.h"

#include <asio/awaitable.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// The typed client of the daemon's privileged endpoint. It keeps its transport for life; the
// transport connects again by itself on the next send after a failure. Every operation passes
// the transport's XPCError on unchanged.
class DaemonClient {
public:
    using Reason = xpc::PrivilegedFileDeleteRequest::Reason;

    // The process's one client, set by the daemon manager; empty until then.
    static std::shared_ptr<DaemonClient> shared();
    static void setShared(std::shared_ptr<DaemonClient> client);

    DaemonClient(std::string identifier, xpc::ServiceEndpoint endpoint);
    DaemonClient(std::string identifier, std::shared_ptr<xpc::XPCClient> client);

    const std::string& identifier() const { return identifier_; }
    xpc::XPCClient& client() { return *client_; }

    asio::awaitable<std::string> ping();
    // The number behind "v" in the reply to ping; nullopt for any other reply.
    asio::awaitable<std::optional<int>> apiVersion();
    // True when the daemon speaks this build's interface version; never throws.
    asio::awaitable<bool> isCompatible();

    asio::awaitable<std::vector<bool>> deleteFiles(std::vector<std::string> paths, Reason reason);
    asio::awaitable<bool> toggleTrim(bool enabled);
    asio::awaitable<bool> getTrimStatus();
    asio::awaitable<void> enableLaunchItem(std::filesystem::path unitFile);
    asio::awaitable<void> disableLaunchItem(std::filesystem::path unitFile);
    asio::awaitable<void> uninstallLegacyFiles();

    static std::optional<int> parseAPIVersion(std::string_view reply);

private:
    std::string identifier_;
    std::shared_ptr<xpc::XPCClient> client_;
};

} // namespace tarnel
