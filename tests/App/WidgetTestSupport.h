#pragma once
// What the widget tests of the application share: their main, a router with no statistics, waits
// on the Qt event loop, and a session daemon whose statistics feed the shared client.
#include "QtExecutor.h"
#include "App/Shell/Router.h"
#include "Theme/ScrollBarStyle.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace tarnel::testing {

struct WidgetTestOptions {
    QString applicationName;
    QString applicationVersion;
    bool scrollBarStyle = true;
    // Runs after the tests, while the main actor is still set.
    std::function<void()> afterTests;
};

// Qt must be torn down before static destructors run, so the application lives in this frame.
inline int runWidgetTests(int& argc, char** argv, const WidgetTestOptions& options = {})
{
    QApplication app(argc, argv);
    if (!options.applicationName.isEmpty())
        QApplication::setApplicationName(options.applicationName);
    if (!options.applicationVersion.isEmpty())
        QApplication::setApplicationVersion(options.applicationVersion);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    if (options.scrollBarStyle)
        tarnel::gui::ScrollBarStyle::install(); // before any palette: a new style resets it
    tarnel::gui::QtMainContext context;
    quendal::Runtime::shared().setMainExecutor(tarnel::gui::QtExecutor(context));
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (options.afterTests)
        options.afterTests();
    quendal::Runtime::shared().resetMainExecutor();
    return result;
}

// A router whose statistics stream never says anything.
inline std::shared_ptr<Router> quietRouter()
{
    return Router::make([] { return quendal::AsyncStream<StatsUpdateBatch>::make().first; });
}

// Lets queued work and repaints run.
inline void settle()
{
    for (int i = 0; i < 5; ++i) {
        QCoreApplication::processEvents();
        QTest::qWait(10);
    }
}

// Spins the event loop until `ready` holds; the bound only turns a hang into a failure.
inline bool waitFor(const std::function<bool()>& ready, int milliseconds = 10000, int pollMilliseconds = 20)
{
    QElapsedTimer timer;
    timer.start();
    while (!ready() && timer.elapsed() < milliseconds)
        QTest::qWait(pollMilliseconds);
    return ready();
}

// The statistics daemon of this build in session mode, on a socket folder of its own.
class SessionStatsDaemon {
public:
    // Whether its socket appeared.
    bool isListening() const
    {
        return tarnel::testing::waitUntil([this] { return std::filesystem::exists(socket); });
    }

    // Makes a client of this daemon the shared one, delivering on the main actor.
    void installSharedClient() const
    {
        StatsClient::Environment environment;
        const auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats", socket);
        environment.makeTransport = [endpoint] {
            return xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer());
        };
        environment.executor = quendal::Runtime::shared().mainExecutor();
        environment.clock = quendal::Runtime::shared().clockPointer();
        StatsClient::setShared(std::make_shared<StatsClient>("stats", std::move(environment)));
    }

    TemporaryDirectory sockets;
    ChildProcess daemon{binaryDirectory() / "daemon" / "tarneld",
                        {"--session", "--socket-dir", sockets.path().string()}};
    std::filesystem::path socket = sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock";
};

} // namespace tarnel::testing
