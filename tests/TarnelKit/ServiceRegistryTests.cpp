#include "TarnelKit/Daemon/ServiceRegistry.h"

#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;

namespace {

// Registering starts a real process, so this runs on the real clock.
void await(asio::io_context& context, asio::awaitable<void> work)
{
    auto future = asio::co_spawn(context, std::move(work), asio::use_future);
    context.restart();
    context.run();
    future.get();
}

} // namespace

TEST(ServiceRegistry, SessionRegistryStartsAndStopsTheDaemon)
{
    TemporaryDirectory sockets;
    asio::io_context context;
    auto program = tarnel::testing::binaryDirectory() / "daemon" / "tarneld";
    SessionServiceRegistry registry(program, sockets.path(), false, std::make_shared<quendal::SystemClock>());
    EXPECT_EQ(registry.status(), ServiceStatus::notRegistered());
    EXPECT_EQ(registry.status().text(), "notRegistered");

    await(context, registry.registerService());
    EXPECT_EQ(registry.status(), ServiceStatus::enabled());
    EXPECT_TRUE(std::filesystem::exists(sockets.path() / "org.quendal.Tarnel.Daemon.sock"));
    await(context, registry.registerService()); // a running daemon is not started twice
    EXPECT_EQ(registry.status(), ServiceStatus::enabled());

    await(context, registry.unregisterService());
    EXPECT_EQ(registry.status(), ServiceStatus::notRegistered());
    EXPECT_FALSE(std::filesystem::exists(sockets.path() / "org.quendal.Tarnel.Daemon.sock"));
    await(context, registry.unregisterService()); // nothing to stop is no error

    SessionServiceRegistry missing(sockets.path() / "no-such-daemon", sockets.path(), false,
                                   std::make_shared<quendal::SystemClock>());
    EXPECT_EQ(missing.status(), ServiceStatus::notFound());
    EXPECT_THROW(await(context, missing.registerService()), RegistryError);
    EXPECT_EQ((ServiceStatus{ServiceStatus::Value::unknown, 7}.text()), "unknown(7)");
}
