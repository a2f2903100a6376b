// The application's Dashboard store on a real session daemon that is killed twice: the session
// registry starts a new daemon each time and the store's stream resumes by itself.
#include "App/Dashboard/DashboardDaemonStatsStore.h"
#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "ChildProcess.h"
#include "ScaledClock.h"
#include "SessionDaemonLink.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

using namespace tarnel;
using namespace tarnel::testing;

TEST(DaemonRecoveryEndToEnd, TheDashboardStoreResumesAfterTheDaemonIsKilledAndTerminated)
{
    TemporaryDirectory folder;
    quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(folder.path() / "log", "test"));
    asio::io_context context;
    quendal::Runtime::shared().setMainExecutor(context.get_executor());
    // The application's waits (renewals, restart delay, retries) run twice as fast.
    constexpr double speed = 2.0;
    auto clock = std::make_shared<ScaledClock>(speed);
    auto registry = std::make_shared<SessionServiceRegistry>(binaryDirectory() / "daemon" / "tarneld", folder.path(), false, clock);

    auto link = sessionDaemonLink(registry, folder.path(), context.get_executor(), clock);

    auto runUntil = [&](auto condition, std::chrono::duration<double> limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!condition() && std::chrono::steady_clock::now() < end) {
            context.restart();
            context.run_one_for(std::chrono::milliseconds(50));
        }
        return condition();
    };
    auto daemonPid = [&] {
        pid_t pid = 0;
        std::ifstream(registry->pidFile()) >> pid;
        return pid;
    };

    asio::co_spawn(context, link.manager->start(), asio::detached);
    ASSERT_TRUE(runUntil([&] { return link.manager->status.value() == DaemonStatus::connected; }, std::chrono::seconds(30)));

    auto store = std::make_shared<DashboardDaemonStatsStore>(
        [client = link.statsClient](std::vector<WidgetStatistic> statistics, StatisticUpdateFrequency frequency) {
            return client->updates(statistics, frequency);
        });
    int batches = 0;
    store->start([&] { ++batches; });
    ASSERT_TRUE(runUntil([&] { return batches >= 2; }, std::chrono::seconds(20))) << "batches flow";
    ASSERT_TRUE(store->value(WidgetStatistic::cpuUsage)) << "this machine's processor usage arrived";

    // The registry notices within a watch (1 s) and restarts after 2 s, and announces it: the
    // stream reconnects then, well before its next renewal (20 s) would have met the failure.
    // In this test's time, with the daemon's own start-up and first tick in real time on top.
    const auto renewal = std::chrono::duration<double>(20.0 / speed);
    const auto recoveryTime = std::chrono::duration<double>((1.0 + 2.0) / speed) + std::chrono::seconds(4);
    ASSERT_LT(recoveryTime, renewal);
    for (int signal : {SIGKILL, SIGTERM}) {
        const pid_t old = daemonPid();
        ASSERT_GT(old, 0);
        ASSERT_EQ(::kill(old, signal), 0);
        const auto killedAt = std::chrono::steady_clock::now();
        ASSERT_TRUE(runUntil([&] { return daemonPid() > 0 && daemonPid() != old; }, recoveryTime))
            << "a new daemon after signal " << signal;
        const int before = batches;
        EXPECT_TRUE(runUntil([&] { return batches > before; }, recoveryTime - (std::chrono::steady_clock::now() - killedAt)))
            << "a new batch reaches the store within the recovery time after signal " << signal;
        EXPECT_TRUE(runUntil([&] { return batches >= before + 3; }, std::chrono::seconds(10))) << "and they keep coming";
        EXPECT_TRUE(zombieChildren().empty()) << "the daemon that ended was reaped";
        EXPECT_EQ(::kill(old, 0), -1) << "the old daemon is gone for good";
    }
    EXPECT_EQ(registry->restarts(), 2);
    EXPECT_TRUE(store->isStreaming()) << "the store's stream never ended";
    EXPECT_GT(store->cpuUsageHistory.size(), 4u);

    // The test's daemon does not outlive it.
    bool stopped = false;
    asio::co_spawn(context, registry->unregisterService(), [&](std::exception_ptr) { stopped = true; });
    EXPECT_TRUE(runUntil([&] { return stopped && registry->status() != ServiceStatus::enabled(); }, std::chrono::seconds(10)));
    store.reset();
    link.manager.reset();
    quendal::Runtime::shared().resetMainExecutor();
    quendal::AppLogger::setStore(nullptr);
}
