#include "TarnelKit/Daemon/DaemonClient.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedClient.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>

#include <csignal>

using namespace tarnel;
using namespace tarnel::testing;

namespace {

std::filesystem::path daemonProgram() { return binaryDirectory() / "daemon" / "tarneld"; }

// Runs one request against the real daemon with a private io_context.
template <class T>
T request(std::function<asio::awaitable<T>(DaemonClient&)> call, const xpc::ServiceEndpoint& endpoint)
{
    asio::io_context context;
    DaemonClient client(endpoint.serviceName, xpc::XPCClient::create(endpoint, xpc::ServerRequirement::defaultFor(endpoint),
                                                                      context.get_executor()));
    auto future = asio::co_spawn(context, call(client), asio::use_future);
    // The connection stays open after the answer, so run until the answer rather than until idle.
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        context.run_one();
    return future.get();
}

} // namespace

TEST(Process, ServesPingOnBothEndpointsAndStopsCleanlyOnSigterm)
{
    TemporaryDirectory sockets;
    ChildProcess daemon(daemonProgram(), {"--session", "--socket-dir", sockets.path().string()});
    const auto privileged = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon",
                                                     sockets.path() / "org.quendal.Tarnel.Daemon.sock");
    const auto statistics = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats",
                                                     sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock");
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(statistics.socketPath); })) << "the daemon never listened";

    for (const auto& endpoint : {privileged, statistics}) {
        auto reply = request<std::string>([](DaemonClient& c) { return c.ping(); }, endpoint);
        EXPECT_EQ(reply, "v19");
        EXPECT_TRUE(request<bool>([](DaemonClient& c) { return c.isCompatible(); }, endpoint));
    }

    // The statistics endpoint also tells what the machine is.
    {
        asio::io_context context;
        auto client = xpc::XPCClient::create(statistics, xpc::ServerRequirement::anyServer(), context.get_executor());
        auto future = asio::co_spawn(context, xpc::sendAndReceive(*client, xpc::Routes::systemInventory), asio::use_future);
        while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            context.run_one();
        auto inventory = future.get();
        EXPECT_GT(inventory.cpu.logicalCores, 0);
        EXPECT_GT(inventory.memory.totalBytes, 0u);
    }

    // A second daemon on the same folder refuses to start and leaves the first alone.
    ChildProcess second(daemonProgram(), {"--session", "--socket-dir", sockets.path().string()});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(request<std::string>([](DaemonClient& c) { return c.ping(); }, privileged), "v19");

    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(privileged.socketPath)) << "sockets are removed on exit";
    EXPECT_FALSE(std::filesystem::exists(sockets.path() / "tarneld.pid"));
}
