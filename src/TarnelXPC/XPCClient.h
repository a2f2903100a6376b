#pragma once

#include "TarnelFoundation/Codec/Value.h"
#include "TarnelXPC/Envelope.h"
#include "TarnelXPC/PeerCredentials.h"
#include "TarnelXPC/ServiceEndpoint.h"
#include "TarnelXPC/TransportContext.h"
#include "TarnelXPC/XPCRoute.h"

#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <asio/awaitable.hpp>
#include <asio/strand.hpp>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::xpc {

class FramedConnection;

// The client of one named service. It connects on the first send (the "noop" exchange and
// the server requirement check), pairs every request with its one answer, and delivers the
// results of open sequences in arrival order. A connection that breaks is forgotten; the next
// send makes a new one. Sends may come from any executor.
class XPCClient : public std::enable_shared_from_this<XPCClient> {
public:
    // Receives the results of one sequence, in order, on the transport's queue.
    using SequenceHandler = std::function<void(ResponseEnvelope)>;
    using Logger = std::function<void(const std::string&)>;

    static std::shared_ptr<XPCClient> create(ServiceEndpoint endpoint, ServerRequirement requirement,
                                             quendal::Executor transport = TransportContext::shared().executor());
    ~XPCClient();

    // Sends a request and waits for its answer: the reply's payload, or nullopt for an empty
    // response. Throws XPCError. Only a connection error ends a wait for a server that never
    // answers; cancelling the caller abandons the wait.
    asio::awaitable<std::optional<Value>> send(XPCRoute route, std::optional<Value> payload);

    // Registers `handler` under a new request id, then sends the request. Returns the id.
    // An error answer to the request itself reaches the handler as a failure; a broken
    // connection reaches it not at all.
    asio::awaitable<std::string> openSequence(XPCRoute route, std::optional<Value> payload, SequenceHandler handler);
    // Forgets a sequence; later results for it are dropped.
    void closeSequence(const std::string& requestId);

    void setLogger(Logger logger);
    const ServiceEndpoint& endpoint() const { return endpoint_; }
    // Drops the current connection; open sends fail with connectionInterrupted.
    void disconnect();
    bool isConnected() const;
    std::size_t openSequenceCount() const;

private:
    struct Link;
    struct Connecting;
    using ReplyCompletion = quendal::UniqueFunction<void(std::optional<ResponseEnvelope>, std::exception_ptr)>;

    XPCClient(ServiceEndpoint endpoint, ServerRequirement requirement, quendal::Executor transport);

    asio::awaitable<std::shared_ptr<Link>> ensureLink();
    asio::awaitable<std::shared_ptr<Link>> connect();
    asio::awaitable<ResponseEnvelope> exchange(std::shared_ptr<Link> link, RequestEnvelope request);
    asio::awaitable<std::optional<Value>> sendOnQueue(XPCRoute route, std::optional<Value> payload);
    asio::awaitable<std::string> openOnQueue(XPCRoute route, std::optional<Value> payload, SequenceHandler handler);
    void onMessage(const std::shared_ptr<Link>& link, Value message);
    void onClosed(const std::shared_ptr<Link>& link, const std::string& reason, bool established);
    // Forgets a sequence and hands back its handler (empty when it was not open).
    SequenceHandler takeSequence(const std::string& requestId);
    void countSequences();
    void log(const std::string& line) const;

    ServiceEndpoint endpoint_;
    ServerRequirement requirement_;
    asio::strand<quendal::Executor> queue_;

    // Touched only on queue_.
    std::shared_ptr<Link> link_;
    std::shared_ptr<Connecting> connecting_; // the connection under way, which later sends wait for
    std::map<std::string, SequenceHandler> sequences_;
    Logger logger_;
    mutable std::mutex stateMutex_; // guards the two counters read from other threads
    bool connected_ = false;
    std::size_t sequenceCount_ = 0;
};

} // namespace tarnel::xpc
