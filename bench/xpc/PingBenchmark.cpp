// Round trips per second and latency percentiles of `ping` over the real transport: one server
// thread as in tarneld, clients on the background pool as in the application.
#include "TarnelXPC/TypedClient.h"
#include "TarnelXPC/TypedServer.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <sys/socket.h>
#include <unistd.h>

using namespace tarnel::xpc;
using Clock = std::chrono::steady_clock;

namespace {

const XPCRouteWithMessageWithReply<std::string, std::string> ping{{"ping"}};

struct Result {
    std::size_t roundTrips = 0;
    double seconds = 0;
    std::vector<double> latenciesMicroseconds;
};

asio::awaitable<void> pingLoop(std::shared_ptr<XPCClient> client, Clock::time_point end, std::vector<double>& latencies)
{
    const std::string message = "Ping from app";
    co_await sendAndReceive(*client, ping, message); // connect outside the measurement
    while (Clock::now() < end) {
        auto start = Clock::now();
        auto reply = co_await sendAndReceive(*client, ping, message);
        latencies.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        if (reply != "v19")
            std::abort();
    }
}

Result run(const ServiceEndpoint& endpoint, int clients, double seconds)
{
    asio::io_context callers(1);
    std::vector<std::vector<double>> perClient(clients);
    std::vector<std::future<void>> done;
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    std::vector<std::shared_ptr<XPCClient>> all;
    for (int i = 0; i < clients; ++i) {
        auto client = XPCClient::create(endpoint, ServerRequirement::anyServer(), callers.get_executor());
        all.push_back(client);
        // The callers run where the application's would: on one thread of their own.
        done.push_back(asio::co_spawn(callers.get_executor(), pingLoop(client, end, perClient[i]), asio::use_future));
    }
    auto guard = asio::make_work_guard(callers);
    std::thread callerThread([&] { callers.run(); });
    for (auto& d : done)
        d.get();
    guard.reset();
    callers.stop();
    callerThread.join();
    Result result;
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    for (auto& l : perClient)
        result.latenciesMicroseconds.insert(result.latenciesMicroseconds.end(), l.begin(), l.end());
    result.roundTrips = result.latenciesMicroseconds.size();
    std::sort(result.latenciesMicroseconds.begin(), result.latenciesMicroseconds.end());
    return result;
}

// The peer: a blocking socketpair ping-pong between two threads with no framing at all, the
// floor that this machine's thread wake-ups allow.
Result rawPingPong(double seconds)
{
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        std::abort();
    std::thread echo([&] {
        char buffer[256];
        for (;;) {
            auto n = ::read(pair[1], buffer, sizeof buffer);
            if (n <= 0 || ::write(pair[1], buffer, static_cast<std::size_t>(n)) != n)
                break;
        }
    });
    Result result;
    char message[120] = {};
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (Clock::now() < end) {
        auto begin = Clock::now();
        if (::write(pair[0], message, sizeof message) != sizeof message)
            break;
        std::size_t got = 0;
        while (got < sizeof message) {
            auto n = ::read(pair[0], message + got, sizeof message - got);
            if (n <= 0)
                std::abort();
            got += static_cast<std::size_t>(n);
        }
        result.latenciesMicroseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    ::close(pair[0]);
    echo.join();
    ::close(pair[1]);
    result.roundTrips = result.latenciesMicroseconds.size();
    std::sort(result.latenciesMicroseconds.begin(), result.latenciesMicroseconds.end());
    return result;
}

double percentile(const std::vector<double>& sorted, double p)
{
    if (sorted.empty())
        return 0;
    return sorted[std::min(sorted.size() - 1, static_cast<std::size_t>(p * static_cast<double>(sorted.size())))];
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    auto directory = std::filesystem::temp_directory_path() / fmt::format("tarnel-ping-{}", ::getpid());
    auto endpoint = ServiceEndpoint::at("org.quendal.Tarnel.Daemon", directory / "bench.sock");

    asio::io_context serverContext;
    XPCServer server(endpoint, serverContext.get_executor());
    registerHandler(server, ping, [](std::string, RequestContext) -> asio::awaitable<std::string> { co_return "v19"; });
    server.start();
    auto guard = asio::make_work_guard(serverContext);
    std::thread serverThread([&] { serverContext.run(); });

    auto print = [](const char* name, const Result& r) {
        fmt::print("{:<34} {:>12.0f} {:>10.1f} {:>10.1f} {:>10.1f}\n", name, static_cast<double>(r.roundTrips) / r.seconds,
                   percentile(r.latenciesMicroseconds, 0.5), percentile(r.latenciesMicroseconds, 0.99),
                   r.latenciesMicroseconds.empty() ? 0.0 : r.latenciesMicroseconds.back());
    };
    fmt::print("{:<34} {:>12} {:>10} {:>10} {:>10}\n", "", "round trips/s", "p50 µs", "p99 µs", "max µs");
    print("peer: raw socketpair, 1 client", rawPingPong(seconds));
    print("tarnel ping, 1 client", run(endpoint, 1, seconds));
    print("tarnel ping, 16 clients", run(endpoint, 16, seconds));

    asio::post(serverContext, [&] { server.stop(false); });
    guard.reset();
    serverContext.stop();
    serverThread.join();
    std::filesystem::remove_all(directory);
}
