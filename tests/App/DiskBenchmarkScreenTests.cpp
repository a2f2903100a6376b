// The benchmark screen in the main window: before, during and after a run of the real engine on
// small sizes, and with the stored runs of two drives, in light and dark. Screenshots reviewed.
#include "Benchmark/DiskBenchmarkScreen.h"
#include "QtExecutor.h"
#include "Shell/MainWindow.h"
#include "Shell/RootScreens.h"
#include "Theme/ThemeManager.h"

#include "App/Benchmark/DiskBenchmarkReports.h"
#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include "ChildProcess.h"
#include "Screenshots.h"
#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QPushButton>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

#include <condition_variable>

using namespace tarnel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
using tarnel::testing::save;
using tarnel::testing::waitFor;

namespace {

struct NoPrompts : BenchmarkPrompts {
    bool confirm(const std::string&, const std::string&, const std::string&, const std::string&) override { return false; }
    std::optional<fs::path> chooseDirectory(const std::string&, const fs::path&) override { return std::nullopt; }
    void showError(const std::string&, const std::string&) override {}
};

HardwareDiskCatalogItem disk(std::string id, std::string name, std::optional<std::string> parent = {})
{
    HardwareDiskCatalogItem d;
    d.identifier = std::move(id);
    d.name = std::move(name);
    d.parentIdentifier = std::move(parent);
    d.kind = d.parentIdentifier ? HardwareDiskKind::partition : HardwareDiskKind::drive;
    d.isInternal = true;
    d.isWritable = true;
    return d;
}

// Holds the engine inside a chosen pass until released.
struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    int passes = 0;
    int holdAt = -1;
    bool held = false;
    void pass()
    {
        std::unique_lock lock(mutex);
        if (++passes == holdAt) {
            held = true;
            changed.wait(lock, [this] { return holdAt < 0; });
            held = false;
        }
    }
    void release()
    {
        std::lock_guard lock(mutex);
        holdAt = -1;
        changed.notify_all();
    }
    bool isHeld()
    {
        std::lock_guard lock(mutex);
        return held;
    }
};

struct Machine {
    tarnel::testing::TemporaryDirectory folder;
    quendal::Preferences preferences{folder.path() / "preferences.json"};
    std::shared_ptr<HardwareCatalogStore> catalog;
    std::shared_ptr<DiskBenchmark> engine;
    Gate gate;

    Machine()
    {
        fs::create_directories(folder.path() / "volume");
        auto nvme = disk("nvme0n1", "Samsung SSD 980 PRO 1TB");
        nvme.driveKind = HardwareDriveKind::solidState;
        nvme.serialNumber = "S69ENF0R";
        nvme.sizeBytes = 1'000'204'886'016;
        nvme.childIdentifiers = {"nvme0n1p2"};
        auto root = disk("nvme0n1p2", "root", "nvme0n1");
        root.mountPoint = (folder.path() / "volume").string();
        root.freeBytes = 412'000'000'000;
        auto usb = disk("sdb", "SanDisk Extreme 55AE");
        usb.isInternal = false;
        usb.isRemovable = true;
        usb.sizeBytes = 500'107'862'016;
        HardwareCatalogSnapshot snapshot;
        snapshot.storage.disks = {nvme, root, usb};
        snapshot.generatedAt = Date{1};
        catalog = std::make_shared<HardwareCatalogStore>([snapshot]() -> asio::awaitable<HardwareCatalogSnapshot> { co_return snapshot; });

        // Passes of 64 KiB timed as a drive of about 3.4 GB/s writing and 6.1 GB/s reading would take.
        DiskBenchmark::Configuration c;
        c.dataSize = 64 * 1024;
        c.chunkSize = 8 * 1024;
        c.measuredSeconds = 0.00015;
        c.timeBlock = [this](const std::function<void()>& block) {
            block();
            gate.pass();
            const bool write = gate.passes % 2 == 1;
            return std::chrono::nanoseconds(write ? 19'200 + gate.passes * 40 : 10'700 + gate.passes * 20);
        };
        engine = DiskBenchmark::make(c);
    }

    std::shared_ptr<DiskBenchmarkProvider> provider()
    {
        DiskBenchmarkProvider::Sources s{engine, catalog, &preferences, std::make_shared<LocalFileSystemProbe>(),
                                         std::make_shared<NoPrompts>(), {}, [] { return Date::fromUnixSeconds(1'795'430'000); }};
        return std::make_shared<DiskBenchmarkProvider>(std::move(s), "nvme0n1");
    }
};

void saveBoth(gui::MainWindow& window, const std::string& name)
{
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    QTest::qWait(30);
    save(window, name);
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::dark);
    QTest::qWait(30);
    save(window, name + "-dark");
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

std::shared_ptr<Router> storageRouter()
{
    auto router = Router::make([] { return quendal::AsyncStream<StatsUpdateBatch>::make().first; });
    router->navigate(AppRoute::storage);
    return router;
}

// A main window on the storage route, which shows the benchmark screen of `provider`.
struct BenchmarkWindow {
    explicit BenchmarkWindow(const std::shared_ptr<DiskBenchmarkProvider>& provider)
        : window(storageRouter(), [this, provider](AppRoute route) -> QWidget* {
              if (route != AppRoute::storage)
                  return nullptr;
              screen = new gui::DiskBenchmarkScreen(provider);
              return screen;
          })
    {
        window.resize(1180, 860);
        window.show();
    }

    gui::DiskBenchmarkScreen* screen = nullptr;
    gui::MainWindow window;
};

} // namespace

int main(int argc, char** argv)
{
    tarnel::testing::WidgetTestOptions options;
    options.scrollBarStyle = false;
    return tarnel::testing::runWidgetTests(argc, argv, options);
}

TEST(DiskBenchmarkScreen, BeforeDuringAndAfterARun)
{
    Machine machine;
    auto provider = machine.provider();
    BenchmarkWindow shown(provider);
    auto& [screen, window] = shown;
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    ASSERT_TRUE(screen);
    ASSERT_TRUE(waitFor([&] { return screen->runButton()->isEnabled(); })) << "the drive is found once the catalogue is in";
    EXPECT_EQ(screen->runButton()->text(), "Run Benchmark");
    EXPECT_EQ(screen->driveMenu()->count(), 2);
    EXPECT_EQ(screen->driveMenu()->currentText(), "Samsung SSD 980 PRO 1TB (1 TB)");
    EXPECT_TRUE(screen->cards().empty());
    saveBoth(window, "benchmark-before");

    // Held inside the third pass: one write and one read are on the dials.
    machine.gate.holdAt = 3;
    QTest::mouseClick(screen->runButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return machine.gate.isHeld(); }));
    ASSERT_TRUE(waitFor([&] { return screen->readDial()->model().megabytesPerSecond > 0; }));
    EXPECT_FALSE(screen->runButton()->isEnabled());
    EXPECT_EQ(screen->runButton()->text(), "Running…");
    EXPECT_EQ(screen->writeDial()->state(), BenchmarkSpeedometerState::working);
    EXPECT_NEAR(screen->writeDial()->model().megabytesPerSecond, 65536e3 / 19'240, 0.01);
    EXPECT_NEAR(screen->readDial()->model().megabytesPerSecond, 65536e3 / 10'740, 0.01);
    saveBoth(window, "benchmark-during");

    machine.gate.release();
    ASSERT_TRUE(waitFor([&] { return screen->readDial()->state() == BenchmarkSpeedometerState::finished; }));
    machine.engine->waitUntilIdle();
    ASSERT_TRUE(waitFor([&] { return screen->cards().size() == 1; }));
    EXPECT_TRUE(screen->runButton()->isEnabled());
    const auto stored = DiskBenchmarkReportStore(machine.preferences).load();
    ASSERT_EQ(stored.size(), 1u);
    const auto& result = stored.at("Samsung SSD 980 PRO 1TB true S69ENF0R").results.at(0);
    EXPECT_DOUBLE_EQ(screen->writeDial()->model().megabytesPerSecond, static_cast<double>(result.write) / 1e6);
    EXPECT_FALSE(fs::exists(machine.folder.path() / "volume" / "BenchmarkTest"));
    saveBoth(window, "benchmark-after");
}

TEST(DiskBenchmarkScreen, TheStoredRunsOfTwoDrives)
{
    Machine machine;
    DiskBenchmarkReports reports;
    auto nvme = disk("nvme0n1", "Samsung SSD 980 PRO 1TB");
    nvme.serialNumber = "S69ENF0R";
    auto usb = disk("sdb", "SanDisk Extreme 55AE");
    usb.isInternal = false;
    const double day = 86'400;
    const double start = Date::fromUnixSeconds(1'795'000'000).secondsSinceReferenceDate;
    append(reports, nvme, {6'512'000'000, 3'401'000'000, Date{start}});
    append(reports, nvme, {6'630'000'000, 3'388'000'000, Date{start + 3 * day}});
    append(reports, nvme, {6'588'000'000, 3'415'000'000, Date{start + 9 * day + 3600}});
    append(reports, usb, {1'012'000'000, 934'000'000, Date{start + 2 * day}});
    append(reports, usb, {998'000'000, 921'000'000, Date{start + 5 * day}});
    DiskBenchmarkReportStore(machine.preferences).save(reports);

    auto provider = machine.provider();
    BenchmarkWindow shown(provider);
    auto& [screen, window] = shown;
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    ASSERT_TRUE(screen);
    ASSERT_TRUE(waitFor([&] { return screen->cards().size() == 5; }));
    const auto sections = provider->model.value().sections;
    ASSERT_EQ(sections.size(), 2u);
    EXPECT_EQ(sections[0].cards.front().subtitle, benchmarkDateText(Date{start + 9 * day + 3600})) << "newest first";
    EXPECT_EQ(sections[0].cards.front().values[0].value, "6.59 GB/s");
    EXPECT_EQ(sections[1].cards.front().image, "drive-removable-media");
    saveBoth(window, "benchmark-history");
}

TEST(DiskBenchmarkScreen, TheStorageEntryLeadsToTheBenchmark)
{
    std::unique_ptr<QWidget> screen(gui::rootScreen(AppRoute::storage));
    auto* benchmark = dynamic_cast<gui::DiskBenchmarkScreen*>(screen.get());
    ASSERT_TRUE(benchmark);
    EXPECT_EQ(benchmark->runButton()->text(), "Run Benchmark");
    EXPECT_FALSE(benchmark->runButton()->isEnabled()) << "no drive before the catalogue";
}

// The drive and its folder come from the catalogue of a real session daemon on this machine.
TEST(DiskBenchmarkScreen, ARunOnThisMachineTheDaemonDescribes)
{
    tarnel::testing::SessionStatsDaemon daemon;
    ASSERT_TRUE(daemon.isListening());
    daemon.installSharedClient();

    Machine machine;
    machine.catalog = std::make_shared<HardwareCatalogStore>(HardwareCatalogStore::daemonLoader());
    DiskBenchmarkProvider::Sources sources{machine.engine, machine.catalog, &machine.preferences,
                                           std::make_shared<LocalFileSystemProbe>(), std::make_shared<NoPrompts>(),
                                           defaultUserFolders(), &Date::now};
    auto provider = std::make_shared<DiskBenchmarkProvider>(std::move(sources), std::nullopt);
    provider->viewWillAppear();
    ASSERT_TRUE(waitFor([&] { return provider->drive().has_value(); }, 30000)) << "the drive of the home folder";
    const auto drive = *provider->drive();
    EXPECT_EQ(drive.kind, HardwareDiskKind::drive);

    provider->runBenchmark();
    ASSERT_TRUE(machine.engine->isRunning()) << "a folder on " << drive.name << " was found without asking";
    const auto folder = machine.engine->benchmarkDirectory().value().parent_path();
    const auto& storage = machine.catalog->snapshot.value().storage;
    bool onTheDrive = false;
    auto volumes = storage.descendants(drive);
    volumes.push_back(drive);
    for (const auto& volume : volumes)
        if (volume.mountPoint && LocalFileSystemProbe().sameFileSystem(folder, *volume.mountPoint))
            onTheDrive = true;
    EXPECT_TRUE(onTheDrive) << folder;
    ASSERT_TRUE(waitFor([&] { return provider->model.value().state == BenchmarkSpeedometerState::finished; }));
    machine.engine->waitUntilIdle();
    EXPECT_FALSE(fs::exists(folder / "BenchmarkTest"));
    const auto stored = DiskBenchmarkReportStore(machine.preferences).load();
    EXPECT_TRUE(stored.contains(reportKey(drive)));
    StatsClient::setShared(nullptr);
}
