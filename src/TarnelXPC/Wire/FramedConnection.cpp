#include "TarnelXPC/Wire/FramedConnection.h"

#include "TarnelXPC/Wire/ValueCoding.h"

#include <asio/buffer.hpp>
#include <asio/dispatch.hpp>
#include <asio/write.hpp>

#include <fmt/format.h>

#include <cstring>

namespace tarnel::xpc {

namespace {
constexpr std::size_t readChunk = 64 * 1024;
}

std::shared_ptr<FramedConnection> FramedConnection::make(Socket socket)
{
    return std::shared_ptr<FramedConnection>(new FramedConnection(std::move(socket)));
}

FramedConnection::FramedConnection(Socket socket) : socket_(std::move(socket))
{
    try {
        peer_ = PeerCredentials::of(socket_.native_handle());
    } catch (const std::system_error&) {
        // Not every socket pair has credentials; callers that need them treat this as a refusal.
    }
}

FramedConnection::~FramedConnection() = default;

void FramedConnection::start(MessageHandler onMessage, CloseHandler onClose)
{
    onMessage_ = std::move(onMessage);
    onClose_ = std::move(onClose);
    asio::dispatch(socket_.get_executor(), [self = shared_from_this()] { self->readMore(); });
}

void FramedConnection::send(const Value& message) { sendFrame(encodeFrame(message)); }

void FramedConnection::sendFrame(std::string frame)
{
    asio::dispatch(socket_.get_executor(), [self = shared_from_this(), f = std::move(frame)]() mutable {
        if (self->closed_)
            return;
        self->output_.push_back(std::move(f));
        if (self->writing_.empty())
            self->writeNext();
    });
}

void FramedConnection::close(std::string reason)
{
    asio::dispatch(socket_.get_executor(),
                   [self = shared_from_this(), r = std::move(reason)]() mutable { self->shutdown(std::move(r), false); });
}

void FramedConnection::closeAfterFlush(std::string reason)
{
    asio::dispatch(socket_.get_executor(), [self = shared_from_this(), r = std::move(reason)]() mutable {
        if (self->writing_.empty() && self->output_.empty())
            self->shutdown(std::move(r), false);
        else
            self->closeWhenFlushed_ = std::move(r);
    });
}

void FramedConnection::readMore()
{
    if (closed_)
        return;
    if (input_.size() - inputUsed_ < readChunk)
        input_.resize(inputUsed_ + readChunk);
    socket_.async_read_some(asio::buffer(input_.data() + inputUsed_, input_.size() - inputUsed_),
                            [self = shared_from_this()](std::error_code ec, std::size_t n) {
                                if (ec) {
                                    self->shutdown(ec == asio::error::eof ? "the peer closed the connection"
                                                                          : "read failed: " + ec.message(),
                                                   true);
                                    return;
                                }
                                self->inputUsed_ += n;
                                self->consumeFrames();
                                self->readMore();
                            });
}

void FramedConnection::consumeFrames()
{
    std::size_t offset = 0;
    while (!closed_ && inputUsed_ - offset >= frameHeaderSize) {
        const auto* header = reinterpret_cast<const unsigned char*>(input_.data() + offset);
        const std::uint32_t size = header[0] | (header[1] << 8) | (header[2] << 16) | (std::uint32_t(header[3]) << 24);
        if (size == 0 || size > maximumFrameSize) {
            shutdown(fmt::format("dropped the peer: a frame of {} bytes is outside 1...{}", size, maximumFrameSize), false);
            return;
        }
        if (inputUsed_ - offset < frameHeaderSize + size) {
            // Make room for the whole frame at once rather than growing chunk by chunk.
            if (input_.size() < frameHeaderSize + size + readChunk && offset == 0)
                input_.resize(frameHeaderSize + size + readChunk);
            break;
        }
        Value message;
        try {
            message = decodeValue(std::string_view(input_.data() + offset + frameHeaderSize, size));
        } catch (const WireFormatError& e) {
            shutdown(fmt::format("dropped the peer: {}", e.what()), false);
            return;
        }
        offset += frameHeaderSize + size;
        if (onMessage_)
            onMessage_(std::move(message));
    }
    if (offset > 0) {
        std::memmove(input_.data(), input_.data() + offset, inputUsed_ - offset);
        inputUsed_ -= offset;
    }
    if (input_.size() > 4 * readChunk && inputUsed_ < readChunk) {
        input_.resize(readChunk);
        input_.shrink_to_fit();
    }
}

void FramedConnection::writeNext()
{
    if (closed_)
        return;
    if (output_.empty()) {
        if (closeWhenFlushed_)
            shutdown(*closeWhenFlushed_, false);
        return;
    }
    writing_.assign(std::make_move_iterator(output_.begin()), std::make_move_iterator(output_.end()));
    output_.clear();
    std::vector<asio::const_buffer> buffers;
    buffers.reserve(writing_.size());
    for (const auto& frame : writing_)
        buffers.push_back(asio::buffer(frame));
    asio::async_write(socket_, buffers, [self = shared_from_this()](std::error_code ec, std::size_t) {
        self->writing_.clear();
        if (ec) {
            self->shutdown("write failed: " + ec.message(), true);
            return;
        }
        self->writeNext();
    });
}

void FramedConnection::shutdown(std::string reason, bool byPeer)
{
    if (closed_)
        return;
    closed_ = true;
    std::error_code ignored;
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
    output_.clear();
    auto onClose = std::move(onClose_);
    onMessage_ = nullptr;
    if (onClose)
        onClose(reason, byPeer);
}

} // namespace tarnel::xpc
