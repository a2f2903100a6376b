// A session daemon leaves a while after its last client; the system daemon stays.
#include "Daemon.h"

#include "ChildProcess.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace tarnel;
using namespace tarnel::daemon;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

// A plain connection to a socket, closed on destruction.
class Connection {
public:
    explicit Connection(const fs::path& path) : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (fd_ < 0 || ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect to " + path.string());
    }
    ~Connection() { ::close(fd_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

private:
    int fd_;
};

} // namespace

TEST(IdleExit, ASessionDaemonLeavesSixtySecondsAfterItsLastClient)
{
    VirtualTime time;
    TemporaryDirectory sockets;
    DaemonOptions options;
    options.session = true;
    options.socketDirectory = sockets.path();
    Daemon daemon(options, time.executor(), nullptr);
    int idle = 0;
    daemon.onIdle([&] { ++idle; });
    daemon.start();

    // Nobody ever came: the same minute counts from the start.
    time.runFor(59);
    EXPECT_EQ(idle, 0);
    {
        Connection statistics(daemon.statisticsEndpoint().socketPath);
        time.runFor(0.5);
        time.runFor(600);
        EXPECT_EQ(idle, 0) << "a connected client keeps the daemon";
        {
            Connection privileged(daemon.privilegedEndpoint().socketPath);
            time.runFor(0.5);
        }
        time.runFor(120);
        EXPECT_EQ(idle, 0) << "one endpoint still has a client";
    }
    time.runFor(59);
    EXPECT_EQ(idle, 0);
    time.runFor(2);
    EXPECT_EQ(idle, 1);
    daemon.stop();
}

TEST(IdleExit, TheSystemDaemonStays)
{
    VirtualTime time;
    TemporaryDirectory sockets;
    DaemonOptions options;
    options.socketDirectory = sockets.path();
    Daemon daemon(options, time.executor(), nullptr);
    int idle = 0;
    daemon.onIdle([&] { ++idle; });
    daemon.start();
    time.runFor(3600);
    EXPECT_EQ(idle, 0);
    daemon.stop();
}

TEST(IdleExit, TheRealDaemonExitsOnItsOwnAfterItsClientsLeft)
{
    TemporaryDirectory sockets;
    ChildProcess daemon(binaryDirectory() / "daemon" / "tarneld",
                        {"--session", "--socket-dir", sockets.path().string(), "--idle-exit", "1"});
    const auto socket = sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock";
    ASSERT_TRUE(waitUntil([&] { return fs::exists(socket); }));
    {
        Connection client(socket);
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        EXPECT_TRUE(daemon.isRunning()) << "a client is connected";
    }
    EXPECT_EQ(daemon.wait(std::chrono::seconds(5)), 0);
    EXPECT_FALSE(fs::exists(socket)) << "it cleans up as on a signal";
    EXPECT_FALSE(fs::exists(sockets.path() / "tarneld.pid"));
}
