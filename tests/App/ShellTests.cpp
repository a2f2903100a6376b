// The application shell's start-up, routes and sidebar, driven without a display.
#include "App/Shell/AppCoordinator.h"
#include "App/Shell/AppDelegate.h"
#include "App/Shell/DiskImageCheck.h"
#include "App/Shell/SidebarMenu.h"

#include "FakeDaemonManager.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::testing;

namespace {

struct Sheet : quendal::SheetContent {
    quendal::SheetSize fittingSize() override { return {480, 360}; }
};

// The shell with every service counted; no window, so sheets stay queued.
struct Shell {
    explicit Shell(VirtualTime& time)
    {
        services.manager = manager;
        services.startManager = [this] { ++managerStarts; };
        services.observeWake = [this](std::function<void()> wake) {
            this->wake = std::move(wake);
            return quendal::Cancellable();
        };
        services.reconnectStatistics = [this] { ++reconnects; };
        services.refreshCatalogues = [this]() -> asio::awaitable<void> {
            ++catalogueRefreshes;
            co_return;
        };
        services.startPreloading = [this] { ++preloads; };
        services.uninstallLegacyFiles = []() -> asio::awaitable<void> { throw std::runtime_error("not permitted"); };
        services.showMainWindow = [this] { ++windowShows; };
        services.makeOnboardingSheet = [](std::function<void()>) { return std::make_shared<Sheet>(); };
        services.clock = time.clockPointer();
        services.executor = time.executor();
        auto sheets = quendal::SheetCoordinator::make(std::weak_ptr<quendal::SheetHost>(), {}, time.executor());
        navigator = sheets.navigator;
        coordinator = std::make_shared<AppCoordinator>(services, sheets);
    }
    bool daemonSheetQueued() const { return navigator->current() == quendal::AnyRoute(OnboardingRoute::daemon); }

    std::shared_ptr<FakeDaemonManager> manager = std::make_shared<FakeDaemonManager>();
    ShellServices services;
    std::shared_ptr<quendal::QueueNavigator> navigator;
    std::shared_ptr<AppCoordinator> coordinator;
    std::function<void()> wake;
    int managerStarts = 0, reconnects = 0, catalogueRefreshes = 0, preloads = 0, windowShows = 0;
};

StatsUpdateBatch batch(bool withBattery)
{
    StatsUpdateBatch b;
    if (withBattery)
        b.battery = StatsBatterySnapshot{};
    return b;
}

} // namespace

TEST(AppShell, LaunchAtLoginShowsNoWindowUntilReopenAndASecondStartChangesNothing)
{
    VirtualTime time;
    Shell shell(time);
    shell.coordinator->start(true);
    EXPECT_EQ(shell.windowShows, 0) << "launched at login: the window waits";
    EXPECT_EQ(shell.managerStarts, 1);
    shell.coordinator->reopen(true);
    EXPECT_EQ(shell.windowShows, 0) << "a visible window: nothing new";
    shell.coordinator->reopen(false);
    EXPECT_EQ(shell.windowShows, 1);

    shell.coordinator->start(false);
    EXPECT_EQ(shell.managerStarts, 1) << "a second start does nothing";
    EXPECT_EQ(shell.windowShows, 1);
}

TEST(AppShell, StartupTasksRunOnceAcrossConnectionFlips)
{
    VirtualTime time;
    Shell shell(time);
    shell.coordinator->start(false);
    time.poll();
    EXPECT_EQ(shell.preloads, 0) << "waiting for a connected daemon";
    for (auto s : {DaemonStatus::unavailable, DaemonStatus::connected, DaemonStatus::unavailable, DaemonStatus::connected}) {
        shell.manager->status.set(s);
        time.poll();
    }
    EXPECT_EQ(shell.coordinator->startupTaskRuns(), 1);
    EXPECT_EQ(shell.preloads, 1) << "and a failing legacy clean-up is dropped";

    VirtualTime again;
    Shell connected(again);
    connected.manager->status.set(DaemonStatus::connected);
    connected.coordinator->start(false);
    again.poll();
    EXPECT_EQ(connected.preloads, 1) << "already connected: the tasks run without a status change";
}

TEST(AppShell, TheOnboardingSheetWaitsTwoSecondsAndNeverComesDuringRecovery)
{
    VirtualTime time;
    Shell shell(time);
    shell.coordinator->start(false);
    shell.manager->status.set(DaemonStatus::notRegistered);
    time.runFor(1.5);
    shell.manager->status.set(DaemonStatus::connected);
    time.runFor(5);
    EXPECT_FALSE(shell.navigator->current()) << "connected within 2 s: no sheet";

    shell.manager->recovering.set(true);
    shell.manager->status.set(DaemonStatus::insecure);
    time.runFor(5);
    EXPECT_FALSE(shell.navigator->current()) << "no sheet while recovering";

    shell.manager->recovering.set(false);
    time.runFor(1.9);
    EXPECT_FALSE(shell.navigator->current());
    time.runFor(0.2);
    EXPECT_TRUE(shell.daemonSheetQueued()) << "recovery over with a status the user must act on: queued after 2 s";
    EXPECT_GE(shell.manager->updateCount, 1) << "the status was checked again before queueing";

    shell.manager->status.set(DaemonStatus::connected);
    time.poll();
    EXPECT_TRUE(shell.daemonSheetQueued()) << "a sheet at the head finishes itself";
}

TEST(AppShell, WakeReconnectsStreamsButRefreshesCataloguesOnlyWhenConnected)
{
    VirtualTime time;
    Shell shell(time);
    shell.coordinator->start(false);
    ASSERT_TRUE(shell.wake);
    shell.manager->status.set(DaemonStatus::unavailable);
    shell.wake();
    time.run();
    EXPECT_EQ(shell.reconnects, 1);
    EXPECT_EQ(shell.catalogueRefreshes, 0);

    shell.manager->nextStatuses = {DaemonStatus::connected};
    shell.wake();
    time.run();
    EXPECT_EQ(shell.reconnects, 2);
    EXPECT_EQ(shell.catalogueRefreshes, 1);
}

TEST(AppShell, LaunchRecordAndTheDiskImageRefusal)
{
    VirtualTime time;
    Shell shell(time);
    LaunchHost host;
    host.executable = "/tmp/.mount_TarnelX/usr/bin/tarnel";
    host.version = "1.0";
    host.operatingSystem = "Debian GNU/Linux 12";
    EXPECT_EQ(AppDelegate::launchRecord(host),
              "Tarnel 1.0 (?) launched from /tmp/.mount_TarnelX/usr/bin/tarnel; minimumSystem=?; os=Debian GNU/Linux 12; "
              "launchedAtLogin=false");

    std::vector<platform::MountEntry> mounts(3);
    mounts[0].mountPoint = "/";
    mounts[0].fileSystemType = "ext4";
    mounts[1].mountPoint = "/tmp/.mount_TarnelX";
    mounts[1].fileSystemType = "fuse.Tarnel-x86_64.AppImage";
    mounts[2].mountPoint = "/media/cdrom";
    mounts[2].fileSystemType = "iso9660";
    EXPECT_TRUE(isOnDiskImage(host.executable, mounts));
    EXPECT_TRUE(isOnDiskImage("/media/cdrom/tarnel", mounts));
    EXPECT_FALSE(isOnDiskImage("/tmp/.mount_TarnelXY/tarnel", mounts)) << "a mount point is matched by whole names";
    EXPECT_FALSE(isOnDiskImage("/usr/bin/tarnel", mounts));

    std::string alert;
    bool terminated = false;
    host.isOnDiskImage = [&](const std::filesystem::path& p) { return isOnDiskImage(p, mounts); };
    host.showCriticalAlert = [&](const std::string& message, const std::string&) { alert = message; };
    host.terminate = [&] { terminated = true; };
    AppDelegate delegate(host, shell.coordinator);
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(alert, "Install Tarnel");
    EXPECT_TRUE(terminated);
    EXPECT_EQ(shell.managerStarts, 0) << "no daemon work from a disk image";
}

TEST(AppShell, BatteryRowFollowsTheBatchesWithoutMovingTheUser)
{
    VirtualTime time;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> feed;
    std::vector<std::string> events;
    auto router = Router::make(
        [&] {
            auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
            feed = continuation;
            return stream;
        },
        [&](const std::string& event, const std::map<std::string, std::string>& properties) {
            events.push_back(event + ":" + properties.at("route_id"));
        });
    SidebarMenu sidebar(router);
    auto hardwareRows = [&] {
        for (const auto& section : sidebar.sections.value())
            if (section.id == "hardware")
                return section.routes;
        return std::vector<AppRoute>{};
    };
    EXPECT_EQ(hardwareRows(), (std::vector{AppRoute::storage, AppRoute::graphics, AppRoute::cooling}))
        << "no Battery row before the first batch";
    ASSERT_EQ(sidebar.sections.value().back().id, "settings") << "settings pinned to the bottom";

    feed->yield(batch(true));
    time.poll();
    EXPECT_EQ(hardwareRows().back(), AppRoute::battery);
    router->navigate(AppRoute::battery);
    router->push(SubRoute::diskHealth("nvme0n1"));

    feed->yield(batch(false));
    time.poll();
    EXPECT_EQ(hardwareRows().size(), 3u) << "the battery vanished: its row goes";
    EXPECT_EQ(router->route.value(), AppRoute::battery) << "the user is not moved away";
    EXPECT_EQ(router->path.value().size(), 1u);

    router->navigate(AppRoute::battery);
    EXPECT_TRUE(router->path.value().empty()) << "navigating to the current route clears the path";
    EXPECT_EQ(events, (std::vector<std::string>{"route_changed:battery", "route_changed:battery"}));
    EXPECT_EQ(sidebar.currentRoute.value(), AppRoute::battery);

    const auto rows = sidebar.items(sidebar.sections.value().back());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].symbol, "megaphone") << "feedback's icon is a symbol";
    EXPECT_EQ(rows[1].icon, "settings");
    EXPECT_EQ(rows[1].title, "Settings");

    feed->finish(std::make_exception_ptr(std::runtime_error("daemon gone")));
    time.poll();
    EXPECT_FALSE(router->isWatchingBattery()) << "an error ends the watch";
    EXPECT_EQ(router->routes.value(), Router::routesFor(false)) << "and the last routes stay";
}
