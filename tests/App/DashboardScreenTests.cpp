// The Dashboard on screen: with live values from a real session daemon on this machine, and with
// the values of a laptop with a battery and a discrete GPU. Both screenshots are reviewed.
#include "Dashboard/DashboardCards.h"
#include "QtExecutor.h"
#include "Shell/MainWindow.h"
#include "Theme/ScrollBarStyle.h"
#include "Theme/ThemeManager.h"

#include "App/Dashboard/DashboardProvider.h"
#include "TarnelKit/Stats/StatsClient.h"

#include "ChildProcess.h"
#include "DashboardCardKinds.h"
#include "LaptopDashboardProvider.h"
#include "Screenshots.h"
#include "TestSupport.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

using namespace tarnel;
using W = WidgetStatistic;
namespace laptop = tarnel::testing::laptop;

namespace {

using tarnel::testing::save;

bool waitFor(const std::function<bool()>& ready, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!ready() && timer.elapsed() < milliseconds)
        QTest::qWait(50);
    return ready();
}

std::shared_ptr<Router> quietRouter()
{
    return Router::make([] { return quendal::AsyncStream<StatsUpdateBatch>::make().first; });
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    tarnel::gui::ScrollBarStyle::install(); // before any palette: a new style resets it
    tarnel::gui::QtMainContext context;
    quendal::Runtime::shared().setMainExecutor(tarnel::gui::QtExecutor(context));
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    StatsClient::setShared(nullptr);
    quendal::Runtime::shared().resetMainExecutor();
    return result;
}

TEST(DashboardScreen, ALaptopWithABatteryAndTwoGraphicsDevices)
{
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    const laptop::ProviderSetup setup =
        laptop::makeProvider(60, [](const StatsProcessUsageSnapshot& p) { return p.path.empty() ? "utilities-terminal" : p.name; });
    const auto& provider = setup.provider;
    const auto& inventory = setup.inventoryStore;

    gui::CollectionScreen* screen = nullptr;
    gui::MainWindow window(quietRouter(), [provider, &screen](AppRoute route) -> QWidget* {
        if (route != AppRoute::dashboard)
            return nullptr;
        screen = gui::makeDashboardScreen(provider);
        return screen;
    });
    window.resize(1180, 900);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    ASSERT_TRUE(waitFor([&] { return inventory->snapshot.value().generatedAt != Date::distantPast(); }, 5000));
    QTest::qWait(100);
    const auto sections = provider->sections();
    ASSERT_EQ(sections[1].items.size(), 6u) << "battery, storage, CPU, RAM and two GPUs";
    EXPECT_TRUE(sections[1].items[0].as<BatteryOverviewModel>());
    const auto* header = sections[0].items[0].as<LargeEntityHeaderModel>();
    ASSERT_TRUE(header);
    EXPECT_EQ(header->sizeTitle, "2022") << "the first part of the parenthesis that holds a year";
    save(window, "dashboard-laptop");

    // The cards follow a change of theme in place: the same card widgets, dark colours.
    ASSERT_TRUE(screen);
    const int reloads = screen->reloadCount();
    const int rebuilds = screen->rebuildCount();
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::dark);
    // The reload is queued behind the palette change: wait for the event loop, not a fixed time.
    EXPECT_TRUE(waitFor([&] { return screen->reloadCount() > reloads; }, 5000)) << "bound again at once";
    EXPECT_EQ(screen->rebuildCount(), rebuilds);
    save(window, "dashboard-laptop-dark");
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

TEST(DashboardScreen, LiveValuesFromTheSessionDaemonOnThisMachine)
{
    tarnel::testing::TemporaryDirectory sockets;
    const auto program = tarnel::testing::binaryDirectory() / "daemon" / "tarneld";
    tarnel::testing::ChildProcess daemon(program, {"--session", "--socket-dir", sockets.path().string()});
    const auto socket = sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock";
    ASSERT_TRUE(tarnel::testing::waitUntil([&] { return std::filesystem::exists(socket); }));

    StatsClient::Environment environment;
    const auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats", socket);
    environment.makeTransport = [endpoint] { return xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer()); };
    environment.executor = quendal::Runtime::shared().mainExecutor();
    environment.clock = quendal::Runtime::shared().clockPointer();
    StatsClient::setShared(std::make_shared<StatsClient>("stats", std::move(environment)));

    auto provider = DashboardProvider::make();
    gui::MainWindow window(quietRouter(), [provider](AppRoute route) -> QWidget* {
        return route == AppRoute::dashboard ? gui::makeDashboardScreen(provider) : nullptr;
    });
    window.resize(1180, 900);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    auto& store = provider->statsStore();
    ASSERT_TRUE(waitFor([&] { return store.cpuUsageHistory.size() >= 4 && !store.storageVolumes.empty(); }, 30000))
        << "batches with CPU samples and volumes arrive every 2 s; have " << store.cpuUsageHistory.size() << " CPU samples and "
        << store.storageVolumes.size() << " volumes";
    EXPECT_TRUE(store.value(W::memoryPressure)) << "this machine reports memory pressure";
    EXPECT_FALSE(store.processUsages[W::processCPUUsage].empty());
    const auto sections = provider->sections();
    EXPECT_EQ(tarnel::testing::cardKinds(sections[1]), (std::vector<std::string>{"storage", "cpu", "ram"})) << "no battery and no GPU on this machine";
    save(window, "dashboard-live");
}

TEST(DashboardScreen, ScrolledInBothThemesTheScrollBarAndLegendsShow)
{
    const laptop::ProviderSetup setup = laptop::makeProvider(60, [](const StatsProcessUsageSnapshot& p) { return p.name; });
    const auto& provider = setup.provider;
    gui::MainWindow window(quietRouter(), [provider](AppRoute route) -> QWidget* {
        return route == AppRoute::dashboard ? gui::makeDashboardScreen(provider) : nullptr;
    });
    window.show(); // at its minimum size: the cards do not fit
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    ASSERT_TRUE(waitFor([&] { return setup.inventoryStore->snapshot.value().generatedAt != Date::distantPast(); }, 5000));
    QTest::qWait(100);
    for (auto theme : {quendal::Theme::light, quendal::Theme::dark}) {
        gui::TarnelThemeManager::shared().setTheme(theme);
        QTest::qWait(50);
        QScrollBar* bar = nullptr;
        for (auto* candidate : window.findChildren<QScrollBar*>())
            if (candidate->orientation() == Qt::Vertical && candidate->isVisible() && candidate->maximum() > 0)
                bar = candidate;
        ASSERT_TRUE(bar) << "the Dashboard scrolls at the window's minimum size";
        bar->setValue(bar->maximum() / 2);
        QTest::qWait(50);
        EXPECT_GT(bar->value(), 0);
        save(window, theme == quendal::Theme::dark ? "dashboard-scrolled-dark" : "dashboard-scrolled-light");
    }
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}
