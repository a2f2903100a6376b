// Two launches of the real application on one session bus: the second brings the first forward
// and exits; the first keeps running.
#include "ChildProcess.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

using namespace tarnel::testing;

namespace {

// Every line the application logged, from the JSON-lines files under its state folder.
std::string loggedText(const std::filesystem::path& stateHome)
{
    std::string all;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(stateHome, error))
        if (entry.is_regular_file(error))
            all += readFile(entry.path());
    return all;
}

} // namespace

TEST(SingleInstanceEndToEnd, ASecondLaunchBringsTheFirstForwardAndExits)
{
    if (!std::getenv("DBUS_SESSION_BUS_ADDRESS"))
        GTEST_SKIP() << "needs a session bus: run under dbus-run-session";
    int argc = 0;
    QCoreApplication app(argc, nullptr);
    auto bus = QDBusConnection::sessionBus();
    ASSERT_TRUE(bus.isConnected());
    const QString name = QStringLiteral("org.quendal.Tarnel");
    ASSERT_FALSE(bus.interface()->isServiceRegistered(name).value()) << "no other Tarnel on this test's bus";

    TemporaryDirectory home;
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::setenv("XDG_STATE_HOME", (home.path() / "state").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home.path() / "config").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", (home.path() / "run").c_str(), 1);
    // No daemon for this test: the window is what matters.
    ::setenv("TARNEL_DAEMON_PATH", (home.path() / "no-tarneld").c_str(), 1);
    const auto program = binaryDirectory() / "gui" / "tarnel";

    ChildProcess first(program, {});
    ASSERT_TRUE(waitUntil([&] { return bus.interface()->isServiceRegistered(name).value(); }, std::chrono::seconds(20)))
        << "the first launch owns the name";

    ChildProcess second(program, {});
    EXPECT_EQ(second.wait(std::chrono::seconds(20)), 0) << "the second launch exits at once, successfully";
    EXPECT_TRUE(first.isRunning()) << "the first one keeps running";
    EXPECT_TRUE(waitUntil([&] { return loggedText(home.path() / "state").find("asked this one to come forward") != std::string::npos; }))
        << "the first one was asked to come forward";
    EXPECT_NE(loggedText(home.path() / "state").find("Reopen with visible windows"), std::string::npos)
        << "and handled it as a reopen, which shows a hidden window";
    EXPECT_NE(loggedText(home.path() / "state").find("its window was brought forward"), std::string::npos)
        << "the second one said why it left";

    // Once the first is gone, a new launch is the first again.
    first.signal(SIGTERM);
    first.wait(std::chrono::seconds(20));
    ASSERT_TRUE(waitUntil([&] { return !bus.interface()->isServiceRegistered(name).value(); }, std::chrono::seconds(10)));
    ChildProcess third(program, {});
    EXPECT_TRUE(waitUntil([&] { return bus.interface()->isServiceRegistered(name).value(); }, std::chrono::seconds(20)));
    EXPECT_TRUE(third.isRunning());
    third.signal(SIGTERM);
    third.wait(std::chrono::seconds(20));
}
