#include "TarnelXPC/XPCClient.h"

#include "TarnelXPC/Wire/FramedConnection.h"
#include "TarnelXPC/Wire/ValueCoding.h"

#include "QuendalFoundation/Runtime/PostBack.h"
#include "QuendalFoundation/Runtime/SharedCompletion.h"

#include <asio/associated_cancellation_slot.hpp>
#include <asio/async_result.hpp>
#include <asio/co_spawn.hpp>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/system_error.hpp>
#include <asio/use_awaitable.hpp>

#include <fmt/format.h>

#include <filesystem>

namespace tarnel::xpc {

struct XPCClient::Link {
    std::shared_ptr<FramedConnection> connection;
    std::map<std::string, ReplyCompletion> pending;
    bool established = false;
    bool terminating = false;
    bool closed = false;
};

struct XPCClient::Connecting {
    quendal::SharedCompletion done;
    std::shared_ptr<Link> link;
};

namespace {

std::optional<Value::Bytes> clientBookmark()
{
    // The client's own executable stands for the bundle the daemon may want to look at.
    static const std::optional<Value::Bytes> bookmark = [] {
        std::error_code ec;
        auto path = std::filesystem::read_symlink("/proc/self/exe", ec).string();
        return ec || path.empty() ? std::nullopt : std::optional<Value::Bytes>(Value::Bytes(path.begin(), path.end()));
    }();
    return bookmark;
}

std::string encodeRequest(const RequestEnvelope& request)
{
    try {
        return encodeFrame(request.encode());
    } catch (const WireFormatError& e) {
        throw XPCError::encodingError(e.what());
    }
}

} // namespace

std::shared_ptr<XPCClient> XPCClient::create(ServiceEndpoint endpoint, ServerRequirement requirement,
                                             quendal::Executor transport)
{
    return std::shared_ptr<XPCClient>(new XPCClient(std::move(endpoint), std::move(requirement), std::move(transport)));
}

XPCClient::XPCClient(ServiceEndpoint endpoint, ServerRequirement requirement, quendal::Executor transport)
    : endpoint_(std::move(endpoint)), requirement_(std::move(requirement)), queue_(asio::make_strand(transport))
{
}

XPCClient::~XPCClient()
{
    if (link_ && link_->connection)
        link_->connection->close("the client went away");
}

void XPCClient::setLogger(Logger logger)
{
    asio::post(queue_, [self = shared_from_this(), l = std::move(logger)]() mutable { self->logger_ = std::move(l); });
}

void XPCClient::log(const std::string& line) const
{
    if (logger_)
        logger_(line);
}

bool XPCClient::isConnected() const
{
    std::lock_guard lock(stateMutex_);
    return connected_;
}

std::size_t XPCClient::openSequenceCount() const
{
    std::lock_guard lock(stateMutex_);
    return sequenceCount_;
}

void XPCClient::disconnect()
{
    asio::post(queue_, [self = shared_from_this()] {
        if (self->link_)
            self->link_->connection->close("the client disconnected");
    });
}

asio::awaitable<std::optional<Value>> XPCClient::send(XPCRoute route, std::optional<Value> payload)
{
    // Every temporary of a co_await is named: g++ 12 may destroy such temporaries twice.
    auto self = shared_from_this();
    auto work = self->sendOnQueue(std::move(route), std::move(payload));
    auto hop = quendal::runOn(queue_, std::move(work));
    auto result = co_await std::move(hop);
    co_return result;
}

asio::awaitable<std::string> XPCClient::openSequence(XPCRoute route, std::optional<Value> payload, SequenceHandler handler)
{
    auto self = shared_from_this();
    auto work = self->openOnQueue(std::move(route), std::move(payload), std::move(handler));
    auto hop = quendal::runOn(queue_, std::move(work));
    auto id = co_await std::move(hop);
    co_return id;
}

XPCClient::SequenceHandler XPCClient::takeSequence(const std::string& requestId)
{
    SequenceHandler handler;
    if (auto it = sequences_.find(requestId); it != sequences_.end()) {
        handler = std::move(it->second);
        sequences_.erase(it);
        countSequences();
    }
    return handler;
}

void XPCClient::countSequences()
{
    std::lock_guard lock(stateMutex_);
    sequenceCount_ = sequences_.size();
}

void XPCClient::closeSequence(const std::string& requestId)
{
    asio::post(queue_, [self = shared_from_this(), requestId] {
        self->takeSequence(requestId);
    });
}

asio::awaitable<std::optional<Value>> XPCClient::sendOnQueue(XPCRoute route, std::optional<Value> payload)
{
    RequestEnvelope request{route, newRequestId(), clientBookmark(), std::move(payload)};
    encodeRequest(request); // an unencodable message fails before anything is sent
    auto link = co_await ensureLink();
    auto exchanged = exchange(link, std::move(request));
    auto response = co_await std::move(exchanged);
    if (response.error)
        throw *response.error;
    if (!route.expectsReply || route.sequentialReplyType)
        co_return std::nullopt; // a payload nobody asked for is ignored
    if (!response.payload)
        throw XPCError::decodingError(
            fmt::format("Expected a reply of type {}, but the response was empty", route.replyType.value_or("?")));
    co_return std::move(response.payload);
}

asio::awaitable<std::string> XPCClient::openOnQueue(XPCRoute route, std::optional<Value> payload, SequenceHandler handler)
{
    RequestEnvelope request{route, newRequestId(), clientBookmark(), std::move(payload)};
    auto frame = encodeRequest(request);
    auto link = co_await ensureLink();
    const auto id = request.requestId;
    sequences_[id] = std::move(handler);
    countSequences();
    // The answer to the request itself carries no result; an error in it ends the sequence.
    std::weak_ptr<XPCClient> weak = weak_from_this();
    link->pending[id] = [weak, id](std::optional<ResponseEnvelope> response, std::exception_ptr error) {
        auto self = weak.lock();
        if (!self || !response || !response->error || error)
            return;
        if (auto deliver = self->takeSequence(id))
            deliver(std::move(*response));
    };
    link->connection->sendFrame(std::move(frame));
    co_return id;
}

asio::awaitable<std::shared_ptr<XPCClient::Link>> XPCClient::ensureLink()
{
    if (link_)
        co_return link_;
    if (auto pending = connecting_) {
        // The link this connection made, even when it has closed again since: its sends fail
        // with the connection's own error.
        auto waiting = pending->done.wait();
        co_await std::move(waiting);
        co_return pending->link;
    }
    auto pending = std::make_shared<Connecting>();
    connecting_ = pending;
    std::exception_ptr error;
    try {
        pending->link = co_await connect();
    } catch (...) {
        error = std::current_exception();
    }
    connecting_.reset();
    if (pending->link) {
        link_ = pending->link;
        std::lock_guard lock(stateMutex_);
        connected_ = true;
    }
    pending->done.complete(error);
    if (error)
        std::rethrow_exception(error);
    co_return pending->link;
}

asio::awaitable<std::shared_ptr<XPCClient::Link>> XPCClient::connect()
{
    FramedConnection::Socket socket(queue_);
    std::error_code ec;
    const asio::local::stream_protocol::endpoint address(endpoint_.socketPath.string());
    co_await socket.async_connect(address, asio::redirect_error(asio::use_awaitable, ec));
    if (ec) {
        log(fmt::format("Unable to connect to {} at {}: {}", endpoint_.serviceName, endpoint_.socketPath.string(),
                        ec.message()));
        throw XPCError::connectionInvalid();
    }
    auto link = std::make_shared<Link>();
    link->connection = FramedConnection::make(std::move(socket));
    std::weak_ptr<XPCClient> weakSelf = weak_from_this();
    std::weak_ptr<Link> weakLink = link;
    link->connection->start(
        [weakSelf, weakLink](Value message) {
            auto self = weakSelf.lock();
            auto l = weakLink.lock();
            if (self && l)
                self->onMessage(l, std::move(message));
        },
        [weakSelf, weakLink](const std::string& reason, bool) {
            auto self = weakSelf.lock();
            auto l = weakLink.lock();
            if (self && l)
                self->onClosed(l, reason, l->established);
        });

    RequestEnvelope noop{XPCRoute::noop(), newRequestId(), clientBookmark(), {}};
    auto noopExchange = exchange(link, std::move(noop));
    auto reply = co_await std::move(noopExchange);
    if (reply.error) {
        link->connection->close("the noop exchange failed");
        throw *reply.error;
    }
    const auto& peer = link->connection->peer();
    if (!peer || !requirement_.isSatisfiedBy(*peer)) {
        log(fmt::format("The server of {} ({}) does not satisfy the requirement: {}", endpoint_.serviceName,
                        peer ? peer->describe() : "no credentials", requirement_.description()));
        link->connection->close("the server failed the requirement");
        throw XPCError::insecure();
    }
    link->established = true;
    co_return link;
}

asio::awaitable<ResponseEnvelope> XPCClient::exchange(std::shared_ptr<Link> link, RequestEnvelope request)
{
    auto frame = encodeRequest(request);
    const auto id = request.requestId;
    auto initiation = [&](auto handler) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        if (link->closed) {
            auto error = link->established ? XPCError::connectionInterrupted() : XPCError::connectionInvalid();
            quendal::postBack(std::move(handler))(std::make_exception_ptr(error), ResponseEnvelope{});
            return;
        }
        link->pending[id] = [done = quendal::postBack(std::move(handler))](std::optional<ResponseEnvelope> response,
                                                                            std::exception_ptr error) mutable {
            if (error)
                done(error, ResponseEnvelope{});
            else
                done(std::exception_ptr{}, std::move(*response));
        };
        if (slot.is_connected()) {
            std::weak_ptr<Link> weak = link;
            slot.assign([weak, id](asio::cancellation_type) {
                auto l = weak.lock();
                if (!l)
                    return;
                auto it = l->pending.find(id);
                if (it == l->pending.end())
                    return;
                auto completion = std::move(it->second);
                l->pending.erase(it);
                // Abandoning the wait: the answer, if it ever comes, is dropped.
                completion(std::nullopt, std::make_exception_ptr(asio::system_error(asio::error::operation_aborted)));
            });
        }
        link->connection->sendFrame(std::move(frame));
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>&, void(std::exception_ptr, ResponseEnvelope)>(
        initiation, asio::use_awaitable);
}

void XPCClient::onMessage(const std::shared_ptr<Link>& link, Value message)
{
    MessageKind kind;
    ResponseEnvelope response;
    try {
        kind = messageKind(message);
        if (kind == MessageKind::request)
            throw XPCError::decodingError("A server does not send requests");
        if (kind != MessageKind::terminationImminent)
            response = ResponseEnvelope::decode(message);
    } catch (const XPCError& e) {
        log(fmt::format("Dropping the connection to {}: {}", endpoint_.serviceName, e.what()));
        link->connection->close(e.what());
        return;
    }

    switch (kind) {
    case MessageKind::reply: {
        auto it = link->pending.find(response.requestId);
        if (it == link->pending.end())
            return; // an answer to a request whose caller gave up
        auto completion = std::move(it->second);
        link->pending.erase(it);
        completion(std::move(response), nullptr);
        break;
    }
    case MessageKind::sequenceResult: {
        auto it = sequences_.find(response.requestId);
        if (it == sequences_.end())
            return; // a result after the end, or for a sequence nobody reads any more
        if (response.isEmpty() || response.error) {
            auto deliver = takeSequence(response.requestId);
            deliver(std::move(response));
        } else {
            it->second(std::move(response));
        }
        break;
    }
    case MessageKind::terminationImminent: {
        log(fmt::format("The server of {} is about to exit", endpoint_.serviceName));
        link->terminating = true;
        auto pending = std::move(link->pending);
        link->pending.clear();
        for (auto& [id, completion] : pending)
            completion(std::nullopt, std::make_exception_ptr(XPCError::terminationImminent()));
        break;
    }
    case MessageKind::request:
        break;
    }
}

void XPCClient::onClosed(const std::shared_ptr<Link>& link, const std::string& reason, bool established)
{
    link->closed = true;
    if (link_ == link) {
        link_.reset();
        std::lock_guard lock(stateMutex_);
        connected_ = false;
    }
    log(fmt::format("Connection to {} closed: {}", endpoint_.serviceName, reason));
    auto error = std::make_exception_ptr(!established       ? XPCError::connectionInvalid()
                                         : link->terminating ? XPCError::terminationImminent()
                                                             : XPCError::connectionInterrupted());
    auto pending = std::move(link->pending);
    link->pending.clear();
    // Open sequences hear nothing: their consumers find out by sending.
    for (auto& [id, completion] : pending)
        completion(std::nullopt, error);
}

} // namespace tarnel::xpc
