// The daemon onboarding sheet's model against a scripted manager, in virtual time.
#include "TarnelKit/Daemon/DaemonManager.h"
#include "TarnelKit/Onboarding/DaemonOnboardingView.h"

#include "FakeDaemonManager.h"
#include "TestSupport.h"
#include "ManagerEnvironment.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::testing;
using Kind = DaemonOnboardingPhase::Kind;

namespace {

struct Sheet {
    explicit Sheet(VirtualTime& time, DaemonStatus initial)
    {
        manager->status.set(initial);
        view = DaemonOnboardingView::make(manager, [this] { ++completions; },
                                          {time.executor(), time.clockPointer(), [this] { ++approvalPrompts; }});
        view->phase.publisher().sink([this](const DaemonOnboardingPhase&) { ++phasePublications; }).store(subscriptions);
    }
    std::shared_ptr<FakeDaemonManager> manager = std::make_shared<FakeDaemonManager>();
    std::shared_ptr<DaemonOnboardingView> view;
    int completions = 0;
    int approvalPrompts = 0;
    int phasePublications = 0;
    quendal::Cancellables subscriptions;
};

} // namespace

TEST(DaemonOnboarding, AConnectedDaemonCompletesAtOnceAndClosesOnceAfterThreeSeconds)
{
    VirtualTime time;
    Sheet sheet(time, DaemonStatus::connected);
    sheet.view->appear();
    EXPECT_EQ(sheet.view->phase.value().kind, Kind::completed);
    time.runFor(2.9);
    EXPECT_EQ(sheet.completions, 0);

    // Completed again (it leaves and comes back): the first delayed completion is cancelled.
    sheet.view->setPhase(DaemonOnboardingPhase::needsInstall(), "test");
    sheet.view->setPhase(DaemonOnboardingPhase::completed(), "test");
    time.runFor(2.9);
    EXPECT_EQ(sheet.completions, 0) << "the first 3 s wait was cancelled";
    time.run();
    EXPECT_EQ(sheet.completions, 1) << "onComplete runs once";
}

TEST(DaemonOnboarding, ApprovalShowsTheIntroFirstThenPollsWithoutAReinstall)
{
    VirtualTime time;
    Sheet sheet(time, DaemonStatus::requiresApproval);
    sheet.view->appear();
    EXPECT_EQ(sheet.view->phase.value(), DaemonOnboardingPhase::needsInstall()) << "the intro comes first";
    EXPECT_FALSE(sheet.view->isPolling());

    sheet.view->enableNow();
    EXPECT_EQ(sheet.view->phase.value().kind, Kind::awaitingApproval);
    EXPECT_EQ(sheet.manager->reinstallCount, 0) << "already registered: no reinstall";
    EXPECT_FALSE(sheet.view->isInstalling.value());
    EXPECT_TRUE(sheet.view->isPolling());

    time.runFor(3.5);
    EXPECT_EQ(sheet.manager->updateCount, 3) << "one status check a second while approval is awaited";

    sheet.view->disappear();
    EXPECT_FALSE(sheet.view->isPolling());
    time.runFor(5);
    EXPECT_EQ(sheet.manager->updateCount, 3) << "no polling while the sheet is away";
    sheet.view->appear();
    EXPECT_TRUE(sheet.view->isPolling()) << "coming back restarts the poll";

    sheet.view->openSettings();
    EXPECT_EQ(sheet.approvalPrompts, 1);

    // The administrator approves: the poll sees connected and the sheet completes.
    sheet.manager->nextStatuses = {DaemonStatus::connected};
    time.runFor(1.0);
    EXPECT_EQ(sheet.view->phase.value().kind, Kind::completed);
    EXPECT_FALSE(sheet.view->isPolling());
    time.runFor(3.0);
    EXPECT_EQ(sheet.completions, 1);
}

TEST(DaemonOnboarding, AFailedReinstallShowsItsErrorUntilALaterStatusClearsIt)
{
    VirtualTime time;
    Sheet sheet(time, DaemonStatus::notRegistered);
    sheet.manager->onReinstall = [] { throw std::runtime_error("pkexec was dismissed"); };
    sheet.view->appear();
    const int before = sheet.phasePublications;

    sheet.view->enableNow();
    EXPECT_TRUE(sheet.view->isInstalling.value());
    time.runFor(0.1);
    EXPECT_EQ(sheet.view->phase.value(), DaemonOnboardingPhase::needsInstall(DaemonSetupFailure::unknown))
        << "an error that is no failed installation is explained as unknown";
    EXPECT_TRUE(sheet.view->isInstalling.value()) << "the button waits half a second for a status change";
    time.runFor(0.5);
    EXPECT_FALSE(sheet.view->isInstalling.value()) << "enabled again for a retry";

    sheet.manager->status.set(DaemonStatus::unavailable);
    EXPECT_EQ(sheet.view->phase.value().failure, DaemonSetupFailure::unknown) << "unavailable changes nothing";
    sheet.manager->status.set(DaemonStatus::notRegistered);
    EXPECT_EQ(sheet.view->phase.value(), DaemonOnboardingPhase::needsInstall()) << "the error text goes";

    sheet.view->setPhase(DaemonOnboardingPhase::needsInstall(), "again");
    EXPECT_EQ(sheet.phasePublications, before + 2) << "setting the same phase twice publishes it once";
}

TEST(DaemonOnboarding, AMissingDaemonProgramIsExplainedAsSuchNotAsItsException)
{
    VirtualTime time;
    TemporaryDirectory folder;
    auto registry = std::make_shared<SessionServiceRegistry>(folder.path() / "no-such-tarneld", folder.path(), false,
                                                             time.clockPointer());
    auto unreachable = []() -> asio::awaitable<std::optional<int>> {
        throw std::runtime_error("connection refused");
        co_return std::nullopt;
    };
    auto manager = std::make_shared<DaemonManager>(
        tarnel::testing::managerEnvironment(registry, unreachable, folder.path(), time));
    time.await(manager->updateStatus());
    ASSERT_EQ(manager->status.value(), DaemonStatus::notFound);

    auto view = DaemonOnboardingView::make(manager, [] {}, {time.executor(), time.clockPointer(), nullptr});
    view->appear();
    view->enableNow();
    time.runFor(1.0);
    EXPECT_EQ(view->phase.value(), DaemonOnboardingPhase::needsInstall(DaemonSetupFailure::programMissing));
    EXPECT_FALSE(view->isInstalling.value()) << "Enable Now can be tried again";

    // Each way a reinstall ends has its own explanation.
    EXPECT_EQ(setupFailure(DaemonInstallError(DaemonStatus::notRegistered, "pkexec: dismissed")), DaemonSetupFailure::notStarted);
    EXPECT_EQ(setupFailure(DaemonInstallError(DaemonStatus::unavailable, std::nullopt)), DaemonSetupFailure::notAnswering);
    EXPECT_EQ(setupFailure(DaemonInstallError(DaemonStatus::insecure, std::nullopt)), DaemonSetupFailure::incompatible);
    EXPECT_EQ(setupFailure(std::runtime_error("anything else")), DaemonSetupFailure::unknown);
}
