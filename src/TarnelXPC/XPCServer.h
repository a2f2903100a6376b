#pragma once

#include "TarnelFoundation/Codec/Value.h"
#include "TarnelXPC/ConnectionLimits.h"
#include "TarnelXPC/Envelope.h"
#include "TarnelXPC/PeerCredentials.h"
#include "TarnelXPC/ServiceEndpoint.h"
#include "TarnelXPC/XPCRoute.h"

#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <asio/awaitable.hpp>
#include <asio/local/stream_protocol.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace tarnel::xpc {

class FramedConnection;

struct RequestContext {
    PeerCredentials peer;
    std::string requestId;
    std::uint64_t connectionId = 0;
    std::optional<Value::Bytes> clientBookmark;
};

// The server's end of one open sequence. Results go out on the connection they came from.
class SequenceSink {
public:
    SequenceSink(std::weak_ptr<FramedConnection> connection, std::string requestId);

    // Throw sequenceFinished after the end, clientNotConnected when the client is gone.
    void send(Value element);
    // An element that makes the ones before it worthless: while the client has not read the
    // previous one, it is replaced rather than queued behind it.
    void sendLatest(Value element);
    void fail(const class XPCError& error);
    void finish();

    bool isFinished() const { return finished_; }
    bool isClientConnected() const;
    const std::string& requestId() const { return requestId_; }

private:
    void deliver(const ResponseEnvelope& response, bool replacing = false);

    std::weak_ptr<FramedConnection> connection_;
    std::string requestId_;
    std::atomic<bool> finished_{false};
};

// The handler of one route, with the type names the server checks requests against.
struct HandlerRegistration {
    using Unary = std::function<asio::awaitable<std::optional<Value>>(std::optional<Value>, RequestContext)>;
    using Sequential =
        std::function<asio::awaitable<void>(std::optional<Value>, std::shared_ptr<SequenceSink>, RequestContext)>;

    XPCRoute route;
    Unary unary;
    Sequential sequential;
};

struct XPCServerOptions {
    // Decides, by the kernel's credentials of a new client, whether to serve it.
    std::function<bool(const PeerCredentials&)> admit;
    std::function<void(const std::string&)> log;
    // Mode of the socket file; the system daemon opens it to everyone and admits by
    // credentials, a session daemon keeps it to its user.
    unsigned socketMode = 0600;
    // Called when a connection closes, with its id, so owners can drop what it held.
    std::function<void(std::uint64_t)> connectionClosed;
    // Called with the number of open connections whenever it changes.
    std::function<void(std::size_t)> connectionCountChanged;
    ConnectionLimits limits;
};

// Serves a named service on its socket: many clients, many interleaved requests each.
class XPCServer {
public:
    using Options = XPCServerOptions;

    XPCServer(ServiceEndpoint endpoint, quendal::Executor executor, Options options = {});
    ~XPCServer();
    XPCServer(const XPCServer&) = delete;
    XPCServer& operator=(const XPCServer&) = delete;

    void registerHandler(HandlerRegistration registration);

    // Binds and listens, replacing a stale socket file. Throws std::system_error.
    void start();
    // Stops accepting, tells every client that the server is about to exit when asked to,
    // and closes every connection.
    void stop(bool announceTermination = true);

    std::size_t connectionCount() const;
    const ServiceEndpoint& endpoint() const { return endpoint_; }

private:
    struct Connection;

    void accept();
    void acceptLater();
    // Null when the peer is at a limit; the reason goes to the log.
    std::optional<std::string> refusal(const PeerCredentials& peer) const;
    std::shared_ptr<ByteBudget> budgetOf(uid_t uid);
    void connectionsChanged();
    void serve(std::shared_ptr<FramedConnection> connection, PeerCredentials peer);
    void handle(const std::shared_ptr<FramedConnection>& connection, std::uint64_t connectionId,
                const PeerCredentials& peer, Value message);
    std::optional<XPCError> checkTypes(const XPCRoute& request, const XPCRoute& handler) const;
    void log(const std::string& line) const;

    ServiceEndpoint endpoint_;
    quendal::Executor executor_;
    Options options_;
    asio::local::stream_protocol::acceptor acceptor_;
    std::unordered_map<XPCRoute, HandlerRegistration, XPCRouteHash> handlers_;
    std::shared_ptr<std::map<std::uint64_t, std::shared_ptr<FramedConnection>>> connections_;
    std::map<uid_t, std::size_t> connectionsPerUid_;
    std::map<uid_t, std::shared_ptr<ByteBudget>> budgets_;
    std::shared_ptr<ByteBudget> totalBudget_;
    std::size_t connectionLimit_ = 0;
    std::unique_ptr<LogLimiter> limitedLog_;
    quendal::Task backoff_;
    std::uint64_t nextConnectionId_ = 1;
    bool running_ = false;
    std::shared_ptr<std::atomic<bool>> alive_ = std::make_shared<std::atomic<bool>>(true);
};

// The printable name of a type for "Array<Bool>"-style route descriptors.
std::string demangledTypeName(const std::type_info& type);

} // namespace tarnel::xpc
