// The disk benchmark's engine on real files, with the sizes made small and the timed blocks and
// progress ticks in virtual time.
#include "TarnelKit/Benchmark/DiskBenchmark.h"

#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <thread>

using namespace tarnel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::pumpUntil;
using tarnel::testing::VirtualTime;

namespace {

struct Recorder : DiskBenchmarkListener {
    std::vector<std::string> events;
    std::vector<std::uint64_t> writes, reads;
    std::vector<double> progress;
    std::optional<std::optional<DiskBenchmarkError>> stopped;
    std::optional<DiskBenchmarkError> failedToClean;
    std::optional<BenchResult> finished;
    std::optional<HardwareDiskCatalogItem> finishedDrive;

    void benchmarkDidStart() override { events.push_back("start"); }
    void benchmarkDidWrite(std::uint64_t s) override { events.push_back("write"), writes.push_back(s); }
    void benchmarkDidRead(std::uint64_t s) override { events.push_back("read"), reads.push_back(s); }
    void benchmarkDidProgress(double f) override { progress.push_back(f); }
    void benchmarkDidStop(const std::optional<DiskBenchmarkError>& e) override { events.push_back("stop"), stopped = e; }
    void benchmarkDidFailToClean(const DiskBenchmarkError& e) override { events.push_back("failToClean"), failedToClean = e; }
    void benchmarkDidFinish(const std::optional<HardwareDiskCatalogItem>& d, const BenchResult& r) override
    {
        events.push_back("finish");
        finished = r;
        finishedDrive = d;
    }
    bool ended() const { return stopped.has_value() || finished.has_value(); }
};

// Stops the first timed block until the test lets it go.
class Gate {
public:
    void enterAndWait()
    {
        std::unique_lock lock(mutex_);
        entered_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return released_; });
    }
    bool entered()
    {
        std::lock_guard lock(mutex_);
        return entered_;
    }
    void release()
    {
        std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool entered_ = false, released_ = false;
};

DiskBenchmark::Configuration small(VirtualTime& time, std::chrono::nanoseconds perPass)
{
    DiskBenchmark::Configuration c;
    c.dataSize = 64 * 1024;
    c.chunkSize = 8 * 1024;
    c.clock = time.clockPointer();
    c.updateExecutor = time.executor();
    c.timeBlock = [perPass](const std::function<void()>& block) {
        block();
        return perPass;
    };
    return c;
}

// A small run whose first timed block waits at `gate`.
DiskBenchmark::Configuration gated(VirtualTime& time, std::chrono::nanoseconds perPass, Gate& gate)
{
    auto config = small(time, perPass);
    auto timeBlock = config.timeBlock;
    config.timeBlock = [&gate, timeBlock](const std::function<void()>& block) {
        if (!gate.entered())
            gate.enterAndWait();
        return timeBlock(block);
    };
    return config;
}

HardwareDiskCatalogItem drive()
{
    HardwareDiskCatalogItem item;
    item.identifier = "nvme0n1";
    item.name = "Test Drive";
    return item;
}

// Mounts a tmpfs the test owns; nullopt where the test may not mount.
class TmpfsMount {
public:
    TmpfsMount(const fs::path& where, const std::string& options, unsigned long flags = 0) : where_(where)
    {
        fs::create_directories(where);
        mounted_ = ::mount("tarnel-test", where.c_str(), "tmpfs", flags, options.c_str()) == 0;
    }
    ~TmpfsMount()
    {
        if (mounted_)
            ::umount2(where_.c_str(), MNT_DETACH);
    }
    bool mounted() const { return mounted_; }

private:
    fs::path where_;
    bool mounted_ = false;
};

} // namespace

TEST(DiskBenchmark, SpeedIsDataOverTimeAndTheMeanTruncates)
{
    EXPECT_EQ(DiskBenchmark::speed(1'000'000'000, 1s), 1'000'000'000u);
    EXPECT_EQ(DiskBenchmark::speed(1'000'000'000, 3ns), 333'333'333'333'333'333u);
    EXPECT_EQ(DiskBenchmark::speed(1'000'000'000, 2'500'000'000ns), 400'000'000u);
    EXPECT_EQ(DiskBenchmark::mean({}), 0u);
    EXPECT_EQ(DiskBenchmark::mean({1, 2}), 1u);
    EXPECT_EQ(DiskBenchmark::mean({400, 500, 601}), 500u);
    EXPECT_THROW(DiskBenchmark::make({.dataSize = 10, .chunkSize = 20}), std::invalid_argument);
    EXPECT_THROW(DiskBenchmark::make({.dataSize = 100'000'000'000u, .chunkSize = 20}), std::invalid_argument);
    EXPECT_THROW(DiskBenchmark::make({.chunksPerCycle = 0}), std::invalid_argument);
}

TEST(DiskBenchmark, RunsWholeCyclesUntilTheMeasuredTimeAndCleansUp)
{
    VirtualTime time;
    TemporaryDirectory target;
    // One second per pass: every cycle adds two, so 15 cycles reach thirty.
    auto config = small(time, 1s);
    std::vector<std::uint32_t> randoms;
    config.random = [&randoms] {
        const auto value = static_cast<std::uint32_t>(0xAB000000u | ((randoms.size() + 1) << 8) | 0x77);
        randoms.push_back(value);
        return value;
    };
    std::vector<std::uint8_t> firstPassBytes;
    auto timeBlock = config.timeBlock;
    config.timeBlock = [&, timeBlock](const std::function<void()>& block) {
        auto result = timeBlock(block);
        if (firstPassBytes.empty()) {
            std::ifstream in(target.path() / "BenchmarkTest" / "temp", std::ios::binary);
            firstPassBytes.assign(std::istreambuf_iterator<char>(in), {});
        }
        return result;
    };
    auto engine = DiskBenchmark::make(config);
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->add(recorder);
    engine->run(drive(), target.path());
    EXPECT_TRUE(engine->isRunning());
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    engine->waitUntilIdle();

    EXPECT_FALSE(engine->isRunning());
    EXPECT_EQ(recorder->writes.size(), 15u);
    EXPECT_EQ(recorder->reads.size(), 15u);
    EXPECT_EQ(randoms.size(), 15u * 5u);
    ASSERT_EQ(recorder->events.size(), 1u + 30u + 1u) << "one start, alternating passes, one finish, no stop";
    EXPECT_EQ(recorder->events.front(), "start");
    for (std::size_t i = 1; i <= 30; ++i)
        EXPECT_EQ(recorder->events[i], i % 2 ? "write" : "read");
    EXPECT_EQ(recorder->events.back(), "finish");
    // 64 KiB in one second each time.
    EXPECT_EQ(recorder->finished, (BenchResult{65536, 65536}));
    EXPECT_EQ(recorder->finishedDrive, drive());
    EXPECT_EQ(engine->writeResults(), std::vector<std::uint64_t>(15, 65536));

    // Eight chunks a pass, cycling through the five of the cycle, each of bits 8 to 15.
    ASSERT_EQ(firstPassBytes.size(), 64u * 1024u);
    for (std::size_t chunk = 0; chunk < 8; ++chunk)
        EXPECT_EQ(firstPassBytes[chunk * 8192 + 100], static_cast<std::uint8_t>(chunk % 5 + 1)) << chunk;
    EXPECT_FALSE(fs::exists(target.path() / "BenchmarkTest"));
    EXPECT_FALSE(engine->benchmarkDirectory());
}

TEST(DiskBenchmark, ASlowDriveGivesOnePassOfEachAndTheLastCycleIsWhole)
{
    VirtualTime time;
    TemporaryDirectory target;
    auto engine = DiskBenchmark::make(small(time, 40s));
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    EXPECT_EQ(recorder->writes.size(), 1u);
    EXPECT_EQ(recorder->reads.size(), 1u);
    EXPECT_FALSE(recorder->finishedDrive);

    // 29 s of measured time after one cycle: one more whole cycle runs past thirty.
    VirtualTime again;
    auto second = DiskBenchmark::make(small(again, 14'500ms));
    auto other = std::make_shared<Recorder>();
    second->add(other);
    second->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(again, [&] { return other->ended(); }));
    EXPECT_EQ(other->writes.size(), 2u);
    EXPECT_EQ(other->reads.size(), 2u);
}

TEST(DiskBenchmark, ASecondRunIsIgnoredAndStopWhenIdleDoesNothing)
{
    VirtualTime time;
    TemporaryDirectory target, elsewhere;
    Gate gate;
    auto engine = DiskBenchmark::make(gated(time, 40s, gate));
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->stop();
    time.poll();
    EXPECT_TRUE(recorder->events.empty());

    engine->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return gate.entered(); }));
    engine->run(drive(), elsewhere.path());
    EXPECT_FALSE(fs::exists(elsewhere.path() / "BenchmarkTest"));
    gate.release();
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    EXPECT_EQ(std::count(recorder->events.begin(), recorder->events.end(), "start"), 1);
    EXPECT_FALSE(recorder->finishedDrive) << "the ignored run's drive must not replace the running one's";

    // A listener removed before the run hears nothing.
    auto gone = std::make_shared<Recorder>();
    engine->add(gone);
    engine->remove(gone.get());
    engine->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return std::count(recorder->events.begin(), recorder->events.end(), "finish") == 2; }));
    EXPECT_TRUE(gone->events.empty());
}

TEST(DiskBenchmark, StopDuringAPassRemovesTheFolderAndReportsNoError)
{
    VirtualTime time;
    TemporaryDirectory target;
    Gate gate;
    auto engine = DiskBenchmark::make(gated(time, 1s, gate));
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(drive(), target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return gate.entered(); }));
    EXPECT_TRUE(fs::exists(target.path() / "BenchmarkTest" / "temp"));

    engine->stop();
    EXPECT_FALSE(engine->isRunning());
    gate.release();
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    engine->waitUntilIdle();

    ASSERT_TRUE(recorder->stopped);
    EXPECT_FALSE(*recorder->stopped) << "a stop is no failure";
    EXPECT_TRUE(recorder->writes.empty()) << "the aborted pass is not measured";
    EXPECT_FALSE(recorder->finished);
    EXPECT_FALSE(fs::exists(target.path() / "BenchmarkTest"));
    EXPECT_TRUE(fs::exists(target.path())) << "only the run's own folder goes";
}

TEST(DiskBenchmark, ALeftoverFolderIsRemovedAtTheNextStart)
{
    VirtualTime time;
    TemporaryDirectory target;
    const auto folder = target.path() / "BenchmarkTest";
    tarnel::testing::writeFile(folder / "temp", std::string(100, 'x'));
    tarnel::testing::writeFile(folder / "left-by-a-crash", "x");
    bool leftoverSeen = true;
    std::string readme;
    auto config = small(time, 40s);
    config.timeBlock = [&](const std::function<void()>& block) {
        if (readme.empty()) {
            leftoverSeen = fs::exists(folder / "left-by-a-crash");
            readme = tarnel::testing::readFile(folder / "README.txt");
        }
        block();
        return std::chrono::nanoseconds(40s);
    };
    auto engine = DiskBenchmark::make(config);
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    engine->waitUntilIdle();
    EXPECT_FALSE(leftoverSeen);
    EXPECT_EQ(readme, DiskBenchmark::readmeText);
    EXPECT_TRUE(recorder->finished);
    EXPECT_FALSE(fs::exists(folder));
}

TEST(DiskBenchmark, AFolderThatCannotBeWrittenStopsTheRunWithTheCause)
{
    VirtualTime time;
    TemporaryDirectory scratch;
    // A plain file where the folder should be: no user, root included, can make it.
    tarnel::testing::writeFile(scratch.path() / "not-a-folder", "x");
    auto engine = DiskBenchmark::make(small(time, 1s));
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(drive(), scratch.path() / "not-a-folder");
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    ASSERT_TRUE(recorder->stopped && *recorder->stopped);
    EXPECT_EQ((*recorder->stopped)->code(), DiskBenchmarkError::Code::fileSystem);
    EXPECT_EQ((*recorder->stopped)->systemError(), std::make_error_code(std::errc::not_a_directory));
    EXPECT_FALSE(engine->isRunning());
    EXPECT_EQ(tarnel::testing::readFile(scratch.path() / "not-a-folder"), "x");

    // A read-only file system, where this test may mount one.
    TmpfsMount readOnly(scratch.path() / "ro", "size=1m", MS_RDONLY);
    if (!readOnly.mounted())
        GTEST_SKIP() << "no permission to mount a tmpfs";
    auto again = std::make_shared<Recorder>();
    engine->add(again);
    engine->run(drive(), scratch.path() / "ro");
    ASSERT_TRUE(pumpUntil(time, [&] { return again->ended(); }));
    ASSERT_TRUE(again->stopped && *again->stopped);
    EXPECT_EQ((*again->stopped)->systemError(), std::make_error_code(std::errc::read_only_file_system));
}

TEST(DiskBenchmark, AFileSystemThatFillsUpDuringTheWritePassStopsWithUnableToWrite)
{
    VirtualTime time;
    TemporaryDirectory scratch;
    TmpfsMount full(scratch.path() / "small", "size=256k");
    if (!full.mounted())
        GTEST_SKIP() << "no permission to mount a tmpfs";
    auto config = small(time, 1s);
    config.dataSize = 1024 * 1024;
    config.chunkSize = 64 * 1024;
    auto engine = DiskBenchmark::make(config);
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(drive(), scratch.path() / "small");
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    engine->waitUntilIdle();
    ASSERT_TRUE(recorder->stopped && *recorder->stopped);
    EXPECT_EQ((*recorder->stopped)->code(), DiskBenchmarkError::Code::unableToWriteData);
    EXPECT_EQ((*recorder->stopped)->systemError(), std::make_error_code(std::errc::no_space_on_device));
    EXPECT_TRUE(recorder->writes.empty());
    EXPECT_FALSE(recorder->finished);
    EXPECT_FALSE(engine->isRunning());
    EXPECT_TRUE(fs::is_empty(scratch.path() / "small")) << "the full disk gets its space back";
}

TEST(DiskBenchmark, ProgressIsWallTimeOverThirtySecondsAndMayPassOne)
{
    VirtualTime time;
    TemporaryDirectory target;
    Gate gate;
    auto config = small(time, 1s);
    config.timeBlock = [&gate](const std::function<void()>& block) {
        if (!gate.entered())
            gate.enterAndWait();
        block();
        return std::chrono::nanoseconds(20s);
    };
    auto engine = DiskBenchmark::make(config);
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return gate.entered(); }));
    time.runFor(33.0);
    ASSERT_GE(recorder->progress.size(), 320u);
    EXPECT_NEAR(recorder->progress.front(), 0.1 / 30, 1e-9);
    EXPECT_TRUE(std::is_sorted(recorder->progress.begin(), recorder->progress.end()));
    EXPECT_GT(recorder->progress.back(), 1.09);

    gate.release();
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    const auto ticks = recorder->progress.size();
    time.runFor(5.0);
    EXPECT_EQ(recorder->progress.size(), ticks) << "no ticks after the run";
    EXPECT_EQ(recorder->writes.size(), 1u);
}

TEST(DiskBenchmark, AWriteThatFailsLaterKeepsTheEarlierPassesUntilTheNextRun)
{
    VirtualTime time;
    TemporaryDirectory scratch;
    const auto mount = scratch.path() / "small";
    TmpfsMount full(mount, "size=512k");
    if (!full.mounted())
        GTEST_SKIP() << "no permission to mount a tmpfs";
    auto config = small(time, 1s);
    config.dataSize = 128 * 1024;
    config.chunkSize = 16 * 1024;
    int blocks = 0;
    config.timeBlock = [&](const std::function<void()>& block) {
        block();
        // After the first cycle another program takes the room the file had.
        if (++blocks == 2) {
            fs::resize_file(mount / "BenchmarkTest" / "temp", 0);
            std::ofstream filler(mount / "filler", std::ios::binary);
            const std::string megabyte(1024 * 1024, 'f');
            filler << megabyte;
        }
        return std::chrono::nanoseconds(1s);
    };
    auto engine = DiskBenchmark::make(config);
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(std::nullopt, mount);
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    engine->waitUntilIdle();
    ASSERT_TRUE(recorder->stopped && *recorder->stopped);
    EXPECT_EQ((*recorder->stopped)->code(), DiskBenchmarkError::Code::unableToWriteData);
    EXPECT_EQ(recorder->writes.size(), 1u) << "the failed pass is not measured";
    EXPECT_EQ(engine->writeResults().size(), 1u);
    EXPECT_EQ(engine->readResults().size(), 1u);
    EXPECT_FALSE(fs::exists(mount / "BenchmarkTest"));

    fs::remove(mount / "filler");
    auto next = std::make_shared<Recorder>();
    engine->add(next);
    engine->run(std::nullopt, mount);
    ASSERT_TRUE(pumpUntil(time, [&] { return next->ended(); }));
    engine->waitUntilIdle();
    EXPECT_TRUE(next->finished);
    EXPECT_EQ(engine->writeResults().size(), 15u) << "a new run starts with empty arrays";
}

namespace {

// Marks a file immutable, so not even root can remove the folder it is in; undone on destruction.
class ImmutableFile {
public:
    explicit ImmutableFile(const fs::path& path) : path_(path)
    {
        tarnel::testing::writeFile(path, "kept");
        set(true);
    }
    ~ImmutableFile() { set(false); }
    bool held() const { return held_; }

private:
    void set(bool on)
    {
        const int fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        int flags = 0;
        if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
            held_ = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0 && on;
        }
        ::close(fd);
    }
    fs::path path_;
    bool held_ = false;
};

} // namespace

TEST(DiskBenchmark, AFolderThatCannotBeRemovedIsReportedAndKept)
{
    VirtualTime time;
    TemporaryDirectory target;
    const auto folder = target.path() / "BenchmarkTest";
    fs::create_directories(folder);
    std::optional<ImmutableFile> stuck;
    stuck.emplace(folder / "stuck");
    if (!stuck->held())
        GTEST_SKIP() << "this file system or user cannot mark a file immutable";

    // A leftover that cannot be removed stops the run before anything is written.
    auto engine = DiskBenchmark::make(small(time, 1s));
    auto recorder = std::make_shared<Recorder>();
    engine->add(recorder);
    engine->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return recorder->ended(); }));
    engine->waitUntilIdle();
    ASSERT_TRUE(recorder->stopped && *recorder->stopped);
    EXPECT_EQ((*recorder->stopped)->code(), DiskBenchmarkError::Code::fileSystem);
    ASSERT_TRUE(recorder->failedToClean);
    EXPECT_NE(std::string(recorder->failedToClean->what()).find(folder.string()), std::string::npos);
    EXPECT_EQ(tarnel::testing::readFile(folder / "stuck"), "kept");
    EXPECT_TRUE(recorder->writes.empty());
    stuck.reset();

    // Stopped while something it cannot remove appeared in its folder: told, and still no error.
    Gate gate;
    std::optional<ImmutableFile> late;
    auto config = small(time, 1s);
    config.timeBlock = [&](const std::function<void()>& block) {
        if (!gate.entered()) {
            late.emplace(folder / "late");
            gate.enterAndWait();
        }
        block();
        return std::chrono::nanoseconds(1s);
    };
    auto second = DiskBenchmark::make(config);
    auto other = std::make_shared<Recorder>();
    second->add(other);
    second->run(std::nullopt, target.path());
    ASSERT_TRUE(pumpUntil(time, [&] { return gate.entered(); }));
    second->stop();
    gate.release();
    ASSERT_TRUE(pumpUntil(time, [&] { return other->ended(); }));
    second->waitUntilIdle();
    EXPECT_TRUE(other->failedToClean);
    ASSERT_TRUE(other->stopped);
    EXPECT_FALSE(*other->stopped);
    EXPECT_EQ(other->events, (std::vector<std::string>{"start", "failToClean", "stop"}));
    late.reset();
}
