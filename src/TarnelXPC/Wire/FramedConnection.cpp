#include "TarnelXPC/Wire/FramedConnection.h"

#include "TarnelXPC/Wire/ValueCoding.h"

#include <asio/buffer.hpp>
#include <asio/dispatch.hpp>
#include <asio/write.hpp>

#include <fmt/format.h>

#include <algorithm>
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

FramedConnection::~FramedConnection()
{
    for (auto& budget : guards_.inputBudgets)
        budget->give(accountedInput_);
}

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
        self->enqueue(std::move(f), {});
    });
}

void FramedConnection::sendLatest(const std::string& key, const Value& message)
{
    asio::dispatch(socket_.get_executor(), [self = shared_from_this(), f = encodeFrame(message), key]() mutable {
        self->enqueue(std::move(f), std::move(key));
    });
}

void FramedConnection::enqueue(std::string frame, std::string key)
{
    if (closed_)
        return;
    auto waiting = key.empty() ? output_.end()
                               : std::find_if(output_.begin(), output_.end(), [&](const Outgoing& o) { return o.key == key; });
    if (waiting != output_.end()) {
        queuedBytes_ -= waiting->frame.size();
        waiting->frame = std::move(frame);
        queuedBytes_ += waiting->frame.size();
    } else {
        queuedBytes_ += frame.size();
        output_.push_back({std::move(frame), std::move(key)});
    }
    if (guards_.maximumQueuedBytes && queuedBytes_ > *guards_.maximumQueuedBytes) {
        shutdown(fmt::format("dropped the peer: it left {} bytes unread", queuedBytes_), false);
        return;
    }
    if (writing_.empty())
        writeNext();
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
                                if (self->closed_)
                                    return;
                                if (!self->accountInput()) {
                                    self->shutdown("dropped the peer: its unfinished frames hold more than its share of "
                                                   "memory",
                                                   false);
                                    return;
                                }
                                self->readMore();
                            });
}

bool FramedConnection::accountInput()
{
    const auto held = input_.size();
    if (held < accountedInput_) {
        for (auto& budget : guards_.inputBudgets)
            budget->give(accountedInput_ - held);
    } else if (held > accountedInput_) {
        const auto more = held - accountedInput_;
        for (std::size_t i = 0; i < guards_.inputBudgets.size(); ++i) {
            if (!guards_.inputBudgets[i]->take(more)) {
                for (std::size_t j = 0; j < i; ++j)
                    guards_.inputBudgets[j]->give(more);
                return false;
            }
        }
    }
    accountedInput_ = held;
    return true;
}

void FramedConnection::watchUnfinishedFrame(bool frameCompleted)
{
    if (!guards_.unfinishedFrameTimeout || closed_)
        return;
    if (inputUsed_ == 0 || frameCompleted) {
        // Whatever was pending is done; a new partial frame starts a new watch.
        frameTimer_.cancel();
        frameTimer_ = {};
        if (inputUsed_ == 0)
            return;
    }
    if (frameTimer_.isRunning())
        return;
    frameTimer_ =
        quendal::spawn(socket_.get_executor(), expireFrame(weak_from_this(), ++unfinishedFrame_, *guards_.unfinishedFrameTimeout));
}

asio::awaitable<void> FramedConnection::expireFrame(std::weak_ptr<FramedConnection> weak, std::uint64_t frame,
                                                    quendal::Clock::Duration timeout)
{
    co_await quendal::Runtime::shared().clock().sleep(timeout);
    auto self = weak.lock();
    if (self && self->unfinishedFrame_ == frame && self->inputUsed_ > 0)
        self->shutdown(fmt::format("dropped the peer: a frame unfinished after {} seconds", quendal::Clock::toSeconds(timeout)),
                       false);
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
        // The buffer grows with the bytes that arrive, never with what a header announces.
        if (inputUsed_ - offset < frameHeaderSize + size)
            break;
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
    // A handler may have closed the connection, which let go of the buffer.
    if (closed_)
        return;
    if (offset > 0) {
        std::memmove(input_.data(), input_.data() + offset, inputUsed_ - offset);
        inputUsed_ -= offset;
    }
    if (input_.size() > 4 * readChunk && inputUsed_ < readChunk) {
        input_.resize(readChunk);
        input_.shrink_to_fit();
    }
    watchUnfinishedFrame(offset > 0);
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
    writing_.clear();
    for (auto& outgoing : output_)
        writing_.push_back(std::move(outgoing.frame));
    output_.clear();
    std::vector<asio::const_buffer> buffers;
    buffers.reserve(writing_.size());
    for (const auto& frame : writing_)
        buffers.push_back(asio::buffer(frame));
    asio::async_write(socket_, buffers, [self = shared_from_this()](std::error_code ec, std::size_t) {
        for (const auto& frame : self->writing_)
            self->queuedBytes_ -= frame.size();
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
    frameTimer_.cancel();
    input_.clear();
    input_.shrink_to_fit();
    inputUsed_ = 0;
    accountInput();
    auto onClose = std::move(onClose_);
    onMessage_ = nullptr;
    if (onClose)
        onClose(reason, byPeer);
}

} // namespace tarnel::xpc
