#include "Daemon.h"
#include "DaemonOptions.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    using namespace tarnel::daemon;
    DaemonOptions options;
    try {
        options = DaemonOptions::parse(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& e) {
        fmt::print(stderr, "tarneld: {}\n{}", e.what(), DaemonOptions::usage());
        return 2;
    }
    // A client that vanishes mid-write must not kill the daemon.
    std::signal(SIGPIPE, SIG_IGN);

    asio::io_context context(1);
    quendal::Runtime::shared().setMainExecutor(context.get_executor());
    quendal::AppLogger::configure(tarnel::MonitorAppIdentity::daemon(options.debug), std::string("daemon"),
                                  std::string("tarneld"));
    // Run by hand or by the session registry, its output is its log too.
    quendal::AppLogger::setEchoToStandardError(true);
    auto log = [](const std::string& line) { quendal::AppLogger::info(line, quendal::AppLogger::daemon); };

    Daemon daemon(options, context.get_executor(), log);
    daemon.onIdle([&] {
        daemon.stop();
        asio::post(context, [&] { context.stop(); });
    });
    // Installed before start: a SIGTERM while the lock and sockets are being taken still
    // runs the clean-up once the loop runs.
    asio::signal_set signals(context, SIGTERM, SIGINT, SIGHUP);
    signals.async_wait([&](std::error_code ec, int signal) {
        if (ec)
            return;
        log(fmt::format("stopping on signal {}", signal));
        daemon.stop();
        // Let the termination notices go out, then leave.
        asio::post(context, [&] { context.stop(); });
    });
    try {
        daemon.start();
    } catch (const std::exception& e) {
        quendal::AppLogger::critical(std::string("cannot start: ") + e.what(), quendal::AppLogger::daemon);
        return 1;
    }

    context.run();
    quendal::Runtime::shared().resetMainExecutor();
    return 0;
}
