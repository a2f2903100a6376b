#pragma once

#include "TarnelFoundation/Codec/Value.h"
#include "TarnelXPC/ConnectionLimits.h"
#include "TarnelXPC/PeerCredentials.h"

#include "QuendalFoundation/Runtime/Task.h"

#include <asio/any_io_executor.hpp>
#include <asio/local/stream_protocol.hpp>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::xpc {

// One socket carrying length-prefixed frames, each one encoded value tree. All work happens
// on the socket's executor, which must run one handler at a time (a strand or a
// single-threaded io_context). A malformed or oversized frame closes this connection only.
class FramedConnection : public std::enable_shared_from_this<FramedConnection> {
public:
    using Socket = asio::local::stream_protocol::socket;
    using MessageHandler = std::function<void(Value)>;
    // `reason` says why; `byPeer` is true when the other side went away.
    using CloseHandler = std::function<void(const std::string& reason, bool byPeer)>;

    // What a server holds against a peer; a client's connection goes without.
    struct Guards {
        // Every byte held for unfinished frames is taken from each of these.
        std::vector<std::shared_ptr<ByteBudget>> inputBudgets;
        std::optional<quendal::Clock::Duration> unfinishedFrameTimeout;
        std::optional<std::size_t> maximumQueuedBytes;
    };

    static std::shared_ptr<FramedConnection> make(Socket socket);
    ~FramedConnection();

    // Before start().
    void setGuards(Guards guards) { guards_ = std::move(guards); }

    void start(MessageHandler onMessage, CloseHandler onClose);
    // Thread-safe. Throws WireFormatError, before anything is queued, for a value that
    // cannot be encoded.
    void send(const Value& message);
    // Thread-safe; `frame` is a whole frame from encodeFrame().
    void sendFrame(std::string frame);
    // Thread-safe. Like send, but a frame of the same `key` still waiting in the queue is
    // replaced rather than followed: a peer that reads slowly gets the newest value only.
    void sendLatest(const std::string& key, const Value& message);
    void close(std::string reason);
    // Closes once everything queued so far has been written.
    void closeAfterFlush(std::string reason);

    const std::optional<PeerCredentials>& peer() const { return peer_; }
    asio::any_io_executor executor() { return socket_.get_executor(); }

private:
    explicit FramedConnection(Socket socket);
    void readMore();
    void consumeFrames();
    void writeNext();
    void shutdown(std::string reason, bool byPeer);
    void enqueue(std::string frame, std::string key);
    // Takes or gives back budget for the input buffer's present size; false when refused.
    bool accountInput();
    void watchUnfinishedFrame(bool frameCompleted);
    static asio::awaitable<void> expireFrame(std::weak_ptr<FramedConnection> weak, std::uint64_t frame,
                                             quendal::Clock::Duration timeout);

    Socket socket_;
    std::optional<PeerCredentials> peer_;
    MessageHandler onMessage_;
    CloseHandler onClose_;
    std::vector<char> input_;
    std::size_t inputUsed_ = 0;
    struct Outgoing {
        std::string frame;
        std::string key; // empty: never replaced
    };
    std::deque<Outgoing> output_;
    std::vector<std::string> writing_;
    std::size_t queuedBytes_ = 0;
    Guards guards_;
    std::size_t accountedInput_ = 0;
    quendal::Task frameTimer_;
    std::uint64_t unfinishedFrame_ = 0; // numbers each unfinished frame the timer watches
    bool closed_ = false;
    std::optional<std::string> closeWhenFlushed_;
};

} // namespace tarnel::xpc
