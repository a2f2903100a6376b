#include "TarnelKit/Daemon/DaemonClient.h"

#include "TarnelKit/SharedClientSlot.h"

#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedClient.h"

#include <charconv>
#include <mutex>

namespace tarnel {

namespace {
SharedClientSlot<DaemonClient> sharedClient;
} // namespace

std::shared_ptr<DaemonClient> DaemonClient::shared()
{
    return sharedClient.get();
}

void DaemonClient::setShared(std::shared_ptr<DaemonClient> client)
{
    sharedClient.set(std::move(client));
}

DaemonClient::DaemonClient(std::string identifier, xpc::ServiceEndpoint endpoint)
    : DaemonClient(std::move(identifier),
                   xpc::XPCClient::create(endpoint, xpc::ServerRequirement::defaultFor(endpoint)))
{
}

DaemonClient::DaemonClient(std::string identifier, std::shared_ptr<xpc::XPCClient> client)
    : identifier_(std::move(identifier)), client_(std::move(client))
{
}

std::optional<int> DaemonClient::parseAPIVersion(std::string_view reply)
{
    if (reply.size() < 2 || reply.front() != 'v')
        return std::nullopt;
    int version = 0;
    auto digits = reply.substr(1);
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), version);
    if (error != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return version;
}

// Requests are built before each co_await: g++ 12 can destroy temporaries of a co_await twice.
asio::awaitable<std::string> DaemonClient::ping()
{
    const std::string message = "Ping from app";
    auto sending = xpc::sendAndReceive(*client_, xpc::Routes::ping, message);
    co_return co_await std::move(sending);
}

asio::awaitable<std::optional<int>> DaemonClient::apiVersion()
{
    auto reply = co_await ping();
    co_return parseAPIVersion(reply);
}

asio::awaitable<bool> DaemonClient::isCompatible()
{
    try {
        auto version = co_await apiVersion();
        co_return version == xpc::daemonAPIVersion;
    } catch (const xpc::XPCError&) {
        co_return false;
    }
}

asio::awaitable<std::vector<bool>> DaemonClient::deleteFiles(std::vector<std::string> paths, Reason reason)
{
    const xpc::PrivilegedFileDeleteRequest request{std::move(paths), reason};
    auto sending = xpc::sendAndReceive(*client_, xpc::Routes::deleteFiles, request);
    co_return co_await std::move(sending);
}

asio::awaitable<bool> DaemonClient::toggleTrim(bool enabled)
{
    auto sending = xpc::sendAndReceive(*client_, xpc::Routes::toggleTrim, enabled);
    co_return co_await std::move(sending);
}

asio::awaitable<bool> DaemonClient::getTrimStatus()
{
    auto sending = xpc::sendAndReceive(*client_, xpc::Routes::getTrimStatus);
    co_return co_await std::move(sending);
}

asio::awaitable<void> DaemonClient::enableLaunchItem(std::filesystem::path unitFile)
{
    const auto request = xpc::LaunchItemMutationRequest::forPath(unitFile, true);
    auto sending = xpc::send(*client_, xpc::Routes::setLaunchItemEnabled, request);
    co_await std::move(sending);
}

asio::awaitable<void> DaemonClient::disableLaunchItem(std::filesystem::path unitFile)
{
    const auto request = xpc::LaunchItemMutationRequest::forPath(unitFile, false);
    auto sending = xpc::send(*client_, xpc::Routes::setLaunchItemEnabled, request);
    co_await std::move(sending);
}

asio::awaitable<void> DaemonClient::uninstallLegacyFiles()
{
    auto sending = xpc::send(*client_, xpc::Routes::uninstallLegacyFiles);
    co_await std::move(sending);
}

} // namespace tarnel
