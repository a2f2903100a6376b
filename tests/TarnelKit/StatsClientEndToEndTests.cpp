#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "ChildProcess.h"
#include "ScaledClock.h"
#include "TestSupport.h"

#include <asio/io_context.hpp>

#include <gtest/gtest.h>

#include <csignal>

using namespace tarnel;
using namespace tarnel::testing;

TEST(StatsClientEndToEnd, AConsumerKeepsReceivingWhileTheDaemonIsKilledAndRestartedTwice)
{
    TemporaryDirectory sockets;
    quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(sockets.path() / "log", "test"));
    const auto program = binaryDirectory() / "daemon" / "tarneld";
    const std::vector<std::string> arguments{"--session", "--socket-dir", sockets.path().string(), "--base-interval", "0.05"};
    auto daemon = std::make_unique<ChildProcess>(program, arguments);
    const auto socket = sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock";
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(socket); }));

    // The client's waits run ten times faster: a renewal every 2 s of real time.
    asio::io_context context;
    StatsClient::Environment environment;
    const auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats", socket);
    environment.makeTransport = [endpoint, &context] {
        return xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer(), context.get_executor());
    };
    environment.executor = context.get_executor();
    environment.clock = std::make_shared<ScaledClock>(10.0);
    auto client = std::make_shared<StatsClient>("stats", std::move(environment));

    auto stream = client->updates(std::vector<WidgetStatistic>{WidgetStatistic::cpuUsage, WidgetStatistic::ramAvailable},
                                  StatisticUpdateFrequency::fast);
    std::vector<StatsUpdateBatch> batches;
    bool failed = false, ended = false;
    auto consume = [](quendal::AsyncStream<StatsUpdateBatch>& s, std::vector<StatsUpdateBatch>& out, bool& failure,
                      bool& end) -> asio::awaitable<void> {
        try {
            for (;;) {
                auto next = s.next();
                auto batch = co_await std::move(next);
                if (!batch) {
                    end = true;
                    co_return;
                }
                out.push_back(std::move(*batch));
            }
        } catch (...) {
            failure = true;
        }
    };
    auto consumer = quendal::spawn(context.get_executor(), consume(stream, batches, failed, ended));
    auto runUntil = [&](auto condition, double seconds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!condition() && std::chrono::steady_clock::now() < end)
            context.run_one_for(std::chrono::milliseconds(50));
        return condition();
    };

    ASSERT_TRUE(runUntil([&] { return batches.size() >= 3; }, 20)) << "batches flow";
    for (int outage = 0; outage < 2; ++outage) {
        daemon.reset(); // killed, without a word to its clients
        runUntil([] { return false; }, 0.5);
        const auto before = batches.size();
        daemon = std::make_unique<ChildProcess>(program, arguments);
        ASSERT_TRUE(runUntil([&] { return batches.size() >= before + 3; }, 40))
            << "the stream resumes after restart " << outage + 1;
    }
    EXPECT_FALSE(failed) << "no error reaches the consumer";
    EXPECT_FALSE(ended);
    const auto id = batches.front().subscriptionID;
    for (const auto& b : batches)
        EXPECT_EQ(b.subscriptionID, id);

    consumer.cancel();
    runUntil([&] { return consumer.isFinished(); }, 5);
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->wait(), 0);
    quendal::AppLogger::setStore(nullptr);
}
