#include "TarnelKit/Daemon/DaemonManager.h"

#include "TarnelXPC/XPCError.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;

namespace {

// A registry whose status the test sets; registering makes it `afterRegister`.
struct FakeRegistry : ServiceRegistry {
    ServiceStatus current = ServiceStatus::notRegistered();
    ServiceStatus afterRegister = ServiceStatus::enabled();
    int registrations = 0, unregistrations = 0;
    std::vector<double> unregisteredAt, registeredAt;
    std::function<double()> now;
    ServiceStatus status() override { return current; }
    asio::awaitable<void> registerService() override
    {
        ++registrations;
        registeredAt.push_back(now());
        current = afterRegister;
        co_return;
    }
    asio::awaitable<void> unregisterService() override
    {
        ++unregistrations;
        unregisteredAt.push_back(now());
        current = ServiceStatus::notRegistered();
        co_return;
    }
    std::string description() const override { return "fake"; }
    std::filesystem::path socketPath(const std::string& name) const override { return "/nonexistent/" + name; }
};

// Endpoints that answer a version, or fail with an error; counts the probes.
struct FakeEndpoint {
    std::optional<int> version = 19;
    std::optional<xpc::XPCError> error;
    int probes = 0;
    DaemonManager::Probe probe()
    {
        return [this]() -> asio::awaitable<std::optional<int>> {
            ++probes;
            if (error)
                throw *error;
            co_return version;
        };
    }
};

class Manager : public ::testing::Test {
protected:
    Manager() : preferences(std::make_shared<quendal::Preferences>(directory.path() / "preferences.json"))
    {
        quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(directory.path() / "log", "test"));
        registry->now = [this] { return time.elapsedSeconds(); };
    }
    ~Manager() override { quendal::AppLogger::setStore(nullptr); }

    std::shared_ptr<DaemonManager> make(std::string hostBuild = "42")
    {
        DaemonManager::Environment environment;
        environment.identifier = "org.quendal.Tarnel.Daemon";
        environment.registry = registry;
        environment.privilegedProbe = privileged.probe();
        environment.statsProbe = stats.probe();
        environment.preferences = preferences;
        environment.hostBuild = std::move(hostBuild);
        environment.applicationPath = "/usr/bin/tarnel";
        environment.executor = time.executor();
        environment.clock = time.clockPointer();
        return std::make_shared<DaemonManager>(std::move(environment));
    }

    void down()
    {
        privileged.error = xpc::XPCError::connectionInvalid();
        stats.error = xpc::XPCError::connectionInvalid();
    }
    void up()
    {
        privileged.error.reset();
        stats.error.reset();
    }

    bool logged(const std::string& text)
    {
        auto lines = quendal::AppLogger::collectLogs("eventType == logEvent", 1, std::nullopt);
        return std::any_of(lines.begin(), lines.end(), [&](const auto& l) { return l.find(text) != std::string::npos; });
    }

    VirtualTime time;
    TemporaryDirectory directory;
    std::shared_ptr<quendal::Preferences> preferences;
    std::shared_ptr<FakeRegistry> registry = std::make_shared<FakeRegistry>();
    FakeEndpoint privileged, stats;
};

} // namespace

TEST_F(Manager, FirstLaunchRegistersConnectsAndRecordsTheBuild)
{
    auto manager = make();
    EXPECT_EQ(manager->status.value(), DaemonStatus::loading);
    time.await(manager->start());
    EXPECT_TRUE(logged("Daemon first status was notRegistered, recovering..."));
    EXPECT_EQ(registry->registrations, 1);
    EXPECT_EQ(manager->status.value(), DaemonStatus::connected);
    EXPECT_EQ(preferences->stringValue(manager->registeredHostBuildKey()), "42");
    EXPECT_EQ(manager->registeredHostBuildKey(), "org.quendal.Tarnel.daemon.org.quendal.Tarnel.Daemon.api19.registeredHostBuild");
    EXPECT_FALSE(manager->isRecovering());

    // Requires approval: recorded too, the end is accepted.
    registry->current = ServiceStatus::notRegistered();
    registry->afterRegister = ServiceStatus::requiresApproval();
    down();
    auto second = make("43");
    time.await(second->start());
    EXPECT_EQ(second->status.value(), DaemonStatus::requiresApproval);
    EXPECT_EQ(preferences->stringValue(second->registeredHostBuildKey()), "43");
}

TEST_F(Manager, AnUpdatedBuildFindsItsRegistrationStale)
{
    registry->current = ServiceStatus::enabled();
    preferences->set(make()->registeredHostBuildKey(), std::string("41"));
    auto manager = make("42");
    time.await(manager->start());
    EXPECT_TRUE(logged("Daemon registration is stale for host build 42, recovering..."));
    ASSERT_EQ(registry->unregistrations, 1);
    ASSERT_EQ(registry->registrations, 1);
    EXPECT_DOUBLE_EQ(registry->registeredAt[0] - registry->unregisteredAt[0], 0.5) << "0.5 s between the two";
    EXPECT_EQ(preferences->stringValue(manager->registeredHostBuildKey()), "42");

    // A raised interface version changes the key: nothing is stored under it, so it is stale.
    preferences->remove(manager->registeredHostBuildKey());
    EXPECT_TRUE(manager->isRegistrationStale());
    // Same build under the same key: not stale; an unknown build never is.
    manager->recordCurrentHostBuild();
    EXPECT_FALSE(manager->isRegistrationStale());
    EXPECT_FALSE(make("")->isRegistrationStale());
}

TEST_F(Manager, StatusTableAndTheRetryLoop)
{
    auto manager = make();
    // Requires approval while the endpoints answer: keep the session connected.
    registry->current = ServiceStatus::requiresApproval();
    time.await(manager->updateStatus());
    EXPECT_EQ(manager->status.value(), DaemonStatus::connected);
    EXPECT_TRUE(logged("Daemon service requires approval but XPC endpoints are reachable"));

    // Not registered after a connection was seen, with dead endpoints: unavailable, not onboarding.
    registry->current = ServiceStatus::notRegistered();
    down();
    time.clock().clearRequestedSleeps();
    auto evaluation = quendal::spawn(time.executor(), manager->updateStatus());
    time.runFor(10);
    EXPECT_TRUE(evaluation.isFinished());
    EXPECT_EQ(manager->status.value(), DaemonStatus::unavailable);
    auto sleeps = time.clock().requestedSleepSeconds();
    ASSERT_GE(sleeps.size(), 5u);
    EXPECT_EQ(std::vector<double>(sleeps.begin(), sleeps.begin() + 5), (std::vector<double>{0.25, 0.5, 1, 2, 3}))
        << "six probes over 6.75 s";
    EXPECT_TRUE(manager->retryLoopRunning());

    // The retry loop waits 5, 10, 20, 30, 60, 60 s between evaluations until the daemon is back.
    time.runFor(200);
    std::vector<double> waits;
    for (double s : time.clock().requestedSleepSeconds())
        if (s >= 5)
            waits.push_back(s);
    ASSERT_GE(waits.size(), 5u);
    EXPECT_EQ(std::vector<double>(waits.begin(), waits.begin() + 5), (std::vector<double>{5, 10, 20, 30, 60}));
    up();
    registry->current = ServiceStatus::enabled();
    time.runFor(120);
    EXPECT_EQ(manager->status.value(), DaemonStatus::connected);
    EXPECT_FALSE(manager->retryLoopRunning());

    // Another interface version is insecure at once, without six attempts.
    stats.version = 18;
    const int before = stats.probes;
    time.await(manager->updateStatus());
    EXPECT_EQ(manager->status.value(), DaemonStatus::insecure);
    EXPECT_EQ(stats.probes, before + 1);
    EXPECT_TRUE(logged("stats=insecure(stats API version 18 != expected 19)"));
}

TEST_F(Manager, ReinstallsAreSharedAndReadinessWaits)
{
    auto manager = make();
    registry->current = ServiceStatus::enabled();
    time.await(manager->updateStatus());
    ASSERT_EQ(manager->status.value(), DaemonStatus::connected);

    std::vector<bool> recoveringSeen;
    auto watch = manager->recovering.publisher().sink([&](bool r) { recoveringSeen.push_back(r); });
    auto first = quendal::spawn(time.executor(), manager->reinstall(true));
    auto second = quendal::spawn(time.executor(), manager->reinstall(false));
    time.run();
    EXPECT_TRUE(first.isFinished() && second.isFinished());
    EXPECT_EQ(registry->registrations, 1) << "one reinstall for both callers";
    EXPECT_EQ(registry->unregistrations, 1) << "the first caller's forceUnregister applied";
    EXPECT_EQ(recoveringSeen, (std::vector<bool>{false, true, false}));
    EXPECT_TRUE(logged("reusing existing task"));

    // Readiness: at once when connected, after 20 s when unavailable.
    time.clock().clearRequestedSleeps();
    time.await(manager->waitForClientReadiness());
    EXPECT_TRUE(time.clock().requestedSleepSeconds().empty());
    manager->status = DaemonStatus::unavailable;
    const double start = time.elapsedSeconds();
    time.await(manager->waitForClientReadiness());
    EXPECT_NEAR(time.elapsedSeconds() - start, 20.0, 1e-6);
    EXPECT_TRUE(logged("Timed out waiting for daemon readiness before stats request: status=unavailable"));

    // A failed reinstall reports its final status and the registration error.
    registry->afterRegister = ServiceStatus::notFound();
    down();
    try {
        time.await(manager->reinstall(false));
        ADD_FAILURE() << "the reinstall cannot end well";
    } catch (const DaemonInstallError& e) {
        // Not found after a connection was seen reads as a passing outage.
        EXPECT_EQ(e.status, DaemonStatus::unavailable);
        EXPECT_EQ(std::string(e.what()), "Daemon installation failed. Final status: unavailable");
    }
    EXPECT_FALSE(manager->isRecovering());
}
