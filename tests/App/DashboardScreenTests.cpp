// The Dashboard on screen: with live values from a real session daemon on this machine, and with
// the values of a laptop with a battery and a discrete GPU. Both screenshots are reviewed.
#include "Dashboard/DashboardCards.h"
#include "QtExecutor.h"
#include "Shell/MainWindow.h"
#include "Theme/ThemeManager.h"

#include "App/Dashboard/DashboardProvider.h"
#include "TarnelKit/Stats/StatsClient.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

using namespace tarnel;
using W = WidgetStatistic;

namespace {

std::filesystem::path screenshotDirectory()
{
    if (const char* chosen = std::getenv("TARNEL_SCREENSHOT_DIR"))
        return chosen;
    return tarnel::testing::binaryDirectory() / "screenshots";
}

void save(QWidget& widget, const std::string& name)
{
    std::filesystem::create_directories(screenshotDirectory());
    ASSERT_TRUE(widget.grab().save(QString::fromStdString((screenshotDirectory() / (name + ".png")).string())));
}

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

StatsValueSnapshot value(W statistic, std::optional<double> fraction, std::optional<double> v = std::nullopt)
{
    StatsValueSnapshot s;
    s.statistic = statistic;
    s.fraction = fraction;
    s.value = v;
    return s;
}

StatsProcessUsageSnapshot process(W statistic, std::string name, std::string path, double fraction, double bytes)
{
    StatsProcessUsageSnapshot p;
    p.statistic = statistic;
    p.name = std::move(name);
    p.path = std::move(path);
    p.fraction = fraction;
    p.value = bytes;
    return p;
}

// A laptop: an NVMe drive with two volumes, a battery, an integrated and a discrete GPU.
StatsUpdateBatch laptopBatch(int tick)
{
    StatsUpdateBatch b;
    const double wave = 0.5 + 0.35 * std::sin(tick / 6.0);
    b.services = {DaemonService::storageUsage, DaemonService::gpuUsage};
    b.values = {value(W::batteryCharge, 0.76), value(W::batteryHealth, 0.91), value(W::cpuUsage, wave * 0.6),
                value(W::cpuSystemUsage, wave * 0.2), value(W::cpuUserUsage, wave * 0.4), value(W::memoryPressure, 0.34),
                value(W::memorySwapFile, 0.05, 1.1e9), value(W::ramWired, 0.18, 2.9e9), value(W::ramActive, 0.31, 5.0e9),
                value(W::ramCompressed, 0.06, 0.96e9), value(W::ramAvailable, 0.45, 7.2e9)};
    StatsStorageVolumeSnapshot root;
    root.identifier = "/";
    root.name = "root";
    root.totalBytes = 1'000'204'886'016;
    root.usedBytes = 412'000'000'000;
    StatsStorageVolumeSnapshot usb = root;
    usb.identifier = "/media/user/BACKUP";
    usb.name = "BACKUP";
    usb.index = 3;
    usb.totalBytes = 256'000'000'000;
    usb.usedBytes = 98'000'000'000;
    b.storageVolumes = {root, usb};
    b.processUsages = {process(W::processCPUUsage, "firefox-esr", "/usr/lib/firefox-esr/firefox-esr", 0.23, 0),
                       process(W::processCPUUsage, "gnome-shell", "/usr/bin/gnome-shell", 0.08, 0),
                       process(W::processCPUUsage, "code", "/usr/share/code/code", 0.05, 0),
                       process(W::processCPUUsage, "kworker/u16:2", "", 0.02, 0),
                       process(W::processCPUUsage, "pipewire", "/usr/bin/pipewire", 0.01, 0),
                       process(W::processRAMUsage, "firefox-esr", "/usr/lib/firefox-esr/firefox-esr", 0.1, 1.9e9),
                       process(W::processRAMUsage, "code", "/usr/share/code/code", 0.06, 1.2e9),
                       process(W::processRAMUsage, "gnome-shell", "/usr/bin/gnome-shell", 0.03, 4.1e8),
                       process(W::processRAMUsage, "tarnel", "/usr/bin/tarnel", 0.01, 9.6e7),
                       process(W::processRAMUsage, "Xwayland", "/usr/bin/Xwayland", 0.01, 8.8e7)};
    StatsGPUUsageSnapshot integrated;
    integrated.index = 0;
    integrated.identifier = "0000:00:02.0";
    integrated.name = "Intel Iris Xe Graphics";
    integrated.usageFraction = 0.12 + 0.1 * wave;
    integrated.memoryUsedFraction = 0.21;
    integrated.coreClockUsedFraction = 0.35;
    integrated.temperatureCelsius = 52;
    StatsGPUUsageSnapshot discrete;
    discrete.index = 1;
    discrete.identifier = "0000:01:00.0";
    discrete.name = "AMD Radeon RX 6500M";
    discrete.usageFraction = 0.55 * wave;
    discrete.memoryUsedFraction = 0.42;
    discrete.coreClockUsedFraction = 0.61;
    discrete.memoryClockUsedFraction = 0.8;
    discrete.temperatureCelsius = 61.4;
    b.gpuUsages = {integrated, discrete};
    StatsTemperatureSnapshot cpu;
    cpu.statistic = W::cpuGroupTemperatureSensor;
    cpu.celsius = 57.2;
    b.temperatures = {cpu};
    return b;
}

HardwareCatalogSnapshot laptopCatalog()
{
    HardwareCatalogSnapshot catalog;
    HardwareDiskCatalogItem drive;
    drive.identifier = "nvme0n1";
    drive.name = "Samsung SSD 980 PRO 1TB";
    drive.kind = HardwareDiskKind::drive;
    drive.isInternal = true;
    drive.sizeBytes = 1'000'204'886'016;
    HardwareDiskCatalogItem root;
    root.identifier = "nvme0n1p2";
    root.name = "root";
    root.kind = HardwareDiskKind::volume;
    root.parentIdentifier = "nvme0n1";
    root.mountPoint = "/";
    catalog.storage.disks = {drive, root};
    HardwareGPUCatalogItem igpu;
    igpu.identifier = "0000:00:02.0";
    igpu.name = "Intel Iris Xe Graphics";
    igpu.kind = HardwareGPUKind::integrated;
    igpu.isLowPower = true;
    HardwareGPUCatalogItem dgpu = igpu;
    dgpu.index = 1;
    dgpu.identifier = "0000:01:00.0";
    dgpu.name = "AMD Radeon RX 6500M";
    dgpu.kind = HardwareGPUKind::discrete;
    dgpu.isLowPower = false;
    catalog.gpus = {igpu, dgpu};
    catalog.generatedAt = Date::now();
    return catalog;
}

SystemInventorySnapshot laptopInventory()
{
    SystemInventorySnapshot inventory;
    inventory.machine.appleProductName = "LENOVO ThinkPad P14s (Gen 3, 2022)";
    inventory.machine.modelIdentifier = "21AK0014GE";
    inventory.machine.serialNumber = "PF3XK2QZ";
    inventory.cpu.name = "12th Gen Intel(R) Core(TM) i7-1260P";
    inventory.memory.totalBytes = 16'000'000'000;
    inventory.operatingSystem.versionString = "Debian GNU/Linux 12 (bookworm)";
    inventory.operatingSystem.buildString = "6.1.0-27-amd64";
    inventory.generatedAt = Date::now();
    return inventory;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
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
    auto store = std::make_shared<DashboardDaemonStatsStore>(
        [](std::vector<W>, StatisticUpdateFrequency) { return quendal::AsyncStream<StatsUpdateBatch>::make().first; });
    for (int tick = 0; tick < 60; ++tick)
        store->apply(laptopBatch(tick));
    auto catalog = std::make_shared<HardwareCatalogStore>([]() -> asio::awaitable<HardwareCatalogSnapshot> { co_return laptopCatalog(); });
    auto inventory = std::make_shared<SystemInventoryStore>([]() -> asio::awaitable<SystemInventorySnapshot> { co_return laptopInventory(); });
    auto provider = std::make_shared<DashboardProvider>(DashboardProvider::Sources{
        store, catalog, inventory, nullptr, [](const StatsProcessUsageSnapshot& p) { return p.path.empty() ? "utilities-terminal" : p.name; },
        [] { return quendal::TemperatureUnitFormat::celsius; }});

    gui::MainWindow window(quietRouter(), [provider](AppRoute route) -> QWidget* {
        return route == AppRoute::dashboard ? gui::makeDashboardScreen(provider) : nullptr;
    });
    window.resize(1180, 900);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    ASSERT_TRUE(waitFor([&] { return inventory->snapshot.value().generatedAt != Date::distantPast(); }, 5000));
    QTest::qWait(100);
    const auto sections = provider->sections();
    ASSERT_EQ(sections[1].items.size(), 6u) << "battery, storage, CPU, RAM and two GPUs";
    EXPECT_EQ(sections[1].items[0].cellReuseIdentifier, "battery");
    const auto* header = sections[0].items[0].as<LargeEntityHeaderModel>();
    ASSERT_TRUE(header);
    EXPECT_EQ(header->sizeTitle, "2022") << "the first part of the parenthesis that holds a year";
    save(window, "dashboard-laptop");
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
    std::vector<std::string> kinds;
    for (const auto& item : sections[1].items)
        kinds.push_back(item.cellReuseIdentifier);
    EXPECT_EQ(kinds, (std::vector<std::string>{"storage", "cpu", "ram"})) << "no battery and no GPU on this machine";
    save(window, "dashboard-live");
}
