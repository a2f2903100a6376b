#pragma once

#include "TarnelFoundation/Codec/Value.h"
#include "TarnelXPC/PeerCredentials.h"

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

    static std::shared_ptr<FramedConnection> make(Socket socket);
    ~FramedConnection();

    void start(MessageHandler onMessage, CloseHandler onClose);
    // Thread-safe. Throws WireFormatError, before anything is queued, for a value that
    // cannot be encoded.
    void send(const Value& message);
    // Thread-safe; `frame` is a whole frame from encodeFrame().
    void sendFrame(std::string frame);
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

    Socket socket_;
    std::optional<PeerCredentials> peer_;
    MessageHandler onMessage_;
    CloseHandler onClose_;
    std::vector<char> input_;
    std::size_t inputUsed_ = 0;
    std::deque<std::string> output_;
    std::vector<std::string> writing_;
    bool closed_ = false;
    std::optional<std::string> closeWhenFlushed_;
};

} // namespace tarnel::xpc
