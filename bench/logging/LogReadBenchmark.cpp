// Reading back the newest lines of a large log: the time of one bounded read and the peak
// memory of the process, which must stay small however large the log is.
#include "QuendalFoundation/Logging/LogPredicate.h"
#include "QuendalFoundation/Logging/LogStore.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

using namespace quendal;

namespace {

constexpr std::size_t lineCount = 1'000'000;

double peakMegabytes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// One store of a million lines, spread over the last 20 hours, shared by the benchmarks.
struct LargeLog {
    std::filesystem::path directory =
        std::filesystem::temp_directory_path() / fmt::format("tarnel-log-bench-{}", ::getpid());
    JsonLinesLogStore store{directory, "tarnel", std::uintmax_t{1} << 40};

    LargeLog()
    {
        const double now = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
        const double start = now - 20 * 3600;
        for (std::size_t i = 0; i < lineCount; ++i) {
            const bool daemon = i % 3 == 0;
            store.write({start + static_cast<double>(i) * 0.07, i % 7 == 0 ? LogLevel::error : LogLevel::info,
                         daemon ? "org.quendal.Tarnel.Daemon" : "org.quendal.Tarnel", "app", daemon ? "tarneld" : "tarnel",
                         4242, fmt::format("[app][flow:xpc] 📢 [StatsClient.cpp:{}] send() statistics batch {} delivered", i % 900, i)});
        }
    }
    ~LargeLog() { std::filesystem::remove_all(directory); }
};

LargeLog& largeLog()
{
    static LargeLog log;
    return log;
}

void newestLines(benchmark::State& state, const char* predicateText, std::size_t maxEntries)
{
    auto& log = largeLog();
    const auto predicate = LogPredicate::parse(predicateText);
    const double before = peakMegabytes();
    std::size_t lines = 0;
    for (auto _ : state) {
        auto result = log.store.read(predicate, 24, maxEntries);
        lines = result.size();
        benchmark::DoNotOptimize(result);
    }
    if (lines != maxEntries)
        state.SkipWithError("the read did not return the newest lines asked for");
    state.counters["lines"] = static_cast<double>(lines);
    state.counters["log_MB"] = static_cast<double>(std::filesystem::file_size(log.store.file())) / 1e6;
    state.counters["peak_rss_MB"] = peakMegabytes();
    state.counters["peak_growth_MB"] = peakMegabytes() - before;
}

// Every line wanted: the read stops after the newest 5000.
void BM_Newest5000OfAMillion(benchmark::State& state)
{
    newestLines(state, "eventType == logEvent", 5000);
}

// The report's three sources, where one in three lines is the daemon's.
void BM_Newest5000DaemonLinesOfAMillion(benchmark::State& state)
{
    newestLines(state, R"((subsystem == "org.quendal.Tarnel.Daemon") OR (process == "tarneld"))", 5000);
}

} // namespace

BENCHMARK(BM_Newest5000OfAMillion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Newest5000DaemonLinesOfAMillion)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
