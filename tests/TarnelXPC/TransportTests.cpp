#include "TarnelXPC/TypedClient.h"
#include "TarnelXPC/TypedServer.h"
#include "TarnelXPC/Wire/ValueCoding.h"

#include "QuendalFoundation/Runtime/Cancellation.h"
#include "QuendalFoundation/Runtime/Task.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <asio/local/stream_protocol.hpp>
#include <asio/write.hpp>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace tarnel;
using namespace tarnel::xpc;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;

namespace {

const XPCRouteWithoutMessageWithoutReply<> reset{{"reset"}};
const XPCRouteWithoutMessageWithReply<std::string> version{{"version"}};
const XPCRouteWithMessageWithoutReply<bool> toggle{{"toggle"}};
const XPCRouteWithMessageWithReply<std::string, std::string> echo{{"echo"}};
const XPCRouteWithoutMessageWithSequentialReply<std::int64_t> count{{"count"}};
const XPCRouteWithMessageWithSequentialReply<std::int64_t, std::string> repeat{{"repeat"}};
const XPCRouteWithMessageWithReply<bool, std::string> echoWithOtherTypes{{"echo"}};
const XPCRouteWithoutMessageWithReply<std::string> silent{{"silent"}};
const XPCRouteWithoutMessageWithSequentialReply<std::int64_t> forever{{"forever"}};

class Transport : public ::testing::Test {
protected:
    Transport()
        : endpoint(ServiceEndpoint::at("org.quendal.test", directory.path() / "test.sock")),
          server(endpoint, time.executor(), serverOptions())
    {
        registerHandler(server, reset, [this](RequestContext) -> asio::awaitable<void> {
            ++resets;
            co_return;
        });
        registerHandler(server, version, [](RequestContext) -> asio::awaitable<std::string> { co_return "v19"; });
        registerHandler(server, toggle, [this](bool on, RequestContext) -> asio::awaitable<void> {
            toggled = on;
            co_return;
        });
        registerHandler(server, echo, [](std::string text, RequestContext c) -> asio::awaitable<std::string> {
            if (text == "throw")
                throw std::runtime_error("the handler broke");
            co_await quendal::Runtime::shared().clock().sleep(std::chrono::seconds(text.size()));
            co_return text + " from " + std::to_string(c.peer.uid);
        });
        registerHandler(server, count,
                        [](std::shared_ptr<TypedSequenceSink<std::int64_t>> sink, RequestContext) -> asio::awaitable<void> {
                            for (std::int64_t i = 1; i <= 3; ++i)
                                sink->send(i);
                            sink->finish();
                            co_return;
                        });
        registerHandler(server, repeat,
                        [](std::int64_t times, std::shared_ptr<TypedSequenceSink<std::string>> sink,
                           RequestContext) -> asio::awaitable<void> {
                            if (times < 0)
                                throw std::invalid_argument("negative");
                            for (std::int64_t i = 0; i < times; ++i)
                                sink->send("again");
                            sink->fail(XPCError::misconfiguredServer("enough"));
                            co_return;
                        });
        registerHandler(server, silent, [](RequestContext) -> asio::awaitable<std::string> {
            co_await quendal::Runtime::shared().clock().sleep(std::chrono::seconds(1000000000));
            co_return "never";
        });
        registerHandler(server, forever,
                        [](std::shared_ptr<TypedSequenceSink<std::int64_t>> sink, RequestContext) -> asio::awaitable<void> {
                            sink->send(1);
                            co_await quendal::Runtime::shared().clock().sleep(std::chrono::seconds(1000000000));
                        });
        server.start();
        client = XPCClient::create(endpoint, ServerRequirement::anyServer(), time.executor());
    }

    XPCServer::Options serverOptions()
    {
        XPCServer::Options options;
        options.admit = [this](const PeerCredentials& peer) {
            ++connectionsAdmitted;
            lastPeer = peer;
            return true;
        };
        return options;
    }

    template <class T>
    XPCError awaitError(asio::awaitable<T> work)
    {
        try {
            time.await(std::move(work));
        } catch (const XPCError& e) {
            return e;
        }
        ADD_FAILURE() << "expected an XPCError";
        return XPCError::unknown("none");
    }

    VirtualTime time;
    TemporaryDirectory directory;
    ServiceEndpoint endpoint;
    XPCServer server;
    std::shared_ptr<XPCClient> client;
    int resets = 0;
    std::optional<bool> toggled;
    int connectionsAdmitted = 0;
    PeerCredentials lastPeer;
};

asio::awaitable<std::vector<std::int64_t>> drain(quendal::AsyncStream<std::int64_t> stream)
{
    std::vector<std::int64_t> all;
    for (;;) {
        auto next = stream.next();
        auto v = co_await std::move(next);
        if (!v)
            break;
        all.push_back(*v);
    }
    co_return all;
}

} // namespace

TEST_F(Transport, EveryRouteShapeWorksAgainstARealServer)
{
    time.await(send(*client, reset));
    EXPECT_EQ(resets, 1);
    EXPECT_EQ(time.await(sendAndReceive(*client, version)), "v19");
    time.await(send(*client, toggle, true));
    EXPECT_EQ(toggled, true);
    EXPECT_EQ(time.await(sendAndReceive(*client, echo, std::string("hi"))), "hi from " + std::to_string(::getuid()));

    EXPECT_EQ(time.await(drain(time.await(sendForSequence(*client, count)))), (std::vector<std::int64_t>{1, 2, 3}));

    auto repeated = time.await(sendForSequence(*client, repeat, std::int64_t{2}));
    EXPECT_EQ(time.await(repeated.next()), "again");
    EXPECT_EQ(time.await(repeated.next()), "again");
    try {
        time.await(repeated.next());
        ADD_FAILURE() << "the failure must reach the consumer";
    } catch (const XPCError& e) {
        EXPECT_EQ(e, XPCError::misconfiguredServer("enough"));
    }

    // One connection carried all of it, and the server knows who the client is.
    EXPECT_EQ(connectionsAdmitted, 1);
    EXPECT_EQ(lastPeer.pid, ::getpid());
    EXPECT_EQ(lastPeer.uid, ::getuid());
    EXPECT_EQ(client->openSequenceCount(), 0u);
}

TEST_F(Transport, TheSocketAppearsOnlyListeningAndWithItsMode)
{
    // Clients wait for the file and connect at once: it must never be there before it listens,
    // nor with a wider mode than asked, nor leave its staging name behind.
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"test.sock"});
    EXPECT_EQ(std::filesystem::status(endpoint.socketPath).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    asio::io_context raw;
    asio::local::stream_protocol::socket probe(raw);
    std::error_code ec;
    probe.connect(asio::local::stream_protocol::endpoint(endpoint.socketPath.string()), ec);
    EXPECT_FALSE(ec) << ec.message();
}

TEST_F(Transport, ServerErrorsReachTheCaller)
{
    XPCRoute unknown;
    unknown.pathComponents = {"nothing", "here"};
    auto notRegistered = awaitError(client->send(unknown, std::nullopt));
    EXPECT_EQ(notRegistered, XPCError::routeNotRegistered({"nothing", "here"}));

    // Same path, other message type: one route to the server, and a mismatch.
    auto mismatch = awaitError(sendAndReceive(*client, echoWithOtherTypes, true));
    EXPECT_EQ(mismatch.kind(), XPCError::Kind::routeMismatch);
    EXPECT_EQ(mismatch.routeName(), (std::vector<std::string>{"echo"}));
    EXPECT_EQ(mismatch.description(), "Request had a message of type Bool, but the handler registered with the server "
                                      "has a message parameter of type String");

    auto shaped = [&](std::vector<std::string> path, std::optional<std::string> message, std::optional<std::string> reply,
                      std::optional<std::string> sequence) {
        XPCRoute r;
        r.pathComponents = std::move(path);
        r.messageType = std::move(message);
        r.replyType = std::move(reply);
        r.sequentialReplyType = std::move(sequence);
        r.expectsReply = r.replyType || r.sequentialReplyType;
        return awaitError(client->send(r, r.messageType ? std::optional<Value>(Value("x")) : std::nullopt)).description();
    };
    EXPECT_EQ(shaped({"echo"}, {}, "String", {}),
              "Request did not contain a message, but the handler registered with the server has a message parameter "
              "of type String");
    EXPECT_EQ(shaped({"version"}, "String", "String", {}),
              "Request had a message of type String, but the handler registered with the server does not have a "
              "message parameter.");
    EXPECT_EQ(shaped({"version"}, {}, {}, {}),
              "Request does not expect a reply, but the handler registered with the server has a return value of type "
              "String");
    EXPECT_EQ(shaped({"reset"}, {}, "String", {}),
              "Request expects a reply of type String, but the handler registered with the server has no return value.");
    EXPECT_EQ(shaped({"version"}, {}, {}, "String"),
              "Request expects a sequential reply of type String, but the handler registered with the server does not "
              "generate a sequential reply.");
    EXPECT_EQ(shaped({"count"}, {}, {}, {}),
              "Request does not expect a sequential reply, but the handler registered with the server has a sequential "
              "reply of type Int");

    // A thrown handler becomes handlerError, and the server goes on serving.
    auto thrown = awaitError(sendAndReceive(*client, echo, std::string("throw")));
    ASSERT_EQ(thrown.kind(), XPCError::Kind::handlerError);
    EXPECT_EQ(thrown.handlerError()->localizedDescription, "the handler broke");
    EXPECT_EQ(thrown.handlerError()->typeName, "std::runtime_error");
    EXPECT_EQ(time.await(sendAndReceive(*client, version)), "v19");

    // A message the handler cannot decode is the reading side's decodingError.
    XPCRoute wrongKind = toggle.route();
    EXPECT_EQ(awaitError(client->send(wrongKind, Value("not a bool"))).kind(), XPCError::Kind::decodingError);
}

TEST_F(Transport, AServerThatNeverRepliesLeavesTheSendWaitingUntilTheConnectionDrops)
{
    std::optional<XPCError> failure;
    auto waiting = [&]() -> asio::awaitable<void> {
        try {
            co_await sendAndReceive(*client, silent);
        } catch (const XPCError& e) {
            failure = e;
        }
    };
    auto task = quendal::spawn(time.executor(), waiting());
    time.runFor(3600); // an hour of virtual time: still waiting
    EXPECT_FALSE(task.isFinished());
    EXPECT_FALSE(failure);

    server.stop(false);
    time.poll();
    time.runFor(1);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind(), XPCError::Kind::connectionInterrupted);
    EXPECT_FALSE(client->isConnected());
}

TEST_F(Transport, AnOpenSequenceHearsNothingAfterTheConnectionBreaks)
{
    auto stream = time.await(sendForSequence(*client, forever));
    EXPECT_EQ(time.await(stream.next()), 1);
    bool ended = false, failed = false;
    auto reader = [&]() -> asio::awaitable<void> {
        try {
            auto next = co_await stream.next();
            ended = !next;
        } catch (...) {
            failed = true;
        }
    };
    auto task = quendal::spawn(time.executor(), reader());
    server.stop(false);
    time.runFor(60);
    EXPECT_FALSE(task.isFinished());
    EXPECT_FALSE(ended);
    EXPECT_FALSE(failed);
    EXPECT_EQ(client->openSequenceCount(), 1u);
    task.cancel();
    time.poll();
    EXPECT_EQ(client->openSequenceCount(), 0u) << "a consumer that stops releases its handler";
}

TEST_F(Transport, ReconnectsWithANewNoopExchangeAfterAnInterruption)
{
    EXPECT_EQ(time.await(sendAndReceive(*client, version)), "v19");
    EXPECT_EQ(connectionsAdmitted, 1);
    client->disconnect();
    time.poll();
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(time.await(sendAndReceive(*client, version)), "v19");
    EXPECT_EQ(connectionsAdmitted, 2);

    // The server goes away: the service is gone, not interrupted.
    server.stop(false);
    time.poll();
    EXPECT_EQ(awaitError(sendAndReceive(*client, version)).kind(), XPCError::Kind::connectionInvalid);

    // A server that fails the requirement is insecure, and the connection is not kept.
    server.start();
    auto strict = XPCClient::create(endpoint, ServerRequirement::runningAs(::getuid() + 1), time.executor());
    EXPECT_EQ(awaitError(sendAndReceive(*strict, version)).kind(), XPCError::Kind::insecure);
    EXPECT_FALSE(strict->isConnected());

    // Sends that come while a connection is being made wait for that one, and share its failure.
    const int admitted = connectionsAdmitted;
    auto fresh = XPCClient::create(endpoint, ServerRequirement::runningAs(::getuid() + 1), time.executor());
    std::vector<XPCError::Kind> kinds;
    auto fail = [](XPCClient& c, std::vector<XPCError::Kind>& out) -> asio::awaitable<void> {
        try {
            co_await sendAndReceive(c, version);
        } catch (const XPCError& e) {
            out.push_back(e.kind());
        }
    };
    std::vector<quendal::Task> sends;
    for (int i = 0; i < 3; ++i)
        sends.push_back(quendal::spawn(time.executor(), fail(*fresh, kinds)));
    time.runFor(1);
    EXPECT_EQ(kinds, std::vector<XPCError::Kind>(3, XPCError::Kind::insecure));
    EXPECT_EQ(connectionsAdmitted, admitted + 1) << "one connection was tried for all three";
}

TEST_F(Transport, ManyInterleavedRequestsAndTerminationImminent)
{
    // Replies come back in the order the handlers finish, each to its own request.
    std::vector<std::string> answers;
    std::vector<quendal::Task> tasks;
    auto ask = [](XPCClient& c, std::string text, std::vector<std::string>& out) -> asio::awaitable<void> {
        auto reply = co_await sendAndReceive(c, echo, text);
        out.push_back(reply.substr(0, reply.find(' ')));
    };
    for (const auto* text : {"cccc", "a", "bb"})
        tasks.push_back(quendal::spawn(time.executor(), ask(*client, text, answers)));
    time.runFor(10);
    EXPECT_EQ(answers, (std::vector<std::string>{"a", "bb", "cccc"}));
    EXPECT_EQ(connectionsAdmitted, 1);

    std::optional<XPCError> failure;
    auto wait = [](XPCClient& c, std::optional<XPCError>& out) -> asio::awaitable<void> {
        try {
            co_await sendAndReceive(c, silent);
        } catch (const XPCError& e) {
            out = e;
        }
    };
    auto waiting = quendal::spawn(time.executor(), wait(*client, failure));
    time.runFor(1);
    server.stop(true);
    time.runFor(1);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind(), XPCError::Kind::terminationImminent);
}

TEST_F(Transport, MalformedFramesCloseOnlyThatConnection)
{
    EXPECT_EQ(time.await(sendAndReceive(*client, version)), "v19");
    auto sendRaw = [&](std::string bytes) {
        asio::local::stream_protocol::socket raw(time.context());
        raw.connect(asio::local::stream_protocol::endpoint(endpoint.socketPath.string()));
        asio::write(raw, asio::buffer(bytes));
        time.poll();
        // The server hangs up: reading gives end of file rather than blocking.
        char byte;
        std::error_code ec;
        raw.non_blocking(true);
        for (int i = 0; i < 100 && !ec; ++i) {
            time.poll();
            raw.read_some(asio::buffer(&byte, 1), ec);
            if (ec == asio::error::would_block)
                ec = {};
        }
        return ec;
    };
    EXPECT_EQ(sendRaw(std::string("\x05\x00\x00\x00\x09garbage", 11)), asio::error::eof);
    EXPECT_EQ(sendRaw(std::string("\xff\xff\xff\x7f", 4)), asio::error::eof) << "an oversized frame drops the peer";
    // A well-formed value that is no request has no id to answer to.
    EXPECT_EQ(sendRaw(encodeFrame(Value(std::int64_t{1}))), asio::error::eof);

    EXPECT_EQ(time.await(sendAndReceive(*client, version)), "v19");
    EXPECT_EQ(server.connectionCount(), 1u);

    // A payload on a reply that expects no value is ignored by that send.
    XPCRoute quiet;
    quiet.pathComponents = {"quiet"};
    server.registerHandler({quiet,
                            [](std::optional<Value>, RequestContext) -> asio::awaitable<std::optional<Value>> {
                                co_return Value("unasked");
                            },
                            nullptr});
    EXPECT_EQ(time.await(client->send(quiet, std::nullopt)), std::nullopt);
}

TEST_F(Transport, UnencodableMessagesFailBeforeAnythingIsSent)
{
    auto error = awaitError(sendAndReceive(*client, echo, std::string("\xff\xfe")));
    EXPECT_EQ(error.kind(), XPCError::Kind::encodingError);
    EXPECT_EQ(connectionsAdmitted, 0);
}
