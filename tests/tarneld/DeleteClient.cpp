// Asks a daemon to delete paths and prints one 1 or 0 per path; used to act as another user.
#include "TarnelKit/Daemon/DaemonClient.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SOCKET [PATH...]\n", argv[0]);
        return 2;
    }
    using namespace tarnel;
    asio::io_context context;
    auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon", argv[1]);
    DaemonClient client(endpoint.serviceName,
                        xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer(), context.get_executor()));
    std::vector<std::string> paths(argv + 2, argv + argc);
    auto future = asio::co_spawn(context, client.deleteFiles(paths, DaemonClient::Reason::userConfirmedCleanup),
                                 asio::use_future);
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        context.run_one();
    try {
        for (bool removed : future.get())
            std::printf("%d", removed ? 1 : 0);
        std::printf("\n");
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
