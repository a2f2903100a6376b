#include "TarnelKit/Benchmark/DiskBenchmark.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/RepeatingTimer.h"
#include "QuendalFoundation/Runtime/SerialQueue.h"

#include <asio/post.hpp>

#include <cerrno>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <sys/random.h>

namespace tarnel {

namespace fs = std::filesystem;

const char* const DiskBenchmark::readmeText =
    "This is a directory created by a Quendal application for benchmarking your drive performance.\n\n"
    "This directory and its contents will automatically be deleted when the app is finished with the "
    "benchmarking.\n\n"
    "If this directory is still present after the benchmark is finished and the app is quit, you may delete "
    "it by dragging it to trash.";

namespace {

std::chrono::nanoseconds monotonicTime(const std::function<void()>& block)
{
    const auto start = std::chrono::steady_clock::now();
    block();
    return std::chrono::steady_clock::now() - start;
}

std::uint32_t systemRandom()
{
    std::uint32_t value = 0;
    auto* bytes = reinterpret_cast<char*>(&value);
    std::size_t have = 0;
    while (have < sizeof value) {
        const ssize_t got = ::getrandom(bytes + have, sizeof value - have, 0);
        if (got > 0)
            have += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    return value;
}

// Writes the note beside the test file through a temporary file and a rename.
void writeReadme(const fs::path& folder)
{
    const auto file = folder / DiskBenchmark::readmeName;
    std::error_code ec;
    if (fs::exists(file, ec))
        return;
    const auto temporary = folder / ".README.txt.tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << DiskBenchmark::readmeText;
        out.flush();
        if (!out)
            throw DiskBenchmarkError("Could not write " + file.string(), std::make_error_code(std::errc::io_error));
    }
    fs::rename(temporary, file, ec);
    if (ec)
        throw DiskBenchmarkError("Could not write " + file.string(), ec);
}

DiskBenchmarkError asBenchmarkError(std::exception_ptr failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const DiskBenchmarkError& e) {
        return e;
    } catch (const fs::filesystem_error& e) {
        return DiskBenchmarkError(e.what(), e.code());
    } catch (const std::system_error& e) {
        return DiskBenchmarkError(e.what(), e.code());
    } catch (const std::exception& e) {
        return DiskBenchmarkError(e.what(), std::error_code());
    } catch (...) {
        return DiskBenchmarkError("An unknown failure", std::error_code());
    }
}

} // namespace

std::shared_ptr<DiskBenchmark> DiskBenchmark::shared()
{
    static const auto engine = make();
    return engine;
}

std::shared_ptr<DiskBenchmark> DiskBenchmark::make()
{
    return make(Configuration{});
}

std::shared_ptr<DiskBenchmark> DiskBenchmark::make(Configuration configuration)
{
    if (configuration.chunkSize == 0 || configuration.dataSize < configuration.chunkSize)
        throw std::invalid_argument("A benchmark pass needs at least one whole chunk");
    if (configuration.dataSize > std::numeric_limits<std::uint64_t>::max() / 1'000'000'000)
        throw std::invalid_argument("A benchmark pass this large overflows the speed formula");
    if (configuration.chunksPerCycle == 0 || !(configuration.measuredSeconds > 0))
        throw std::invalid_argument("A benchmark needs chunks and a measured time");
    return std::shared_ptr<DiskBenchmark>(new DiskBenchmark(std::move(configuration)));
}

DiskBenchmark::DiskBenchmark(Configuration configuration) : configuration_(std::move(configuration))
{
    if (!configuration_.timeBlock)
        configuration_.timeBlock = monotonicTime;
    if (!configuration_.random)
        configuration_.random = systemRandom;
    if (!configuration_.clock)
        configuration_.clock = quendal::Runtime::shared().clockPointer();
}

DiskBenchmark::~DiskBenchmark()
{
    if (current_)
        current_->shouldAbort = true;
    if (thread_.joinable())
        thread_.join();
}

void DiskBenchmark::add(const std::shared_ptr<DiskBenchmarkListener>& listener)
{
    for (const auto& known : listeners_)
        if (known.lock() == listener)
            return;
    listeners_.push_back(listener);
}

void DiskBenchmark::remove(const DiskBenchmarkListener* listener)
{
    std::erase_if(listeners_, [listener](const auto& known) {
        const auto held = known.lock();
        return !held || held.get() == listener;
    });
}

template <class Call>
void DiskBenchmark::notify(Call call)
{
    try {
        asio::post(quendal::Runtime::shared().mainExecutor(), [weak = weak_from_this(), call = std::move(call)] {
            auto self = weak.lock();
            if (!self)
                return;
            const auto listeners = self->listeners_;
            for (const auto& weakListener : listeners)
                if (auto listener = weakListener.lock())
                    call(*listener);
        });
    } catch (const std::logic_error&) {
        // No main actor any more: the application is going away and nobody listens.
    }
}

void DiskBenchmark::suspendTimerWhenIdle()
{
    try {
        asio::post(quendal::Runtime::shared().mainExecutor(), [weak = weak_from_this()] {
            if (auto self = weak.lock(); self && !self->isRunning_ && self->timer_)
                self->timer_->suspend();
        });
    } catch (const std::logic_error&) {
    }
}

void DiskBenchmark::run(std::optional<HardwareDiskCatalogItem> disk, const fs::path& targetDir)
{
    if (isRunning_)
        return;
    // A stopped run's body may still be removing its folder.
    if (thread_.joinable())
        thread_.join();
    auto state = std::make_shared<RunState>();
    state->disk = std::move(disk);
    state->folder = targetDir / directoryName;
    {
        std::lock_guard lock(mutex_);
        benchmarkDirectory_ = targetDir / directoryName;
    }
    current_ = state;
    isRunning_ = true;
    notify([](DiskBenchmarkListener& l) { l.benchmarkDidStart(); });

    if (!timer_) {
        if (!configuration_.updateExecutor) {
            updateQueue_ = std::make_unique<quendal::SerialQueue>("org.quendal.TarnelKit.diskBenchmarkUpdate");
            configuration_.updateExecutor = updateQueue_->executor();
        }
        timer_ = std::make_unique<quendal::RepeatingTimer>(*configuration_.updateExecutor, configuration_.tickInterval,
                                                           configuration_.clock);
        timer_->setEventHandler([weak = weak_from_this()] {
            if (auto self = weak.lock())
                self->tick();
        });
    }
    startNanoseconds_ = configuration_.clock->now().time_since_epoch().count();
    timer_->resume();
    thread_ = std::thread([this, state] { body(state); });
}

void DiskBenchmark::stop()
{
    if (!isRunning_ || !current_)
        return;
    // The body sees the flag before its next transfer, removes the folder and says so.
    current_->shouldAbort = true;
    isRunning_ = false;
    if (timer_)
        timer_->suspend();
}

void DiskBenchmark::tick()
{
    if (!isRunning_)
        return;
    const auto now = configuration_.clock->now().time_since_epoch().count();
    const double seconds = static_cast<double>(now - startNanoseconds_.load()) / 1e9;
    const double fraction = seconds / configuration_.measuredSeconds;
    notify([fraction](DiskBenchmarkListener& l) { l.benchmarkDidProgress(fraction); });
}

void DiskBenchmark::body(std::shared_ptr<RunState> state)
{
    try {
        cleanUp();
        prepare(*state);
        while (elapsed_ < configuration_.measuredSeconds) {
            if (state->shouldAbort)
                throw BenchmarkAborted{};
            makeChunks();
            measure(Pass::write, *state);
            measure(Pass::read, *state);
        }
        BenchResult result;
        {
            std::lock_guard lock(mutex_);
            result.readBytesPerSecond = mean(readResults_);
            result.writeBytesPerSecond = mean(writeResults_);
        }
        isRunning_ = false;
        notify([disk = state->disk, result](DiskBenchmarkListener& l) { l.benchmarkDidFinish(disk, result); });
        suspendTimerWhenIdle();
        cleanUpReporting("run(disk:targetDir:)");
        return;
    } catch (const BenchmarkAborted&) {
    } catch (...) {
        if (!state->shouldAbort) {
            const auto error = asBenchmarkError(std::current_exception());
            quendal::AppLogger::error(std::string("run(disk:targetDir:): ") + error.what());
            cleanUpReporting("run(disk:targetDir:)");
            isRunning_ = false;
            suspendTimerWhenIdle();
            notify([error](DiskBenchmarkListener& l) { l.benchmarkDidStop(error); });
            return;
        }
    }
    // Ended by stop(): whatever failed under it is no news.
    cleanUpReporting("stop()");
    notify([](DiskBenchmarkListener& l) { l.benchmarkDidStop(std::nullopt); });
}

void DiskBenchmark::prepare(const RunState& state)
{
    const auto& folder = state.folder;
    {
        std::lock_guard lock(mutex_);
        benchmarkDirectory_ = folder;
    }
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec)
        throw DiskBenchmarkError("Could not make " + folder.string(), ec);
    writeReadme(folder);
    file_ = BenchmarkFile::open(folder / fileName);
    if (readBuffer_.empty())
        readBuffer_.assign(configuration_.chunkSize, std::byte{0});
    std::lock_guard lock(mutex_);
    writeResults_.clear();
    readResults_.clear();
    elapsed_ = 0;
}

void DiskBenchmark::makeChunks()
{
    randChunks_.clear();
    for (std::size_t i = 0; i < configuration_.chunksPerCycle; ++i) {
        const auto value = static_cast<std::byte>((configuration_.random() >> 8) & 0xFF);
        randChunks_.emplace_back(configuration_.chunkSize, value);
    }
}

void DiskBenchmark::measure(Pass pass, const RunState& state)
{
    if (!file_.isOpen())
        throw DiskBenchmarkError(DiskBenchmarkError::Code::invalidFileDescriptor);
    const auto transfers = static_cast<std::size_t>(configuration_.dataSize / configuration_.chunkSize);
    // Outside the timed block: nothing of the file is cached when the pass begins.
    file_.evictPages();
    const auto duration = configuration_.timeBlock([&] {
        if (pass == Pass::write)
            file_.writePass(randChunks_, transfers, state.shouldAbort);
        else
            file_.readPass(readBuffer_, transfers, state.shouldAbort);
    });
    file_.evictPages();
    elapsed_ += static_cast<double>(duration.count()) / 1e9;
    const auto bytesPerSecond = speed(configuration_.dataSize, duration);
    {
        std::lock_guard lock(mutex_);
        (pass == Pass::write ? writeResults_ : readResults_).push_back(bytesPerSecond);
    }
    if (pass == Pass::write)
        notify([bytesPerSecond](DiskBenchmarkListener& l) { l.benchmarkDidWrite(bytesPerSecond); });
    else
        notify([bytesPerSecond](DiskBenchmarkListener& l) { l.benchmarkDidRead(bytesPerSecond); });
}

void DiskBenchmark::cleanUp()
{
    file_.close();
    randChunks_.clear();
    readBuffer_ = {};
    std::lock_guard lock(mutex_);
    if (!benchmarkDirectory_)
        return;
    std::error_code ec;
    if (fs::exists(*benchmarkDirectory_, ec)) {
        fs::remove_all(*benchmarkDirectory_, ec);
        if (ec)
            throw DiskBenchmarkError("Could not remove " + benchmarkDirectory_->string(), ec);
    }
    benchmarkDirectory_.reset();
}

void DiskBenchmark::cleanUpReporting(const char* operation)
{
    try {
        cleanUp();
    } catch (const DiskBenchmarkError& error) {
        quendal::AppLogger::error(std::string(operation) + ": " + error.what());
        notify([error](DiskBenchmarkListener& l) { l.benchmarkDidFailToClean(error); });
    }
}

std::vector<std::uint64_t> DiskBenchmark::writeResults() const
{
    std::lock_guard lock(mutex_);
    return writeResults_;
}

std::vector<std::uint64_t> DiskBenchmark::readResults() const
{
    std::lock_guard lock(mutex_);
    return readResults_;
}

std::optional<fs::path> DiskBenchmark::benchmarkDirectory() const
{
    std::lock_guard lock(mutex_);
    return benchmarkDirectory_;
}

void DiskBenchmark::waitUntilIdle()
{
    if (thread_.joinable())
        thread_.join();
}

std::uint64_t DiskBenchmark::speed(std::uint64_t dataSize, std::chrono::nanoseconds duration)
{
    const auto nanoseconds = static_cast<std::uint64_t>(std::max<std::int64_t>(duration.count(), 1));
    return dataSize * 1'000'000'000 / nanoseconds;
}

std::uint64_t DiskBenchmark::mean(const std::vector<std::uint64_t>& values)
{
    if (values.empty())
        return 0;
    std::uint64_t sum = 0;
    for (const auto value : values)
        sum += value;
    return sum / values.size();
}

} // namespace tarnel
