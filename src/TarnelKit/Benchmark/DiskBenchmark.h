#pragma once

#include "TarnelKit/Benchmark/BenchResult.h"
#include "TarnelKit/Benchmark/BenchmarkFile.h"
#include "TarnelKit/Benchmark/DiskBenchmarkListener.h"

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace quendal {
class RepeatingTimer;
class SerialQueue;
} // namespace quendal

namespace tarnel {

// Measures the sequential write and read speed of one drive: a gigabyte pushed through one
// file, uncached, pass after pass, until thirty seconds of transfer were timed. The run's body
// works on a thread of its own; listeners hear of it on the main actor.
class DiskBenchmark : public std::enable_shared_from_this<DiskBenchmark> {
public:
    using TimeBlock = std::function<std::chrono::nanoseconds(const std::function<void()>&)>;

    struct Configuration {
        std::uint64_t dataSize = 1'000'000'000;
        std::uint64_t chunkSize = 10'000'000;
        std::size_t chunksPerCycle = 5;
        double measuredSeconds = 30.0;
        std::chrono::milliseconds tickInterval{100};
        // Runs one block and says how long it took; the monotonic clock around it by default.
        TimeBlock timeBlock;
        // A fresh 32-bit random number; getrandom by default.
        std::function<std::uint32_t()> random;
        // The clock of the progress ticks; the runtime's by default.
        std::shared_ptr<quendal::Clock> clock;
        // Where progress ticks run; a serial queue of the background pool by default.
        std::optional<quendal::Executor> updateExecutor;
    };

    static constexpr const char* directoryName = "BenchmarkTest";
    static constexpr const char* fileName = "temp";
    static constexpr const char* readmeName = "README.txt";
    static const char* const readmeText;

    // The application's engine, made on first use.
    static std::shared_ptr<DiskBenchmark> shared();
    // Throws std::invalid_argument for sizes the speed formula cannot hold.
    static std::shared_ptr<DiskBenchmark> make();
    static std::shared_ptr<DiskBenchmark> make(Configuration configuration);
    ~DiskBenchmark();
    DiskBenchmark(const DiskBenchmark&) = delete;
    DiskBenchmark& operator=(const DiskBenchmark&) = delete;

    // Listeners are held weakly and compared by identity.
    void add(const std::shared_ptr<DiskBenchmarkListener>& listener);
    void remove(const DiskBenchmarkListener* listener);

    // Starts a run in `targetDir`, which the caller found writable; ignored while running.
    void run(std::optional<HardwareDiskCatalogItem> disk, const std::filesystem::path& targetDir);
    // Ends a run: its folder is removed and benchmarkDidStop comes without an error.
    void stop();
    bool isRunning() const { return isRunning_.load(); }

    // Speeds of the last run's passes, in order.
    std::vector<std::uint64_t> writeResults() const;
    std::vector<std::uint64_t> readResults() const;
    // The folder of the current run, until it was removed.
    std::optional<std::filesystem::path> benchmarkDirectory() const;
    // Blocks until the body of the last run has ended; for shutdown and tests.
    void waitUntilIdle();

    // dataSize bytes in `duration`, in bytes per second, truncated.
    static std::uint64_t speed(std::uint64_t dataSize, std::chrono::nanoseconds duration);
    // The integer mean, truncated; 0 for none.
    static std::uint64_t mean(const std::vector<std::uint64_t>& values);

private:
    struct RunState {
        std::atomic<bool> shouldAbort{false};
        std::optional<HardwareDiskCatalogItem> disk;
        std::filesystem::path folder;
    };
    enum class Pass { write, read };

    explicit DiskBenchmark(Configuration configuration);

    void body(std::shared_ptr<RunState> state);
    void prepare(const RunState& state);
    void makeChunks();
    void measure(Pass pass, const RunState& state);
    // Closes the file, drops the buffers and removes the folder; throws DiskBenchmarkError.
    void cleanUp();
    // Cleans up at the end of a run, telling listeners when the folder stays behind.
    void cleanUpReporting(const char* operation);
    void tick();
    template <class Call>
    void notify(Call call);
    // Ends the running state on the main actor, unless a new run began meanwhile.
    void suspendTimerWhenIdle();

    Configuration configuration_;
    std::atomic<bool> isRunning_{false};
    std::atomic<std::int64_t> startNanoseconds_{0};
    std::shared_ptr<RunState> current_;
    std::thread thread_;
    std::unique_ptr<quendal::SerialQueue> updateQueue_;
    std::unique_ptr<quendal::RepeatingTimer> timer_;
    std::vector<std::weak_ptr<DiskBenchmarkListener>> listeners_;

    // Touched by the body only, while it runs.
    BenchmarkFile file_;
    std::vector<std::vector<std::byte>> randChunks_;
    std::vector<std::byte> readBuffer_;
    double elapsed_ = 0;

    mutable std::mutex mutex_;
    std::optional<std::filesystem::path> benchmarkDirectory_;
    std::vector<std::uint64_t> writeResults_;
    std::vector<std::uint64_t> readResults_;
};

} // namespace tarnel
