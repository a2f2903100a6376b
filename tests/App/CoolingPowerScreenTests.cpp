// The Cooling and Power screens fed by a real session daemon serving recorded machines and this
// machine itself. Every screenshot is reviewed: light and dark, Celsius and Fahrenheit.
#include "Cooling/CoolingCards.h"
#include "Power/PowerCards.h"
#include "QtExecutor.h"
#include "Shell/MainWindow.h"
#include "Shell/SidebarView.h"
#include "Theme/ThemeManager.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "ChildProcess.h"
#include "Screenshots.h"
#include "WidgetTestSupport.h"
#include "TestSupport.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

using namespace tarnel;
using tarnel::testing::save;
using Unit = quendal::TemperatureUnitFormat;

namespace {

bool waitFor(const std::function<bool()>& ready, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!ready() && timer.elapsed() < milliseconds)
        QTest::qWait(50);
    return ready();
}

// A session daemon on its own sockets, serving `root` (or this machine), as the shared client's peer.
class SessionDaemon {
public:
    explicit SessionDaemon(std::optional<std::string> fixture)
    {
        std::vector<std::string> arguments{"--session", "--socket-dir", sockets_.path().string(), "--base-interval", "0.05"};
        if (fixture) {
            arguments.push_back("--root");
            arguments.push_back((tarnel::testing::sourceDirectory() / "tests" / "fixtures" / *fixture).string());
        }
        process_.emplace(tarnel::testing::binaryDirectory() / "daemon" / "tarneld", arguments);
        const auto socket = sockets_.path() / "org.quendal.Tarnel.Daemon.stats.sock";
        ready = tarnel::testing::waitUntil([&] { return std::filesystem::exists(socket); });
        StatsClient::Environment environment;
        const auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats", socket);
        environment.makeTransport = [endpoint] { return xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer()); };
        environment.executor = quendal::Runtime::shared().mainExecutor();
        environment.clock = quendal::Runtime::shared().clockPointer();
        StatsClient::setShared(std::make_shared<StatsClient>("stats", std::move(environment)));
    }
    ~SessionDaemon() { StatsClient::setShared(nullptr); }
    bool ready = false;

private:
    tarnel::testing::TemporaryDirectory sockets_;
    std::optional<tarnel::testing::ChildProcess> process_;
};

// Both screens of one machine in a main window, with the unit the test picks.
struct Screens {
    explicit Screens(bool hasBattery)
    {
        auto [stream, continuation] = quendal::AsyncStream<StatsUpdateBatch>::make();
        batteryFeed = continuation;
        if (hasBattery) {
            StatsUpdateBatch batch;
            batch.battery = StatsBatterySnapshot{};
            batteryFeed->yield(batch);
        }
        router = Router::make([stream = std::make_shared<quendal::AsyncStream<StatsUpdateBatch>>(std::move(stream))] {
            return std::move(*stream);
        });
        auto updates = [](std::vector<WidgetStatistic> statistics, StatisticUpdateFrequency frequency) {
            return StatsClient::sharedUpdates(statistics, frequency);
        };
        cache = std::make_shared<CoolingStatsCache>(updates);
        // A new provider for each screen, as the application makes them; the cache is shared.
        window = std::make_unique<gui::MainWindow>(router, [this](AppRoute route) -> QWidget* {
            auto unitOf = [this] { return unit; };
            if (route == AppRoute::cooling) {
                cooling = std::make_shared<CoolingEntitiesProvider>(CoolingEntitiesProvider::Sources{cache, unitOf});
                return current = gui::makeCoolingScreen(cooling);
            }
            if (route == AppRoute::battery) {
                power = std::make_shared<PowerEntitiesProvider>(PowerEntitiesProvider::Sources{
                    [] { return StatsClient::sharedUpdates(std::set<DaemonService>{DaemonService::battery}, StatisticUpdateFrequency::slow); },
                    unitOf});
                return current = gui::makePowerScreen(power);
            }
            return nullptr;
        });
        window->resize(1180, 860);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    void open(AppRoute route)
    {
        QTest::qWait(50);
        auto* row = window->sidebar().row(route);
        ASSERT_TRUE(row) << "the sidebar offers the route";
        QTest::mouseClick(row, Qt::LeftButton);
        QTest::qWait(50);
    }
    // Light in Celsius, then dark in Fahrenheit.
    void shoot(const std::string& name)
    {
        // Enough readings for the charts to show a line.
        waitFor([this] {
            const auto snapshot = cache->snapshot.value();
            if (snapshot.received && snapshot.temperatureReadings.empty())
                return true; // a machine without sensors draws no chart
            return !snapshot.temperatureReadings.empty() && snapshot.temperatureReadings.begin()->second.size() >= 40;
        }, 30000);
        gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
        unit = Unit::celsius;
        current->reload();
        QTest::qWait(100);
        save(*window, name + "-light-celsius");
        gui::TarnelThemeManager::shared().setTheme(quendal::Theme::dark);
        unit = Unit::fahrenheit;
        current->reload();
        QTest::qWait(100);
        save(*window, name + "-dark-fahrenheit");
        gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
        unit = Unit::celsius;
    }
    std::vector<std::string> sectionIds(CollectionEntitiesProvider& provider)
    {
        std::vector<std::string> ids;
        for (const auto& s : provider.sections())
            ids.push_back(s.identifier);
        return ids;
    }

    Unit unit = Unit::celsius;
    std::optional<quendal::AsyncStream<StatsUpdateBatch>::Continuation> batteryFeed;
    std::shared_ptr<Router> router;
    std::shared_ptr<CoolingStatsCache> cache;
    std::shared_ptr<CoolingEntitiesProvider> cooling;
    std::shared_ptr<PowerEntitiesProvider> power;
    gui::CollectionScreen* current = nullptr;
    std::unique_ptr<gui::MainWindow> window;
};

} // namespace

int main(int argc, char** argv)
{
    tarnel::testing::WidgetTestOptions options;
    options.scrollBarStyle = false;
    options.afterTests = [] { StatsClient::setShared(nullptr); };
    return tarnel::testing::runWidgetTests(argc, argv, options);
}

TEST(CoolingPowerScreens, TheRecordedLaptop)
{
    SessionDaemon daemon("laptop");
    ASSERT_TRUE(daemon.ready);
    Screens s(true);
    s.open(AppRoute::cooling);
    ASSERT_TRUE(waitFor([&] { return s.cache->snapshot.value().received && !s.cooling->sections().empty()
                                      && s.cooling->sections()[0].identifier == "fans"; }, 20000));
    const auto sections = s.cooling->sections();
    ASSERT_EQ(sections.size(), 2u) << "the laptop has a fan and sensors";
    ASSERT_EQ(sections[0].items.size(), 1u);
    const auto* fan = sections[0].items[0].as<FanViewItemModel>();
    ASSERT_TRUE(fan);
    EXPECT_TRUE(fan->currentRpm);
    EXPECT_FALSE(sections[1].items.empty());
    s.shoot("cooling-laptop");

    s.open(AppRoute::battery);
    ASSERT_TRUE(waitFor([&] { return s.power->battery().has_value(); }, 20000));
    EXPECT_EQ(s.sectionIds(*s.power), (std::vector<std::string>{"header", "health", "information"}));
    const auto& battery = *s.power->battery();
    EXPECT_EQ(battery.designCapacity, 4922) << "energy through the design voltage";
    EXPECT_EQ(battery.cycleCount, 213);
    EXPECT_EQ(s.power->healthCard(battery).title, "92\u2008%");
    EXPECT_EQ(battery.healthStatus, StatsBatteryHealthStatus::medium);
    s.shoot("power-laptop");

    const auto samplesBefore = s.cache->snapshot.value().fanReadings.begin()->second.current.size();
    s.open(AppRoute::cooling);
    const auto back = s.cooling->sections();
    ASSERT_FALSE(back.empty());
    const auto* again = back[0].items.at(0).as<FanViewItemModel>();
    ASSERT_TRUE(again);
    EXPECT_TRUE(again->currentRpm) << "the new screen shows the kept reading at once";
    EXPECT_GE(s.cache->snapshot.value().fanReadings.begin()->second.current.size(), samplesBefore)
        << "the cache kept its histories while away, and a new screen shows them at once";
}

TEST(CoolingPowerScreens, TheRecordedDesktopAndWorkstation)
{
    for (const std::string machine : {"desktop", "workstation"}) {
        SCOPED_TRACE(machine);
        SessionDaemon daemon(machine);
        ASSERT_TRUE(daemon.ready);
        Screens s(false);
        s.open(AppRoute::cooling);
        ASSERT_TRUE(waitFor([&] { return !s.cache->snapshot.value().latestTemperatures.empty(); }, 20000));
        QTest::qWait(600);
        const auto ids = s.sectionIds(*s.cooling);
        if (machine == "desktop")
            EXPECT_EQ(ids, (std::vector<std::string>{"fans", "temperatures"})) << "graphics and board fans";
        else
            EXPECT_EQ(ids, std::vector<std::string>{"temperatures"}) << "no fan reported: no fan section";
        EXPECT_EQ(s.window->sidebar().row(AppRoute::battery), nullptr) << "no battery, no Battery row";
        s.shoot("cooling-" + machine);
    }
}

TEST(CoolingPowerScreens, EmptyStatesOnThisMachine)
{
    SessionDaemon daemon(std::nullopt);
    ASSERT_TRUE(daemon.ready);
    Screens s(true);
    s.open(AppRoute::cooling);
    ASSERT_TRUE(waitFor([&] { return s.cache->snapshot.value().received; }, 20000));
    const auto cooling = s.cooling->sections();
    ASSERT_EQ(cooling.size(), 1u);
    ASSERT_TRUE(cooling[0].items[0].as<CoolingNoticeModel>()) << "this machine has no hwmon";
    s.shoot("cooling-empty");

    s.open(AppRoute::battery);
    ASSERT_TRUE(waitFor([&] {
        const auto sections = s.power->sections();
        const auto* notice = sections.at(0).items.at(0).as<PowerNoticeModel>();
        return notice && notice->text == "This computer reports no internal battery.";
    }, 20000));
    EXPECT_FALSE(s.power->battery());
    s.shoot("power-empty");
}
