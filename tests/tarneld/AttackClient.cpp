// A hostile or careless client of tarneld, run by the tests as another user:
//   uninstall SOCKET                      asks for uninstallLegacyFiles; prints "done" or the error
//   enable SOCKET UNIT                    asks to enable a unit file; prints "done" or the error
//   hold SOCKET COUNT SECONDS [announce]  opens COUNT connections (each announcing a 16 MiB frame
//                                         and sending one byte of it), prints how many the daemon
//                                         did not close at once, and holds them
//   subscribe SOCKET COUNT SECONDS        opens COUNT subscriptions at the fastest pace, reads
//                                         nothing for SECONDS, then prints how many batches wait
#include "TarnelKit/Daemon/DaemonClient.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedClient.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace tarnel;

namespace {

template <class T>
T run(asio::io_context& context, asio::awaitable<T> work)
{
    auto future = asio::co_spawn(context, std::move(work), asio::use_future);
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        context.run_one();
    return future.get();
}

// Runs one privileged request and prints "done" or the error it met.
int privileged(const char* socket, const std::function<asio::awaitable<void>(DaemonClient&)>& call)
{
    asio::io_context context;
    auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon", socket);
    DaemonClient client(endpoint.serviceName,
                        xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer(), context.get_executor()));
    try {
        run(context, [&]() -> asio::awaitable<bool> {
            co_await call(client);
            co_return true;
        }());
        std::printf("done\n");
    } catch (const std::exception& e) {
        std::printf("%s\n", e.what());
    }
    return 0;
}

int hold(const char* path, int count, int seconds, bool announce)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    std::vector<int> sockets;
    for (int i = 0; i < count; ++i) {
        int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            break;
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            ::close(fd);
            continue;
        }
        if (announce) {
            const unsigned char frame[5] = {0x00, 0x00, 0x00, 0x01, 0x08}; // 16 MiB announced, one byte sent
            if (::send(fd, frame, sizeof frame, MSG_NOSIGNAL) != 5) {
                ::close(fd);
                continue;
            }
        }
        sockets.push_back(fd);
    }
    // The daemon closes what it refuses at once: count what is still open a moment later.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    int open = 0;
    for (int fd : sockets) {
        pollfd p{fd, POLLIN, 0};
        char byte = 0;
        const bool closed = ::poll(&p, 1, 0) == 1 && ::recv(fd, &byte, 1, MSG_DONTWAIT) == 0;
        open += closed ? 0 : 1;
    }
    std::printf("%d\n", open);
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    for (int fd : sockets)
        ::close(fd);
    return 0;
}

int subscribe(const char* socket, int count, int seconds)
{
    asio::io_context context;
    auto client = xpc::XPCClient::create(xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats", socket),
                                         xpc::ServerRequirement::anyServer(), context.get_executor());
    std::set<WidgetStatistic> wanted{WidgetStatistic::cpuUsage,      WidgetStatistic::cpuCore,
                                     WidgetStatistic::processCPUUsage, WidgetStatistic::processRAMUsage,
                                     WidgetStatistic::storageUsage,  WidgetStatistic::ramAvailable};
    std::vector<quendal::AsyncStream<StatsUpdateBatch>> streams;
    for (int i = 0; i < count; ++i) {
        StatsSubscriptionRequest request(StatsClientID{}, StatsSubscriptionID{}, WidgetStatisticsSet(wanted), {},
                                         StatisticUpdateFrequency::veryFast);
        streams.push_back(run(context, xpc::sendForSequence(*client, xpc::Routes::statsSubscribe, request)));
    }
    std::printf("subscribed\n");
    std::fflush(stdout);
    // Not running the context is not reading the socket.
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    int received = 0;
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    auto counting = [&](quendal::AsyncStream<StatsUpdateBatch>& stream) -> asio::awaitable<void> {
        while (auto batch = co_await stream.next())
            ++received;
    };
    for (auto& stream : streams)
        asio::co_spawn(context, counting(stream), asio::detached);
    while (std::chrono::steady_clock::now() < until)
        context.run_one_for(std::chrono::milliseconds(50));
    // What arrived in the first moment after reading began is what had been kept waiting.
    std::printf("%d\n", received);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "uninstall" && argc == 3)
        return privileged(argv[2], [](DaemonClient& c) { return c.uninstallLegacyFiles(); });
    if (command == "enable" && argc == 4)
        return privileged(argv[2], [unit = std::string(argv[3])](DaemonClient& c) { return c.enableLaunchItem(unit); });
    if (command == "hold" && (argc == 5 || argc == 6))
        return hold(argv[2], std::stoi(argv[3]), std::stoi(argv[4]), argc == 6);
    if (command == "subscribe" && argc == 5)
        return subscribe(argv[2], std::stoi(argv[3]), std::stoi(argv[4]));
    std::fprintf(stderr, "usage: %s uninstall SOCKET | enable SOCKET UNIT | hold SOCKET COUNT SECONDS [announce] | subscribe SOCKET COUNT SECONDS\n",
                 argv[0]);
    return 2;
}
