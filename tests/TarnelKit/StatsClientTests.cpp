#include "TarnelKit/Stats/StatsClient.h"

#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedServer.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::xpc;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;

namespace {

// A statistics endpoint whose behaviour each test sets.
class FakeStatsDaemon {
public:
    enum class Mode { endAtOnce, sendAndHold };

    FakeStatsDaemon(const ServiceEndpoint& endpoint, quendal::Executor executor) : server(endpoint, executor)
    {
        registerHandler(server, Routes::statsSubscribe,
                        [this](StatsSubscriptionRequest r, std::shared_ptr<TypedSequenceSink<StatsUpdateBatch>> sink,
                               RequestContext) -> asio::awaitable<void> {
                            subscribes.push_back(r.subscriptionID);
                            StatsUpdateBatch batch;
                            batch.subscriptionID = r.subscriptionID;
                            if (mode == Mode::endAtOnce) {
                                sink->finish();
                            } else {
                                sink->send(batch);
                                sinks.push_back(sink);
                            }
                            co_return;
                        });
        registerHandler(server, Routes::statsUpdateSubscription,
                        [this](StatsSubscriptionRequest, RequestContext) -> asio::awaitable<void> {
                            ++renewals;
                            co_return;
                        });
        registerHandler(server, Routes::statsUnsubscribe, [this](StatsSubscriptionKey, RequestContext) -> asio::awaitable<void> {
            ++unsubscribes;
            co_return;
        });
        server.start();
    }

    XPCServer server;
    Mode mode = Mode::endAtOnce;
    std::vector<StatsSubscriptionID> subscribes;
    std::vector<std::shared_ptr<TypedSequenceSink<StatsUpdateBatch>>> sinks;
    int renewals = 0;
    int unsubscribes = 0;
};

struct FakeManager : DaemonReadiness {
    int readinessWaits = 0, recoveries = 0;
    bool recovering = false;
    asio::awaitable<void> waitForClientReadiness() override
    {
        ++readinessWaits;
        // Like the real manager, readiness polls while a recovery runs.
        if (recovering)
            co_await quendal::Runtime::shared().clock().sleep(std::chrono::milliseconds(100));
    }
    asio::awaitable<void> recoverAfterClientSecurityFailure() override
    {
        ++recoveries;
        // A reinstall takes a while.
        co_await quendal::Runtime::shared().clock().sleep(std::chrono::milliseconds(100));
    }
    bool isRecovering() const override { return recovering; }
};

class StatsClientTest : public ::testing::Test {
protected:
    StatsClientTest() : endpoint(ServiceEndpoint::at("stats", directory.path() / "stats.sock"))
    {
        quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(directory.path() / "log", "test"));
        quendal::AppLogger::setEchoToStandardError(std::getenv("TARNEL_TEST_ECHO") != nullptr);
    }
    ~StatsClientTest() override { quendal::AppLogger::setStore(nullptr); }

    std::shared_ptr<StatsClient> makeClient(std::shared_ptr<DaemonReadiness> manager = nullptr, bool mainApplication = false,
                                            ServerRequirement requirement = ServerRequirement::anyServer())
    {
        StatsClient::Environment environment;
        auto ep = endpoint;
        auto executor = time.executor();
        environment.makeTransport = [ep, executor, requirement, this] {
            ++transports;
            return XPCClient::create(ep, requirement, executor);
        };
        if (manager)
            environment.manager = [manager] { return manager; };
        environment.isMainApplication = mainApplication;
        environment.executor = time.executor();
        environment.clock = time.clockPointer();
        return std::make_shared<StatsClient>("stats", std::move(environment));
    }

    std::vector<double> backoffs()
    {
        std::vector<double> out;
        for (double s : time.clock().requestedSleepSeconds())
            if (s != 20.0)
                out.push_back(s);
        return out;
    }

    VirtualTime time;
    TemporaryDirectory directory;
    ServiceEndpoint endpoint;
    int transports = 0;
};

asio::awaitable<void> consume(quendal::AsyncStream<StatsUpdateBatch>& stream, int& received)
{
    for (;;) {
        auto receiving = stream.next();
        auto batch = co_await std::move(receiving);
        if (!batch)
            break;
        ++received;
    }
}

} // namespace

TEST_F(StatsClientTest, EndedStreamsBackOffAndAWakeResetsTheCount)
{
    FakeStatsDaemon daemon(endpoint, time.executor());
    auto client = makeClient();
    auto stream = client->updates({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    int received = 0;
    auto consumer = quendal::spawn(time.executor(), consume(stream, received));

    time.runFor(8.0);
    auto waits = backoffs();
    ASSERT_GE(waits.size(), 6u);
    EXPECT_EQ(std::vector<double>(waits.begin(), waits.begin() + 6), (std::vector<double>{0.25, 0.5, 1, 2, 4, 4}));
    const auto id = daemon.subscribes.front();
    for (const auto& s : daemon.subscribes)
        EXPECT_EQ(s, id) << "every attempt uses the same subscription";

    // A wake makes the waiting attempt reconnect after 0.25 s, and the count starts over.
    daemon.mode = FakeStatsDaemon::Mode::sendAndHold;
    time.runFor(5.0);
    const auto before = daemon.subscribes.size();
    time.clock().clearRequestedSleeps();
    client->handleSystemWake();
    time.runFor(0.3);
    EXPECT_EQ(backoffs(), std::vector<double>{0.25});
    EXPECT_EQ(daemon.subscribes.size(), before + 1);
    EXPECT_GE(received, 1);

    // Renewals every 20 seconds while an attempt lasts.
    const int renewals = daemon.renewals;
    time.runFor(41);
    EXPECT_EQ(daemon.renewals - renewals, 2);

    // Stopping the consumer ends the stream and unsubscribes.
    consumer.cancel();
    time.runFor(1);
    EXPECT_TRUE(consumer.isFinished());
    EXPECT_EQ(daemon.unsubscribes, 1);
    EXPECT_EQ(client->recoverySignal().waiterCount(), 0u);
}

TEST_F(StatsClientTest, SnapshotRequestsRetryEightTimesButNotForRecovery)
{
    // No daemon at all: eight sends, seven waits, then the transport's error.
    auto client = makeClient();
    try {
        time.await(client->hardwareCatalog());
        ADD_FAILURE() << "nothing answers";
    } catch (const XPCError& e) {
        EXPECT_EQ(e.kind(), XPCError::Kind::connectionInvalid);
    }
    EXPECT_EQ(time.clock().requestedSleepSeconds(), (std::vector<double>{0.25, 0.5, 1, 2, 4, 4, 4}));
    EXPECT_EQ(transports, 1 + 8) << "each transport failure resets the transport";

    // While the manager recovers, transport failures wait for readiness without counting.
    auto manager = std::make_shared<FakeManager>();
    manager->recovering = true;
    auto managed = makeClient(manager);
    time.clock().clearRequestedSleeps();
    auto request = quendal::spawn(time.executor(), [](std::shared_ptr<StatsClient> c) -> asio::awaitable<void> {
        try {
            co_await c->systemInventory();
        } catch (...) {
        }
    }(managed));
    time.runFor(30);
    EXPECT_FALSE(request.isFinished()) << "failures during a recovery do not count towards giving up";
    EXPECT_GT(manager->readinessWaits, 100);
    for (double s : time.clock().requestedSleepSeconds())
        EXPECT_EQ(s, 0.1) << "no backoff while the manager recovers";
    request.cancel();
    time.runFor(1);
    EXPECT_TRUE(request.isFinished());
}

TEST_F(StatsClientTest, ReadinessAndManagedFailures)
{
    // The main application without a manager polls 50 times at 0.1 s before trying.
    auto lonely = makeClient(nullptr, true);
    time.await([](std::shared_ptr<StatsClient> c) -> asio::awaitable<void> {
        try {
            co_await c->hardwareCatalog();
        } catch (...) {
        }
    }(lonely));
    auto sleeps = time.clock().requestedSleepSeconds();
    EXPECT_EQ(std::count(sleeps.begin(), sleeps.begin() + 50, 0.1), 50);

    auto manager = std::make_shared<FakeManager>();
    auto managed = makeClient(manager);
    EXPECT_TRUE(time.await(managed->handleManagedDaemonFailure(std::make_exception_ptr(XPCError::insecure()))));
    EXPECT_EQ(manager->recoveries, 1);
    EXPECT_FALSE(time.await(managed->handleManagedDaemonFailure(std::make_exception_ptr(XPCError::connectionInterrupted()))));
    manager->recovering = true;
    EXPECT_TRUE(time.await(managed->handleManagedDaemonFailure(std::make_exception_ptr(XPCError::connectionInterrupted()))));
    EXPECT_FALSE(time.await(managed->handleManagedDaemonFailure(std::make_exception_ptr(XPCError::routeMismatch({"x"}, "y")))));
    auto monitor = makeClient();
    EXPECT_FALSE(time.await(monitor->handleManagedDaemonFailure(std::make_exception_ptr(XPCError::insecure()))))
        << "without a manager nothing is handled";

    EXPECT_FALSE(time.await(monitor->isCompatible()));
}

TEST_F(StatsClientTest, BackoffDoublesFromAQuarterSecondAndStopsAtFour)
{
    using namespace std::chrono_literals;
    // A quarter second up to the first failure, each failure after doubling it until the fifth,
    // and four seconds from there on.
    EXPECT_EQ(StatsClient::backoffDelay(0), 250ms);
    EXPECT_EQ(StatsClient::backoffDelay(1), 250ms);
    for (int n = 2; n <= 5; ++n)
        EXPECT_EQ(StatsClient::backoffDelay(n), 2 * StatsClient::backoffDelay(n - 1)) << n;
    for (int n : {6, 7, 40, 1000})
        EXPECT_EQ(StatsClient::backoffDelay(n), 4s) << n;
}

TEST_F(StatsClientTest, AStreamThatFailsForAnUnexpectedReasonEndsQuietlyButIsLogged)
{
    // A manager whose readiness breaks in a way no table row covers.
    struct BrokenManager : FakeManager {
        asio::awaitable<void> waitForClientReadiness() override
        {
            ++readinessWaits;
            throw std::runtime_error("the readiness wait broke");
            co_return;
        }
    };
    auto manager = std::make_shared<BrokenManager>();
    auto client = makeClient(manager);
    auto stream = client->updates({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    int received = 0;
    auto consumer = quendal::spawn(time.executor(), consume(stream, received));
    time.runFor(1.0);
    EXPECT_TRUE(consumer.isFinished()) << "the stream ends";
    EXPECT_EQ(manager->readinessWaits, 1);
    EXPECT_FALSE(consumer.error()) << "its consumer sees no error";
    auto logged = quendal::AppLogger::collectLogs(R"(eventType == logEvent)", 1, std::nullopt);
    auto mentions = [&](const std::string& text) {
        return std::count_if(logged.begin(), logged.end(), [&](const auto& l) { return l.find(text) != std::string::npos; });
    };
    EXPECT_EQ(mentions("Stats subscription stopped by an unexpected error: the readiness wait broke"), 1);

    // A consumer that stops is no fault: nothing of the kind is logged for it.
    FakeStatsDaemon daemon(endpoint, time.executor());
    daemon.mode = FakeStatsDaemon::Mode::sendAndHold;
    auto healthy = makeClient();
    auto second = healthy->updates({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    auto reader = quendal::spawn(time.executor(), consume(second, received));
    time.runFor(1.0);
    reader.cancel();
    time.runFor(1.0);
    EXPECT_TRUE(reader.isFinished());
    logged = quendal::AppLogger::collectLogs(R"(eventType == logEvent)", 1, std::nullopt);
    EXPECT_EQ(mentions("unexpected error"), 1);
}

TEST_F(StatsClientTest, CancellingDuringABackoffFinishesAtOnceAndUndecodableBatchesInterrupt)
{
    // A daemon whose batches lack their mandatory keys: each one interrupts the attempt.
    XPCServer broken(endpoint, time.executor());
    int subscribes = 0, unsubscribes = 0;
    broken.registerHandler({Routes::statsSubscribe.route(), nullptr,
                            [&](std::optional<Value>, std::shared_ptr<SequenceSink> sink, RequestContext) -> asio::awaitable<void> {
                                ++subscribes;
                                sink->send(Value(Value::Dictionary{{"values", Value::array()}}));
                                co_return;
                            }});
    registerHandler(broken, Routes::statsUnsubscribe, [&](StatsSubscriptionKey, RequestContext) -> asio::awaitable<void> {
        ++unsubscribes;
        co_return;
    });
    broken.start();
    auto client = makeClient();
    auto stream = client->updates({WidgetStatistic::cpuUsage}, StatisticUpdateFrequency::fast);
    int received = 0;
    auto consumer = quendal::spawn(time.executor(), consume(stream, received));
    time.runFor(1.0);
    EXPECT_GE(subscribes, 3) << "the stream goes on after each interruption";
    EXPECT_EQ(received, 0);
    EXPECT_FALSE(consumer.isFinished()) << "no error reaches the consumer";
    const auto logged = quendal::AppLogger::collectLogs(R"(eventType == logEvent)", 1, std::nullopt);
    EXPECT_TRUE(std::any_of(logged.begin(), logged.end(),
                            [](const auto& l) { return l.find("Stats subscription interrupted:") != std::string::npos; }));

    // Now in a 4-second backoff: cancelling ends the stream without waiting it out.
    time.runFor(3.9);
    const double before = time.elapsedSeconds();
    consumer.cancel();
    time.poll();
    EXPECT_TRUE(consumer.isFinished());
    time.runFor(0.01);
    EXPECT_EQ(unsubscribes, 1);
    EXPECT_LT(time.elapsedSeconds() - before, 0.02);
}

TEST_F(StatsClientTest, InsecureSnapshotFailuresGoToTheManagerAndDoNotCount)
{
    FakeStatsDaemon daemon(endpoint, time.executor());
    registerHandler(daemon.server, Routes::hardwareCatalog,
                    [](RequestContext) -> asio::awaitable<HardwareCatalogSnapshot> { co_return HardwareCatalogSnapshot{}; });
    auto manager = std::make_shared<FakeManager>();
    auto client = makeClient(manager, false, ServerRequirement::runningAs(::getuid() + 1));
    auto request = quendal::spawn(time.executor(), [](std::shared_ptr<StatsClient> c) -> asio::awaitable<void> {
        try {
            co_await c->hardwareCatalog();
        } catch (...) {
        }
    }(client));
    time.runFor(2.0);
    EXPECT_GE(manager->recoveries, 12) << "more than eight insecure answers, and it still has not given up";
    EXPECT_FALSE(request.isFinished());
    request.cancel();
    time.poll();
}
