// The daemon's own cost while it serves the Dashboard's subscription at `fast`, beside the
// cost of `top -b` sampling at the same period in the same run.
// Usage: bench_daemon_cost <path to tarneld> [seconds]
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedClient.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <fmt/format.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

pid_t start(std::vector<std::string> command, bool quiet)
{
    std::vector<char*> argv;
    for (auto& a : command)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (quiet) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = -1;
    if (::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0)
        std::abort();
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

struct Cost {
    double cpuSeconds = 0;
    double maxResidentMegabytes = 0;
};

Cost stopAndMeasure(pid_t pid)
{
    ::kill(pid, SIGTERM);
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    auto seconds = [](timeval t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_maxrss) / 1024.0};
}

} // namespace

int main(int argc, char** argv)
{
    using namespace tarnel;
    if (argc < 2) {
        fmt::print(stderr, "usage: {} TARNELD [SECONDS]\n", argv[0]);
        return 2;
    }
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 60;
    auto directory = std::filesystem::temp_directory_path() / fmt::format("tarnel-cost-{}", ::getpid());
    std::filesystem::create_directories(directory);
    pid_t daemon = start({argv[1], "--session", "--socket-dir", directory.string()}, true);
    const auto socket = directory / "org.quendal.Tarnel.Daemon.stats.sock";
    while (!std::filesystem::exists(socket))
        std::this_thread::sleep_for(std::chrono::milliseconds(20));

    asio::io_context context;
    auto client = xpc::XPCClient::create(xpc::ServiceEndpoint::at("stats", socket), xpc::ServerRequirement::anyServer(),
                                         context.get_executor());
    std::set<WidgetStatistic> dashboard{
        WidgetStatistic::batteryCharge,  WidgetStatistic::batteryHealth,  WidgetStatistic::cpuUsage,
        WidgetStatistic::cpuSystemUsage, WidgetStatistic::cpuUserUsage,   WidgetStatistic::memoryPressure,
        WidgetStatistic::memorySwapFile, WidgetStatistic::ramWired,       WidgetStatistic::ramActive,
        WidgetStatistic::ramCompressed,  WidgetStatistic::ramAvailable,   WidgetStatistic::processCPUUsage,
        WidgetStatistic::processRAMUsage, WidgetStatistic::storageUsage,  WidgetStatistic::gpuUsage,
        WidgetStatistic::gpuTemperature, WidgetStatistic::gpuMemoryUsage, WidgetStatistic::gpuCoreClock,
        WidgetStatistic::gpuMemoryClock, WidgetStatistic::gpuGroupTemperatureSensor,
        WidgetStatistic::cpuGroupTemperatureSensor, WidgetStatistic::socGroupTemperatureSensor};
    StatsSubscriptionRequest request(StatsClientID{}, StatsSubscriptionID{}, WidgetStatisticsSet(dashboard), {},
                                     StatisticUpdateFrequency::fast);
    int batches = 0;
    auto reader = [](xpc::XPCClient& c, StatsSubscriptionRequest r, int& count) -> asio::awaitable<void> {
        auto opening = xpc::sendForSequence(c, xpc::Routes::statsSubscribe, r);
        auto stream = co_await std::move(opening);
        for (;;) {
            auto next = stream.next();
            auto batch = co_await std::move(next);
            if (!batch)
                break;
            ++count;
        }
    };
    asio::co_spawn(context, reader(*client, request, batches), asio::detached);

    // The peer, sampling at the same period for the same time.
    pid_t top = start({"top", "-b", "-d", "2", "-n", std::to_string(seconds / 2 + 1)}, true);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end)
        context.run_one_for(std::chrono::milliseconds(200));

    auto daemonCost = stopAndMeasure(daemon);
    auto topCost = stopAndMeasure(top);
    fmt::print("{} batches in {} s\n", batches, seconds);
    fmt::print("{:<28} {:>12} {:>16} {:>14}\n", "", "CPU seconds", "% of one core", "max RSS MB");
    fmt::print("{:<28} {:>12.3f} {:>16.3f} {:>14.1f}\n", "tarneld (Dashboard, fast)", daemonCost.cpuSeconds,
               100.0 * daemonCost.cpuSeconds / seconds, daemonCost.maxResidentMegabytes);
    fmt::print("{:<28} {:>12.3f} {:>16.3f} {:>14.1f}\n", "peer: top -b -d 2", topCost.cpuSeconds,
               100.0 * topCost.cpuSeconds / seconds, topCost.maxResidentMegabytes);
    std::filesystem::remove_all(directory);
    return 0;
}
