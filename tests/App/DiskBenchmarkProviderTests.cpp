// The benchmark screen's model: the stored reports, where a run goes, and what a run leaves on
// screen and in the preferences, with the real engine on small sizes in a temporary folder.
#include "App/Benchmark/BenchmarkTarget.h"
#include "App/Benchmark/DiskBenchmarkProvider.h"
#include "App/Benchmark/DiskBenchmarkReports.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <thread>

using namespace tarnel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
using namespace tarnel::testing;

namespace {

HardwareDiskCatalogItem item(std::string id, std::optional<std::string> parent, std::optional<std::string> mount,
                             std::optional<std::uint64_t> freeBytes, bool writable = true)
{
    HardwareDiskCatalogItem i;
    i.identifier = std::move(id);
    i.parentIdentifier = std::move(parent);
    i.name = i.identifier;
    i.mountPoint = std::move(mount);
    i.freeBytes = freeBytes;
    i.isWritable = writable;
    i.kind = i.parentIdentifier ? HardwareDiskKind::partition : HardwareDiskKind::drive;
    return i;
}

HardwareStorageCatalog tree(std::vector<HardwareDiskCatalogItem> items)
{
    for (auto& parent : items)
        for (const auto& child : items)
            if (child.parentIdentifier == parent.identifier)
                parent.childIdentifiers.push_back(child.identifier);
    return {std::move(items)};
}

// A file system described by sets of paths.
struct FakeProbe : FileSystemProbe {
    std::set<fs::path> writable;
    std::map<fs::path, std::string> device;
    std::set<fs::path> network;
    bool isWritableDirectory(const fs::path& p) const override { return writable.contains(p); }
    bool sameFileSystem(const fs::path& a, const fs::path& b) const override
    {
        auto of = [this](const fs::path& p) {
            for (fs::path at = p;; at = at.parent_path()) {
                if (auto found = device.find(at); found != device.end())
                    return found->second;
                if (at == at.parent_path())
                    return std::string("root");
            }
        };
        return of(a) == of(b);
    }
    bool isNetworkFileSystem(const fs::path& p) const override { return network.contains(p); }
};

struct FakePrompts : BenchmarkPrompts {
    std::vector<bool> confirmations;
    std::vector<std::optional<fs::path>> choices;
    std::vector<std::string> asked;
    std::vector<std::string> errors;
    bool confirm(const std::string& title, const std::string&, const std::string& accept, const std::string&) override
    {
        asked.push_back(title + " / " + accept);
        if (confirmations.empty())
            return false;
        const bool answer = confirmations.front();
        confirmations.erase(confirmations.begin());
        return answer;
    }
    std::optional<fs::path> chooseDirectory(const std::string& title, const fs::path&) override
    {
        asked.push_back(title);
        if (choices.empty())
            return std::nullopt;
        auto choice = choices.front();
        choices.erase(choices.begin());
        return choice;
    }
    void showError(const std::string& informative, const std::string& message) override
    {
        errors.push_back(informative + ": " + message);
    }
};

// A machine with one drive whose only volume is mounted on a temporary folder.
struct Bench {
    VirtualTime time;
    TemporaryDirectory folder;
    quendal::Preferences preferences{folder.path() / "preferences.json"};
    std::shared_ptr<DiskBenchmark> engine;
    std::shared_ptr<HardwareCatalogStore> catalog;
    std::shared_ptr<FakePrompts> prompts = std::make_shared<FakePrompts>();
    double now = 800'000'000;

    explicit Bench(std::uint64_t freeBytes = 6'000'000'000)
    {
        fs::create_directories(folder.path() / "volume");
        DiskBenchmark::Configuration c;
        c.dataSize = 32 * 1024;
        c.chunkSize = 4096;
        c.clock = time.clockPointer();
        c.updateExecutor = time.executor();
        c.timeBlock = [](const std::function<void()>& block) {
            block();
            return std::chrono::nanoseconds(40s);
        };
        engine = DiskBenchmark::make(c);
        auto drive = item("sda", std::nullopt, std::nullopt, std::nullopt);
        drive.name = "Samsung SSD 870";
        drive.serialNumber = "S5Y1";
        drive.isInternal = true;
        HardwareCatalogSnapshot snapshot;
        snapshot.storage = tree({drive, item("sda1", "sda", (folder.path() / "volume").string(), freeBytes)});
        snapshot.generatedAt = Date{1};
        catalog = std::make_shared<HardwareCatalogStore>([snapshot]() -> asio::awaitable<HardwareCatalogSnapshot> { co_return snapshot; });
    }

    std::shared_ptr<DiskBenchmarkProvider> provider(std::optional<std::string> disk = "sda")
    {
        DiskBenchmarkProvider::Sources s{engine, catalog, &preferences, std::make_shared<LocalFileSystemProbe>(), prompts, {},
                                         [this] { return Date{now}; }};
        return std::make_shared<DiskBenchmarkProvider>(std::move(s), std::move(disk));
    }

    void runToTheEnd(DiskBenchmarkProvider& p)
    {
        p.runBenchmark();
        ASSERT_TRUE(pumpUntil(time, [&] { return p.model.value().state != BenchmarkSpeedometerState::working; }));
        engine->waitUntilIdle();
    }
};

} // namespace

TEST(DiskBenchmarkReports, KeysEncodingAndUndecodableEntries)
{
    auto drive = item("sda", std::nullopt, std::nullopt, std::nullopt);
    drive.name = "WD Blue";
    EXPECT_EQ(reportKey(drive), "WD Blue false unknown_serial");
    drive.isInternal = true;
    drive.serialNumber = "X1";
    EXPECT_EQ(reportKey(drive), "WD Blue true X1");

    DiskBenchmarkReports reports;
    append(reports, drive, {100, 200, Date{10.5}});
    append(reports, drive, {300, 400, Date{20}});
    EXPECT_EQ(encodeReports(reports),
              R"({"WD Blue true X1":{"diskModel":"WD Blue","isInternal":true,"results":[)"
              R"({"read":100,"write":200,"date":10.5},{"read":300,"write":400,"date":20.0}]}})");
    EXPECT_EQ(decodeReports(encodeReports(reports)), reports);
    EXPECT_FALSE(decodeReports("[1,2]"));
    EXPECT_FALSE(decodeReports(R"({"k":{"diskModel":"x","isInternal":true,"results":[{"read":-1,"write":2,"date":0}]}})"));
    EXPECT_FALSE(decodeReports("{not json"));

    TemporaryDirectory folder;
    quendal::Preferences preferences(folder.path() / "p.json");
    DiskBenchmarkReportStore store(preferences);
    EXPECT_TRUE(store.load().empty());
    preferences.setJson(DiskBenchmarkReportStore::key, R"({"k":"not a report"})");
    EXPECT_TRUE(store.load().empty());
    EXPECT_EQ(preferences.jsonValue(DiskBenchmarkReportStore::key), R"({"k":"not a report"})") << "kept until overwritten";
    store.save(reports);
    EXPECT_EQ(DiskBenchmarkReportStore(preferences).load(), reports);
}

TEST(BenchmarkTarget, VolumesNeedMoreThanFiveGigabytesAndAWritableFolderOfTheirOwn)
{
    FakeProbe probe;
    const auto storage = tree({item("sda", std::nullopt, std::nullopt, std::nullopt),
                               item("sda1", "sda", "/boot", 9'000'000'000, false),
                               item("sda2", "sda", "/", 5'000'000'000),
                               item("sda3", "sda", "/data", 5'000'000'001),
                               item("sda4", "sda", "/net", 90'000'000'000)});
    const auto& drive = storage.disks[0];
    probe.writable = {"/", "/boot", "/tmp"};
    EXPECT_FALSE(automaticTarget(storage, drive, probe, {})) << "exactly 5 GB is refused, read-only and unwritable are skipped";

    probe.writable.insert("/data/tmp");
    probe.device["/data"] = "sda3";
    probe.device["/data/tmp"] = "tmpfs";
    EXPECT_FALSE(automaticTarget(storage, drive, probe, {})) << "a tmp on another file system measures that one";

    probe.device.erase("/data/tmp");
    EXPECT_EQ(automaticTarget(storage, drive, probe, {}), fs::path("/data/tmp")) << "one byte more is enough";

    probe.writable.insert("/data/var/tmp");
    EXPECT_EQ(automaticTarget(storage, drive, probe, {}), fs::path("/data/var/tmp"));

    // A root the user cannot write still qualifies through the user's folder on it.
    probe.writable = {"/data/home/ann"};
    EXPECT_EQ(automaticTarget(storage, drive, probe, {"/data/home/ann", "/elsewhere"}), fs::path("/data/home/ann"));

    // Networked volumes never, however much room they have.
    auto networked = storage;
    networked.disks[4].filesystemName = "nfs4";
    probe.writable = {"/net"};
    EXPECT_FALSE(automaticTarget(networked, drive, probe, {}));
    probe.network = {"/net"};
    EXPECT_FALSE(automaticTarget(storage, drive, probe, {}));

    // A picked folder: itself, else its tmp, no free-space test.
    probe.writable = {"/media/usb/tmp"};
    EXPECT_EQ(chosenTarget("/media/usb", probe), fs::path("/media/usb/tmp"));
    probe.writable.insert("/media/usb");
    EXPECT_EQ(chosenTarget("/media/usb", probe), fs::path("/media/usb"));
    EXPECT_FALSE(chosenTarget("/media/other", probe));
    EXPECT_FALSE(chosenTarget("", probe));
}

TEST(DiskBenchmarkProvider, RunsAccumulateInOneReportNewestFirstAndAreStored)
{
    Bench bench;
    auto provider = bench.provider();
    EXPECT_FALSE(provider->model.value().runEnabled) << "no drive before the catalogue";
    provider->viewWillAppear();
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return provider->drive().has_value(); }));
    auto model = provider->model.value();
    EXPECT_EQ(model.title, "Benchmark");
    EXPECT_EQ(model.runTitle, "Run Benchmark");
    EXPECT_TRUE(model.runEnabled);
    EXPECT_TRUE(model.sections.empty());

    provider->runBenchmark();
    model = provider->model.value();
    EXPECT_EQ(model.state, BenchmarkSpeedometerState::working);
    EXPECT_EQ(model.runTitle, "Running…");
    EXPECT_FALSE(model.runEnabled);
    EXPECT_EQ(bench.engine->benchmarkDirectory(), bench.folder.path() / "volume" / "BenchmarkTest")
        << "the run goes onto the drive's volume";
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return provider->model.value().state == BenchmarkSpeedometerState::finished; }));
    bench.engine->waitUntilIdle();
    model = provider->model.value();
    // 32 KiB in 40 s.
    EXPECT_DOUBLE_EQ(model.read.megabytesPerSecond, 819.0 / 1e6);
    EXPECT_DOUBLE_EQ(model.write.megabytesPerSecond, 819.0 / 1e6);
    EXPECT_TRUE(model.runEnabled);

    bench.now += 3600;
    bench.runToTheEnd(*provider);
    const auto stored = DiskBenchmarkReportStore(bench.preferences).load();
    ASSERT_EQ(stored.size(), 1u);
    const auto& report = stored.at("Samsung SSD 870 true S5Y1");
    EXPECT_EQ(report.diskModel, "Samsung SSD 870");
    EXPECT_TRUE(report.isInternal);
    ASSERT_EQ(report.results.size(), 2u);
    EXPECT_LT(report.results[0].date, report.results[1].date) << "stored in order of arrival";

    const auto sections = provider->model.value().sections;
    ASSERT_EQ(sections.size(), 1u);
    ASSERT_EQ(sections[0].cards.size(), 2u);
    EXPECT_EQ(sections[0].cards[0].subtitle, benchmarkDateText(Date{800'003'600})) << "newest on top";
    EXPECT_EQ(sections[0].cards[0].title, "Samsung SSD 870");
    EXPECT_EQ(sections[0].cards[0].values[0].title, "Read");
    EXPECT_EQ(sections[0].cards[0].values[0].value, "819 bytes/s");
    EXPECT_EQ(sections[0].cards[0].values[1].color, BenchmarkColor::green);
    EXPECT_FALSE(sections[0].cards[0].rank);

    // Shown again: the stored runs come back from the preferences.
    auto again = bench.provider();
    again->viewWillAppear();
    EXPECT_EQ(again->model.value().sections, sections);
}

TEST(DiskBenchmarkProvider, AnUndecodableEntryShowsNothingAndTheNextRunReplacesIt)
{
    Bench bench;
    bench.preferences.setJson(DiskBenchmarkReportStore::key, "[\"garbage\"]");
    auto provider = bench.provider();
    provider->viewWillAppear();
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return provider->drive().has_value(); }));
    EXPECT_TRUE(provider->model.value().sections.empty());
    bench.runToTheEnd(*provider);
    const auto stored = DiskBenchmarkReportStore(bench.preferences).load();
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored.begin()->second.results.size(), 1u);
}

TEST(DiskBenchmarkProvider, WithoutAVolumeItAsksForAFolderAndUsesOnlyAWritableOne)
{
    Bench bench(5'000'000'000);
    auto provider = bench.provider();
    provider->viewWillAppear();
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return provider->drive().has_value(); }));

    // Cancelled at the warning: nothing runs.
    provider->runBenchmark();
    ASSERT_EQ(bench.prompts->asked.size(), 1u);
    EXPECT_EQ(bench.prompts->asked[0], "Unable to find a writable volume on this disk / Browse…");
    EXPECT_FALSE(bench.engine->isRunning());

    // A folder that cannot be written brings the warning back; the second pick is used.
    TemporaryDirectory picked;
    bench.prompts->asked.clear();
    bench.prompts->confirmations = {true, true};
    bench.prompts->choices = {bench.folder.path() / "missing", picked.path()};
    provider->runBenchmark();
    EXPECT_EQ(bench.prompts->asked.size(), 4u);
    EXPECT_EQ(bench.prompts->asked[1], "Choose a directory on Samsung SSD 870");
    EXPECT_TRUE(bench.engine->isRunning());
    EXPECT_EQ(bench.engine->benchmarkDirectory(), picked.path() / "BenchmarkTest");
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return !bench.engine->isRunning(); }));
    bench.engine->waitUntilIdle();
}

TEST(DiskBenchmarkProvider, ARunEndingAwayFromTheScreenOrWithoutADriveIsNotStored)
{
    Bench bench;
    auto provider = bench.provider();
    provider->viewWillAppear();
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return provider->drive().has_value(); }));
    provider->runBenchmark();
    provider->viewDidDisappear();
    ASSERT_TRUE(pumpUntil(bench.time, [&] { return !bench.engine->isRunning(); }));
    bench.engine->waitUntilIdle();
    bench.time.poll();
    EXPECT_TRUE(provider->reports().empty());
    EXPECT_FALSE(bench.preferences.contains(DiskBenchmarkReportStore::key));

    // Back while nothing runs: the dials leave the working state.
    provider->viewWillAppear();
    EXPECT_EQ(provider->model.value().state, BenchmarkSpeedometerState::none);

    provider->benchmarkDidFinish(std::nullopt, {2'000'000'000, 1'000'000'000});
    EXPECT_EQ(provider->model.value().state, BenchmarkSpeedometerState::finished);
    EXPECT_DOUBLE_EQ(provider->model.value().read.megabytesPerSecond, 2000);
    EXPECT_DOUBLE_EQ(provider->model.value().write.megabytesPerSecond, 1000);
    EXPECT_FALSE(bench.preferences.contains(DiskBenchmarkReportStore::key));

    provider->benchmarkDidFailToClean(DiskBenchmarkError("Could not remove /x", std::make_error_code(std::errc::permission_denied)));
    EXPECT_EQ(provider->model.value().state, BenchmarkSpeedometerState::none);
    ASSERT_EQ(bench.prompts->errors.size(), 1u);
    EXPECT_EQ(bench.prompts->errors[0], "An error occurred: Could not remove /x: Permission denied");

    // A drive the catalogue does not know leaves the button without effect.
    auto unknown = bench.provider("sdz");
    unknown->viewWillAppear();
    bench.time.poll();
    EXPECT_FALSE(unknown->model.value().runEnabled);
    unknown->runBenchmark();
    EXPECT_FALSE(bench.engine->isRunning());
}

TEST(BenchmarkTarget, TheLocalProbeOnThisMachine)
{
    LocalFileSystemProbe probe;
    TemporaryDirectory folder;
    tarnel::testing::writeFile(folder.path() / "file", "x");
    EXPECT_TRUE(probe.isWritableDirectory(folder.path()));
    EXPECT_FALSE(probe.isWritableDirectory(folder.path() / "file")) << "a file is no folder";
    EXPECT_FALSE(probe.isWritableDirectory(folder.path() / "missing"));
    EXPECT_TRUE(probe.sameFileSystem(folder.path(), folder.path() / "file"));
    EXPECT_FALSE(probe.sameFileSystem(folder.path(), "/proc"));
    EXPECT_FALSE(probe.sameFileSystem(folder.path(), folder.path() / "missing"));
    EXPECT_FALSE(probe.isNetworkFileSystem(folder.path()));
}
