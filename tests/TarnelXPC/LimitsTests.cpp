// What a server holds against its peers: connections per uid, bytes of unfinished frames,
// their time, what waits for a peer that does not read, and who the peer really is.
#include "TarnelXPC/ConnectionLimits.h"
#include "TarnelXPC/Wire/FramedConnection.h"
#include "TarnelXPC/Wire/ValueCoding.h"
#include "TarnelXPC/XPCServer.h"

#include "TestSupport.h"
#include "VirtualTime.h"

#include <asio/local/connect_pair.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tarnel;
using namespace tarnel::xpc;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;

namespace {

// A raw client socket; the test writes bytes by hand and asks whether the server closed it.
class RawClient {
public:
    explicit RawClient(const std::filesystem::path& path) : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect");
    }
    explicit RawClient(int fd) : fd_(fd) {}
    int descriptor() const { return fd_; }
    ~RawClient() { ::close(fd_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    // Sends a header announcing `size` and `bodyBytes` of body, letting the server read
    // between the pieces the socket takes at once; stops early when the server hangs up.
    void announce(std::uint32_t size, std::size_t bodyBytes, const std::function<void()>& serve)
    {
        std::string bytes(4 + bodyBytes, '\x08');
        for (int i = 0; i < 4; ++i)
            bytes[static_cast<std::size_t>(i)] = static_cast<char>((size >> (8 * i)) & 0xff);
        for (std::size_t sent = 0, idle = 0; sent < bytes.size() && idle < 100 && !isClosedByServer();) {
            const auto n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (n > 0) {
                sent += static_cast<std::size_t>(n);
                idle = 0;
            } else {
                ++idle;
            }
            serve();
        }
        serve();
    }
    bool isClosedByServer() const
    {
        char byte = 0;
        return ::recv(fd_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
    }
    // Every whole frame waiting on the socket, decoded; a partial one waits for the next call.
    std::vector<Value> drain()
    {
        auto& bytes = pending_;
        char buffer[65536];
        for (;;) {
            const auto n = ::recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT);
            if (n <= 0)
                break;
            bytes.append(buffer, static_cast<std::size_t>(n));
        }
        std::vector<Value> frames;
        std::size_t offset = 0;
        while (bytes.size() - offset >= frameHeaderSize) {
            const auto* h = reinterpret_cast<const unsigned char*>(bytes.data() + offset);
            const std::uint32_t size = h[0] | (h[1] << 8) | (h[2] << 16) | (std::uint32_t(h[3]) << 24);
            if (bytes.size() - offset - frameHeaderSize < size)
                break;
            frames.push_back(decodeValue(std::string_view(bytes).substr(offset + frameHeaderSize, size)));
            offset += frameHeaderSize + size;
        }
        bytes.erase(0, offset);
        return frames;
    }

private:
    int fd_;
    std::string pending_;
};

Value noopRequest()
{
    Value space;
    space.set("packageInternal", Value::dictionary());
    Value route;
    route.set("namespace", space);
    route.set("pathComponents", Value(Value::Array{Value("noop")}));
    route.set("messageType", Value(Value::Null{}));
    route.set("replyType", Value(Value::Null{}));
    route.set("sequentialReplyType", Value(Value::Null{}));
    route.set("expectsReply", Value(false));
    Value request;
    request.set("__message", Value("request"));
    request.set("__route", route);
    request.set("__request_id", Value("A"));
    return request;
}

class Limits : public ::testing::Test {
protected:
    void startServer(ConnectionLimits limits)
    {
        XPCServer::Options options;
        options.limits = limits;
        options.log = [this](const std::string& line) { logged.push_back(line); };
        options.connectionCountChanged = [this](std::size_t count) { counts.push_back(count); };
        server = std::make_unique<XPCServer>(endpoint, time.executor(), options);
        server->start();
    }

    VirtualTime time;
    TemporaryDirectory directory;
    ServiceEndpoint endpoint = ServiceEndpoint::at("org.quendal.test", directory.path() / "test.sock");
    std::unique_ptr<XPCServer> server;
    std::vector<std::string> logged;
    std::vector<std::size_t> counts;
};

} // namespace

TEST(LimitsParts, BudgetsRefuseWhatPassesTheLimitAndTheLogSaysHowManyLinesItLeftOut)
{
    ByteBudget budget(100);
    EXPECT_TRUE(budget.take(60));
    EXPECT_FALSE(budget.take(41)) << "61 + 40 passes the limit";
    EXPECT_EQ(budget.used(), 60u) << "a refusal takes nothing";
    EXPECT_TRUE(budget.take(40));
    budget.give(100);
    EXPECT_FALSE(budget.take(101));
    EXPECT_TRUE(budget.take(100));

    VirtualTime time;
    std::vector<std::string> lines;
    LogLimiter log([&](const std::string& line) { lines.push_back(line); }, 3, std::chrono::seconds(10));
    for (int i = 0; i < 50; ++i)
        log("refusals", "refused " + std::to_string(i));
    log("other", "another kind is counted apart");
    EXPECT_EQ(lines, (std::vector<std::string>{"refused 0", "refused 1", "refused 2", "another kind is counted apart"}));
    time.await(quendal::Runtime::shared().clock().sleep(std::chrono::seconds(10)));
    log("refusals", "refused again");
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[4], "47 similar lines about refusals left out");
    EXPECT_EQ(lines[5], "refused again");
}

TEST_F(Limits, AUidAtItsConnectionLimitIsRefusedUntilOneOfItsConnectionsCloses)
{
    ConnectionLimits limits;
    limits.connectionsPerUid = 3;
    startServer(limits);
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 5; ++i)
        clients.push_back(std::make_unique<RawClient>(endpoint.socketPath));
    time.runFor(0.1);
    std::vector<bool> closed;
    for (const auto& c : clients)
        closed.push_back(c->isClosedByServer());
    EXPECT_EQ(closed, (std::vector<bool>{false, false, false, true, true}));
    EXPECT_EQ(server->connectionCount(), 3u);
    EXPECT_EQ(counts.back(), 3u);

    clients.erase(clients.begin());
    time.runFor(0.1);
    EXPECT_EQ(server->connectionCount(), 2u);
    RawClient again(endpoint.socketPath);
    time.runFor(0.1);
    EXPECT_FALSE(again.isClosedByServer()) << "a closed connection frees its place";
    EXPECT_EQ(server->connectionCount(), 3u);
}

TEST_F(Limits, UnfinishedFramesAreBoundInBytesAndInTime)
{
    ConnectionLimits limits;
    limits.bufferedBytesPerUid = 1u << 20;
    startServer(limits);

    // Announcing 16 MiB costs nothing; sending more than the uid's budget closes that connection.
    auto serve = [&] { time.poll(); };
    RawClient announcer(endpoint.socketPath);
    announcer.announce(maximumFrameSize, 1, serve);
    RawClient sender(endpoint.socketPath);
    sender.announce(maximumFrameSize, 2u << 20, serve);
    EXPECT_TRUE(sender.isClosedByServer());
    EXPECT_FALSE(announcer.isClosedByServer());
    EXPECT_EQ(server->connectionCount(), 1u);

    // 30 s after its first byte, a frame still unfinished closes its connection.
    time.runFor(28);
    EXPECT_FALSE(announcer.isClosedByServer());
    time.runFor(2);
    EXPECT_TRUE(announcer.isClosedByServer());
    EXPECT_EQ(server->connectionCount(), 0u);
    bool saidWhy = false;
    for (const auto& line : logged)
        saidWhy |= line.find("unfinished after 30 seconds") != std::string::npos;
    EXPECT_TRUE(saidWhy);

    // The time counts per frame: one finished in 20 s, then another started, is no offence,
    // and neither is a connection left idle between frames.
    RawClient patient(endpoint.socketPath);
    const auto frame = encodeFrame(noopRequest());
    auto sendBytes = [&](std::string_view bytes) {
        ASSERT_EQ(::send(patient.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        time.poll();
    };
    sendBytes(std::string_view(frame).substr(0, 6));
    time.await(quendal::Runtime::shared().clock().sleep(std::chrono::seconds(20)));
    sendBytes(std::string_view(frame).substr(6));
    sendBytes(std::string_view(frame).substr(0, 6));
    time.await(quendal::Runtime::shared().clock().sleep(std::chrono::seconds(20)));
    EXPECT_FALSE(patient.isClosedByServer()) << "40 s on the connection, 20 s on each frame";
    sendBytes(std::string_view(frame).substr(6));
    time.runFor(120);
    EXPECT_FALSE(patient.isClosedByServer()) << "nothing unfinished, nothing to time out";
}

TEST_F(Limits, RunningOutOfDescriptorsPausesAcceptingInsteadOfSpinning)
{
    startServer({});
    std::vector<int> clients;
    for (int i = 0; i < 12; ++i)
        clients.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    const auto open = static_cast<rlim_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
    rlimit low{open + 4, saved.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, endpoint.socketPath.c_str(), sizeof address.sun_path - 1);
    for (int fd : clients)
        ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    // Without a pause this poll would never end: every accept fails at once and is retried.
    time.clock().clearRequestedSleeps();
    time.poll();
    const auto served = server->connectionCount();
    ::setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_LT(served, 12u);
    const auto sleeps = time.clock().requestedSleeps();
    EXPECT_NE(std::find(sleeps.begin(), sleeps.end(), std::chrono::milliseconds(250)), sleeps.end());
    std::size_t failures = 0;
    for (const auto& line : logged)
        failures += line.find("failed") != std::string::npos ? 1 : 0;
    EXPECT_GE(failures, 1u);
    EXPECT_LE(failures, 10u);

    // Descriptors back: after the pause every waiting client is served.
    time.runFor(0.3);
    EXPECT_EQ(server->connectionCount(), 12u);
    for (int fd : clients)
        ::close(fd);
}

TEST(LimitsQueue, APeerThatDoesNotReadGetsTheNewestOfAKeyAndIsDroppedPastTheQueueLimit)
{
    VirtualTime time;
    FramedConnection::Socket ours(time.context()), theirs(time.context());
    asio::local::connect_pair(ours, theirs);
    RawClient peer(theirs.release());
    auto connection = FramedConnection::make(std::move(ours));
    FramedConnection::Guards guards;
    guards.maximumQueuedBytes = 4u << 20;
    connection->setGuards(guards);
    bool closed = false;
    connection->start([](Value) {}, [&](const std::string&, bool) { closed = true; });

    // 64 KiB values, 400 of them: far more than the socket holds, all under one key.
    const std::string padding(64 * 1024, 'x');
    for (std::int64_t i = 0; i < 400; ++i) {
        Value message;
        message.set("n", Value(i));
        message.set("padding", Value(padding));
        connection->sendLatest("subscription", message);
        time.poll();
    }
    EXPECT_FALSE(closed);
    std::vector<Value> frames;
    for (int quiet = 0; quiet < 5;) {
        auto more = peer.drain();
        quiet = more.empty() ? quiet + 1 : 0;
        frames.insert(frames.end(), more.begin(), more.end());
        time.poll();
    }
    ASSERT_FALSE(frames.empty());
    EXPECT_LT(frames.size(), 40u) << "what the socket held, and then only the newest";
    ASSERT_TRUE(frames.back().find("n") && frames.back().find("n")->asInt64());
    EXPECT_EQ(*frames.back().find("n")->asInt64(), 399);

    // Without a key nothing may be dropped, so the connection goes instead.
    for (std::int64_t i = 0; i < 400 && !closed; ++i) {
        connection->send(Value(padding));
        time.poll();
    }
    EXPECT_TRUE(closed);
}

TEST(PeerIdentity, TheProcessBehindAPeerIsTheOneThatConnected)
{
    TemporaryDirectory directory;
    const auto path = directory.path() / "peer.sock";
    int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 4), 0);

    // This process: alive, start time as /proc says.
    int a[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, a), 0);
    auto own = PeerCredentials::of(a[0]);
    ::close(a[0]);
    ::close(a[1]);
    EXPECT_EQ(own.pid, ::getpid());
    ASSERT_TRUE(own.startTime);
    EXPECT_EQ(own.startTime, processStartTime(::getpid()));
    EXPECT_TRUE(own.isStillTheConnectingProcess());
    EXPECT_TRUE(own.process) << "a pidfd of the peer, taken at connect time (Linux 5.3 and later)";
    auto forged = own;
    *forged.startTime += 1;
    EXPECT_FALSE(forged.isStillTheConnectingProcess()) << "another start time is another process";

    // A child that connects and exits: its pid no longer names the caller.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ::_exit(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : 1);
    }
    const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    ASSERT_GE(fd, 0);
    auto gone = PeerCredentials::of(fd);
    EXPECT_EQ(gone.pid, child);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_FALSE(gone.isStillTheConnectingProcess());
    ::close(fd);
    ::close(listener);
}
