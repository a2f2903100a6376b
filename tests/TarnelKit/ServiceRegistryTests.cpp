#include "TarnelKit/Daemon/DaemonManager.h"
#include "TarnelKit/Daemon/ServiceRegistry.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/XPCError.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"

#include "TestSupport.h"
#include "ManagerEnvironment.h"
#include "VirtualTime.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <sys/file.h>
#include <unistd.h>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;

namespace {

// Registering starts a real process, so this runs on the real clock.
// The registry's watch keeps running after a registration, so run until the work is done.
void await(asio::io_context& context, asio::awaitable<void> work)
{
    auto future = asio::co_spawn(context, std::move(work), asio::use_future);
    context.restart();
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        context.run_one_for(std::chrono::milliseconds(50));
    future.get();
}

// A daemon without a process: "running" is holding the pid file's lock in this process, as the
// real daemon holds it in its own; a death drops the lock and leaves a status to reap.
class FakeSpawner final : public DaemonSpawner {
public:
    explicit FakeSpawner(std::filesystem::path pidFile) : pidFile_(std::move(pidFile)) {}
    ~FakeSpawner() override
    {
        for (auto& [pid, fd] : running_)
            ::close(fd);
    }

    pid_t spawn(const std::vector<std::string>& command, const std::filesystem::path&) override
    {
        commands.push_back(command);
        if (failNextStarts > 0) {
            --failNextStarts;
            ended_[nextPid_] = 1 << 8; // exit code 1
            return nextPid_++;
        }
        int fd = ::open(pidFile_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        EXPECT_GE(fd, 0);
        EXPECT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
        running_[nextPid_] = fd;
        return nextPid_++;
    }
    std::optional<int> reap(pid_t pid) override
    {
        ++reapCalls;
        auto e = ended_.find(pid);
        if (e == ended_.end())
            return std::nullopt;
        int status = e->second;
        ended_.erase(e);
        return status;
    }

    // The daemon dies by `signal`: its lock goes, it waits to be reaped.
    void kill(pid_t pid, int signal)
    {
        ::close(running_.at(pid));
        running_.erase(pid);
        ended_[pid] = signal;
    }
    std::size_t zombies() const { return ended_.size(); }
    std::size_t running() const { return running_.size(); }
    pid_t newest() const { return nextPid_ - 1; }

    std::vector<std::vector<std::string>> commands;
    int failNextStarts = 0;
    int reapCalls = 0;

private:
    std::filesystem::path pidFile_;
    pid_t nextPid_ = 100;
    std::map<pid_t, int> running_;
    std::map<pid_t, int> ended_;
};

struct Supervised {
    Supervised()
    {
        std::ofstream(program) << "#!/bin/sh\n";
        registry = std::make_unique<SessionServiceRegistry>(program, folder.path(), false, time.clockPointer(), spawner);
    }
    TemporaryDirectory folder;
    std::filesystem::path program = folder.path() / "tarneld";
    VirtualTime time;
    std::shared_ptr<FakeSpawner> spawner = std::make_shared<FakeSpawner>(folder.path() / "tarneld.pid");
    std::unique_ptr<SessionServiceRegistry> registry;
};

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

TEST(ServiceRegistry, ADaemonThatEndsIsReapedAndStartedAgainUntilUnregistered)
{
    Supervised s;
    auto& time = s.time;
    auto& spawner = *s.spawner;
    int observed = 0;
    s.registry->observeRestarts([&] { ++observed; });
    time.await(s.registry->registerService());
    ASSERT_EQ(spawner.commands.size(), 1u);
    EXPECT_EQ(observed, 0) << "the first start is no restart";
    EXPECT_EQ(s.registry->status(), ServiceStatus::enabled());
    EXPECT_TRUE(s.registry->isSupervising());

    // Killed, then ended by a signal it answers with a clean exit: both are started again.
    for (int signal : {SIGKILL, 0}) {
        const auto before = time.elapsedSeconds();
        spawner.kill(spawner.newest(), signal);
        EXPECT_EQ(s.registry->status(), ServiceStatus::notRegistered()) << "gone until restarted";
        EXPECT_EQ(spawner.zombies(), 1u);
        time.runFor(1.05);
        EXPECT_EQ(spawner.zombies(), 0u) << "reaped within a watch interval";
        EXPECT_EQ(spawner.running(), 0u) << "the restart waits its delay";
        time.runFor(2.0);
        EXPECT_EQ(spawner.running(), 1u) << "started again after the delay";
        EXPECT_LE(time.elapsedSeconds() - before, 3.2);
        EXPECT_EQ(s.registry->status(), ServiceStatus::enabled());
    }
    EXPECT_EQ(s.registry->restarts(), 2);
    EXPECT_EQ(observed, 2) << "each restart is announced, so clients reconnect at once";
    EXPECT_EQ(spawner.commands.back(), spawner.commands.front()) << "the same command each time";

    // A daemon that keeps failing to start is retried with growing pauses, never given up.
    spawner.failNextStarts = 3;
    spawner.kill(spawner.newest(), SIGTERM);
    const auto starts = spawner.commands.size();
    time.runFor(1.0 + 2.0 + 0.1);
    EXPECT_EQ(spawner.commands.size(), starts + 1) << "first try after 2 s";
    time.runFor(1.0 + 4.0);
    EXPECT_EQ(spawner.commands.size(), starts + 2) << "then after 4 s";
    time.runFor(1.0 + 8.0);
    EXPECT_EQ(spawner.commands.size(), starts + 3) << "then after 8 s";
    time.runFor(1.0 + 16.0);
    EXPECT_EQ(spawner.commands.size(), starts + 4);
    EXPECT_EQ(spawner.running(), 1u) << "the fourth try works";
    EXPECT_EQ(spawner.zombies(), 0u) << "each failed start was reaped";
    time.runFor(1.0 + 3.0);
    EXPECT_EQ(spawner.commands.size(), starts + 4) << "a running daemon is left alone";

    // Unregistered on purpose: stopped and not brought back.
    ASSERT_EQ(spawner.running(), 1u);
    spawner.kill(spawner.newest(), SIGTERM); // as the daemon answers unregistering's SIGTERM
    time.await(s.registry->unregisterService());
    time.runFor(120);
    EXPECT_FALSE(s.registry->isSupervising());
    EXPECT_EQ(spawner.running(), 0u) << "an unregistered daemon stays down";
    EXPECT_EQ(spawner.zombies(), 0u);
}

TEST(ServiceRegistry, ARunningDaemonOfAnotherProcessIsWatchedAndOnlyReplacedWhenGone)
{
    Supervised s;
    auto& time = s.time;
    auto& spawner = *s.spawner;
    // Someone else's daemon holds the lock: registering starts nothing but watches it.
    time.await(s.registry->registerService()); // ours
    SessionServiceRegistry other(s.program, s.folder.path(), false, time.clockPointer(), s.spawner);
    time.await(other.registerService());
    EXPECT_EQ(spawner.commands.size(), 1u) << "a daemon that runs is not started twice";
    spawner.kill(spawner.newest(), SIGKILL);
    time.runFor(3.5);
    EXPECT_EQ(spawner.running(), 1u) << "one of the two watchers replaced it, not both";
    EXPECT_EQ(s.registry->restarts() + other.restarts(), 1);

    // A registry that goes away stops watching; the daemon keeps running.
    s.registry.reset();
    time.runFor(5);
    EXPECT_EQ(spawner.running(), 1u);
}

TEST(ServiceRegistry, TheManagerFindsTheRestartedDaemonWithoutAReinstall)
{
    Supervised s;
    auto& time = s.time;
    auto& spawner = *s.spawner;
    TemporaryDirectory preferences;
    quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(preferences.path() / "log", "test"));
    // The endpoints answer while a daemon runs.
    auto probe = [&spawner]() -> asio::awaitable<std::optional<int>> {
        if (spawner.running() == 0)
            throw xpc::XPCError::connectionInvalid();
        co_return xpc::daemonAPIVersion;
    };
    // The manager borrows the registry, which the setup owns.
    auto manager = std::make_shared<DaemonManager>(tarnel::testing::managerEnvironment(
        std::shared_ptr<ServiceRegistry>(s.registry.get(), [](ServiceRegistry*) {}), probe, preferences.path(), time));
    time.await(manager->start());
    ASSERT_EQ(manager->status.value(), DaemonStatus::connected);
    ASSERT_EQ(spawner.commands.size(), 1u);

    // Killed: the manager's own probes (6.75 s) outlast the restart (at most 3 s).
    spawner.kill(spawner.newest(), SIGKILL);
    const auto killedAt = time.elapsedSeconds();
    time.await(manager->updateStatus());
    EXPECT_EQ(manager->status.value(), DaemonStatus::connected);
    EXPECT_LE(time.elapsedSeconds() - killedAt, 3.0 + 1.0 + 0.1) << "connected at the first probe after the restart";
    EXPECT_FALSE(manager->retryLoopRunning());
    EXPECT_EQ(spawner.zombies(), 0u);

    // A daemon that takes longer to come back: unavailable, and the retry loop finds it.
    spawner.failNextStarts = 3;
    spawner.kill(spawner.newest(), SIGTERM);
    time.await(manager->updateStatus());
    EXPECT_EQ(manager->status.value(), DaemonStatus::unavailable);
    EXPECT_TRUE(manager->retryLoopRunning());
    time.runFor(60);
    EXPECT_EQ(manager->status.value(), DaemonStatus::connected) << "without a reinstall or anything the user does";
    EXPECT_FALSE(manager->retryLoopRunning());
    EXPECT_EQ(s.registry->restarts(), 2);
    EXPECT_EQ(manager->isRecovering(), false);
    quendal::AppLogger::setStore(nullptr);
}
