#include "TarnelXPC/XPCServer.h"

#include "TarnelXPC/Wire/FramedConnection.h"
#include "TarnelXPC/Wire/ValueCoding.h"
#include "TarnelXPC/XPCError.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/post.hpp>
#include <asio/strand.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cxxabi.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <typeinfo>

namespace tarnel::xpc {

std::string demangledTypeName(const std::type_info& type)
{
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && name ? name.get() : type.name();
}

SequenceSink::SequenceSink(std::weak_ptr<FramedConnection> connection, std::string requestId)
    : connection_(std::move(connection)), requestId_(std::move(requestId))
{
}

bool SequenceSink::isClientConnected() const { return !connection_.expired(); }

void SequenceSink::deliver(const ResponseEnvelope& response, bool replacing)
{
    auto connection = connection_.lock();
    if (!connection)
        throw XPCError::clientNotConnected();
    try {
        if (replacing)
            connection->sendLatest(requestId_, response.encode(MessageKind::sequenceResult));
        else
            connection->send(response.encode(MessageKind::sequenceResult));
    } catch (const WireFormatError& e) {
        throw XPCError::encodingError(e.what());
    }
}

void SequenceSink::send(Value element)
{
    if (finished_)
        throw XPCError::sequenceFinished();
    deliver(ResponseEnvelope{requestId_, std::move(element), std::nullopt});
}

void SequenceSink::sendLatest(Value element)
{
    if (finished_)
        throw XPCError::sequenceFinished();
    deliver(ResponseEnvelope{requestId_, std::move(element), std::nullopt}, true);
}

void SequenceSink::fail(const XPCError& error)
{
    if (finished_.exchange(true))
        throw XPCError::sequenceFinished();
    deliver(ResponseEnvelope{requestId_, std::nullopt, error});
}

void SequenceSink::finish()
{
    if (finished_.exchange(true))
        throw XPCError::sequenceFinished();
    deliver(ResponseEnvelope{requestId_, std::nullopt, std::nullopt});
}

XPCServer::XPCServer(ServiceEndpoint endpoint, quendal::Executor executor, Options options)
    : endpoint_(std::move(endpoint)), executor_(std::move(executor)), options_(std::move(options)),
      acceptor_(executor_),
      connections_(std::make_shared<std::map<std::uint64_t, std::shared_ptr<FramedConnection>>>()),
      totalBudget_(std::make_shared<ByteBudget>(options_.limits.bufferedBytes)),
      limitedLog_(std::make_unique<LogLimiter>(options_.log))
{
}

XPCServer::~XPCServer()
{
    *alive_ = false;
    stop(false);
}

void XPCServer::log(const std::string& line) const
{
    if (options_.log)
        options_.log(line);
}

void XPCServer::registerHandler(HandlerRegistration registration)
{
    auto route = registration.route;
    handlers_.insert_or_assign(route, std::move(registration));
}

std::size_t XPCServer::connectionCount() const { return connections_->size(); }

void XPCServer::start()
{
    namespace fs = std::filesystem;
    const auto& path = endpoint_.socketPath;
    std::error_code ec;
    fs::create_directories(path.parent_path(), ec);
    if (ec)
        throw std::system_error(ec, "creating " + path.parent_path().string());
    // A socket left by a daemon that died would make bind fail.
    if (fs::is_socket(fs::symlink_status(path, ec)))
        fs::remove(path, ec);
    // Bound, restricted and listening under a private name first, then renamed into place: a
    // client that sees the socket file can connect at once, and never finds it with a wider mode.
    const auto staging = path.string() + "." + std::to_string(::getpid());
    fs::remove(staging, ec);
    acceptor_.open();
    acceptor_.bind(asio::local::stream_protocol::endpoint(staging));
    ::chmod(staging.c_str(), options_.socketMode);
    acceptor_.listen();
    fs::rename(staging, path, ec);
    if (ec) {
        std::error_code ignored;
        acceptor_.close(ignored);
        fs::remove(staging, ignored);
        throw std::system_error(ec, "placing the socket at " + path.string());
    }
    // Each connection is a descriptor: stay below the limit so the daemon can still open files.
    connectionLimit_ = options_.limits.connections;
    rlimit descriptors{};
    if (::getrlimit(RLIMIT_NOFILE, &descriptors) == 0 && descriptors.rlim_cur != RLIM_INFINITY) {
        const auto usable = descriptors.rlim_cur > options_.limits.descriptorHeadroom
                                ? static_cast<std::size_t>(descriptors.rlim_cur) - options_.limits.descriptorHeadroom
                                : 1;
        // A connection holds two: its socket and the peer's pidfd.
        const auto share = usable / (2 * options_.limits.serversSharingDescriptors);
        connectionLimit_ = std::min(connectionLimit_, std::max<std::size_t>(1, share));
    }
    running_ = true;
    accept();
}

std::optional<std::string> XPCServer::refusal(const PeerCredentials& peer) const
{
    if (connections_->size() >= connectionLimit_)
        return fmt::format("the server holds its limit of {} connections", connectionLimit_);
    auto held = connectionsPerUid_.find(peer.uid);
    if (held != connectionsPerUid_.end() && held->second >= options_.limits.connectionsPerUid)
        return fmt::format("uid {} holds its limit of {} connections", peer.uid, options_.limits.connectionsPerUid);
    return std::nullopt;
}

std::shared_ptr<ByteBudget> XPCServer::budgetOf(uid_t uid)
{
    auto& budget = budgets_[uid];
    if (!budget)
        budget = std::make_shared<ByteBudget>(options_.limits.bufferedBytesPerUid);
    return budget;
}

void XPCServer::connectionsChanged()
{
    if (options_.connectionCountChanged)
        options_.connectionCountChanged(connections_->size());
}

void XPCServer::acceptLater()
{
    // Out of descriptors: retrying at once would spin; closing connections frees them.
    backoff_ = quendal::spawn(executor_, [](XPCServer* self, std::shared_ptr<std::atomic<bool>> alive,
                                            quendal::Clock::Duration wait) -> asio::awaitable<void> {
        co_await quendal::Runtime::shared().clock().sleep(wait);
        if (*alive && self->running_)
            self->accept();
    }(this, alive_, options_.limits.acceptBackoff));
}

void XPCServer::stop(bool announceTermination)
{
    if (!running_)
        return;
    running_ = false;
    backoff_.cancel();
    std::error_code ignored;
    acceptor_.close(ignored);
    std::filesystem::remove(endpoint_.socketPath, ignored);
    auto connections = *connections_;
    for (auto& [id, connection] : connections) {
        if (announceTermination) {
            connection->send(terminationImminentMessage());
            connection->closeAfterFlush("the server stopped");
        } else {
            connection->close("the server stopped");
        }
    }
}

void XPCServer::accept()
{
    acceptor_.async_accept(asio::make_strand(executor_), [this, alive = alive_](std::error_code ec,
                                                                                FramedConnection::Socket socket) {
        if (!*alive || !running_)
            return;
        if (ec) {
            (*limitedLog_)("accept", fmt::format("Accepting a client on {} failed: {}", endpoint_.serviceName, ec.message()));
            if (ec == asio::error::no_descriptors || ec.value() == ENFILE || ec == asio::error::no_buffer_space ||
                ec == asio::error::no_memory) {
                acceptLater();
                return;
            }
        } else {
            auto connection = FramedConnection::make(std::move(socket));
            const auto& peer = connection->peer();
            if (!peer) {
                (*limitedLog_)("credentials", "Refused a client without credentials");
                connection->close("no credentials");
            } else if (options_.admit && !options_.admit(*peer)) {
                (*limitedLog_)("admission", fmt::format("Refused client {}", peer->describe()));
                connection->close("not admitted");
            } else if (auto why = refusal(*peer)) {
                (*limitedLog_)(fmt::format("limit of uid {}", peer->uid),
                               fmt::format("Refused client {}: {}", peer->describe(), *why));
                connection->close("over the limit");
            } else {
                serve(connection, *peer);
            }
        }
        accept();
    });
}

void XPCServer::serve(std::shared_ptr<FramedConnection> connection, PeerCredentials peer)
{
    const auto id = nextConnectionId_++;
    connections_->emplace(id, connection);
    ++connectionsPerUid_[peer.uid];
    const auto& limits = options_.limits;
    connection->setGuards({{budgetOf(peer.uid), totalBudget_}, limits.unfinishedFrameTimeout, limits.queuedBytesPerConnection});
    connectionsChanged();
    std::weak_ptr<FramedConnection> weak = connection;
    auto alive = alive_;
    connection->start(
        [this, alive, weak, id, peer](Value message) {
            if (auto c = weak.lock(); c && *alive)
                handle(c, id, peer, std::move(message));
        },
        [this, alive, id, peer](const std::string& reason, bool) {
            if (!*alive)
                return;
            // Connections are few and the map is touched from their strands: hop to ours.
            asio::post(executor_, [this, alive, id, peer, reason] {
                if (!*alive)
                    return;
                if (connections_->erase(id)) {
                    if (auto held = connectionsPerUid_.find(peer.uid); held != connectionsPerUid_.end() && --held->second == 0)
                        connectionsPerUid_.erase(held);
                }
                (*limitedLog_)(fmt::format("disconnects of uid {}", peer.uid),
                               fmt::format("Client {} disconnected: {}", peer.describe(), reason));
                if (options_.connectionClosed)
                    options_.connectionClosed(id);
                connectionsChanged();
            });
        });
}

std::optional<XPCError> XPCServer::checkTypes(const XPCRoute& request, const XPCRoute& handler) const
{
    auto mismatch = [&](std::string description) {
        return XPCError::routeMismatch(request.pathComponents, std::move(description));
    };
    if (!request.messageType && handler.messageType)
        return mismatch(fmt::format("Request did not contain a message, but the handler registered with the server "
                                    "has a message parameter of type {}",
                                    *handler.messageType));
    if (request.messageType && !handler.messageType)
        return mismatch(fmt::format("Request had a message of type {}, but the handler registered with the server "
                                    "does not have a message parameter.",
                                    *request.messageType));
    if (request.messageType && *request.messageType != *handler.messageType)
        return mismatch(fmt::format("Request had a message of type {}, but the handler registered with the server "
                                    "has a message parameter of type {}",
                                    *request.messageType, *handler.messageType));
    if (request.sequentialReplyType && !handler.sequentialReplyType)
        return mismatch(fmt::format("Request expects a sequential reply of type {}, but the handler registered with "
                                    "the server does not generate a sequential reply.",
                                    *request.sequentialReplyType));
    if (!request.sequentialReplyType && handler.sequentialReplyType)
        return mismatch(fmt::format("Request does not expect a sequential reply, but the handler registered with "
                                    "the server has a sequential reply of type {}",
                                    *handler.sequentialReplyType));
    if (request.sequentialReplyType && *request.sequentialReplyType != *handler.sequentialReplyType)
        return mismatch(fmt::format("Request expects a sequential reply of type {}, but the handler registered with "
                                    "the server has a sequential reply of type {}",
                                    *request.sequentialReplyType, *handler.sequentialReplyType));
    if (!request.replyType && handler.replyType)
        return mismatch(fmt::format("Request does not expect a reply, but the handler registered with the server has "
                                    "a return value of type {}",
                                    *handler.replyType));
    if (request.replyType && !handler.replyType)
        return mismatch(fmt::format("Request expects a reply of type {}, but the handler registered with the server "
                                    "has no return value.",
                                    *request.replyType));
    if (request.replyType && *request.replyType != *handler.replyType)
        return mismatch(fmt::format("Request expects a reply of type {}, but the handler registered with the server "
                                    "has a return value of type {}",
                                    *request.replyType, *handler.replyType));
    return std::nullopt;
}

void XPCServer::handle(const std::shared_ptr<FramedConnection>& connection, std::uint64_t connectionId,
                       const PeerCredentials& peer, Value message)
{
    RequestEnvelope request;
    try {
        if (messageKind(message) != MessageKind::request)
            throw XPCError::decodingError("A client sends only requests");
        request = RequestEnvelope::decode(message);
    } catch (const XPCError& e) {
        // Without a request id there is nobody to answer: the peer broke the protocol.
        (*limitedLog_)(fmt::format("protocol errors of uid {}", peer.uid),
                       fmt::format("Dropped client {}: {}", peer.describe(), e.what()));
        connection->close(e.what());
        return;
    }

    auto reply = [connection, id = request.requestId](std::optional<Value> payload, std::optional<XPCError> error) {
        ResponseEnvelope response{id, std::move(payload), std::move(error)};
        try {
            connection->send(response.encode(MessageKind::reply));
        } catch (const WireFormatError& e) {
            connection->send(ResponseEnvelope{id, std::nullopt, XPCError::encodingError(e.what())}.encode(MessageKind::reply));
        }
    };

    if (request.route.routeNamespace == XPCRoute::Namespace::packageInternal && request.route.pathComponents.size() == 1 &&
        request.route.pathComponents.front() == "noop") {
        reply(std::nullopt, std::nullopt);
        return;
    }
    auto found = handlers_.find(request.route);
    if (found == handlers_.end()) {
        reply(std::nullopt, XPCError::routeNotRegistered(request.route.pathComponents));
        return;
    }
    if (auto mismatch = checkTypes(request.route, found->second.route)) {
        reply(std::nullopt, *mismatch);
        return;
    }

    RequestContext context{peer, request.requestId, connectionId, request.clientBookmark};
    const auto& registration = found->second;
    auto describeThrown = [](std::exception_ptr error) -> XPCError {
        try {
            std::rethrow_exception(error);
        } catch (const XPCError& e) {
            return e;
        } catch (const std::exception& e) {
            return XPCError::handler(HandlerError{e.what(), demangledTypeName(typeid(e)), {}});
        } catch (...) {
            return XPCError::handler(HandlerError{"An unknown error was thrown", "unknown", {}});
        }
    };

    if (registration.sequential) {
        auto sink = std::make_shared<SequenceSink>(connection, request.requestId);
        reply(std::nullopt, std::nullopt);
        asio::co_spawn(connection->executor(), registration.sequential(std::move(request.payload), sink, context),
                       [sink, describeThrown](std::exception_ptr error) {
                           if (!error || sink->isFinished() || !sink->isClientConnected())
                               return;
                           try {
                               sink->fail(describeThrown(error));
                           } catch (const XPCError&) {
                           }
                       });
        return;
    }
    asio::co_spawn(connection->executor(), registration.unary(std::move(request.payload), context),
                   [reply, describeThrown](std::exception_ptr error, std::optional<Value> result) mutable {
                       if (error)
                           reply(std::nullopt, describeThrown(error));
                       else
                           reply(std::move(result), std::nullopt);
                   });
}

} // namespace tarnel::xpc
