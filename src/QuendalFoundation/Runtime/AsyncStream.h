#pragma once

#include "QuendalFoundation/Runtime/PostBack.h"
#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <asio/associated_cancellation_slot.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/error.hpp>
#include <asio/use_awaitable.hpp>

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace quendal {

enum class StreamTermination { finished, cancelled };

// An asynchronous sequence with one consumer and an unbounded buffer. The producer side
// (Continuation) may be used from any thread. The termination handler runs exactly once:
// when the producer finishes, when the consumer is cancelled, or when the consumer drops
// the stream.
template <class T>
class AsyncStream {
    struct State {
        std::mutex mutex;
        std::deque<T> buffer;
        bool finished = false;
        bool terminated = false;
        StreamTermination reason = StreamTermination::finished;
        std::exception_ptr error;
        std::function<void(StreamTermination)> onTermination;
        UniqueFunction<void(std::error_code)> waiter;

        // Marks the stream terminated; returns the handler to call outside the lock.
        std::function<void(StreamTermination)> terminateLocked(StreamTermination why)
        {
            finished = true;
            if (terminated)
                return nullptr;
            terminated = true;
            reason = why;
            return std::exchange(onTermination, nullptr);
        }

        // The consumer stops listening: whatever is buffered is dropped and a pending wait ends
        // with the cancellation error.
        void cancelByConsumer()
        {
            std::function<void(StreamTermination)> handler;
            UniqueFunction<void(std::error_code)> wake;
            {
                std::lock_guard lock(mutex);
                buffer.clear();
                handler = terminateLocked(StreamTermination::cancelled);
                wake = std::move(waiter);
            }
            if (handler)
                handler(StreamTermination::cancelled);
            if (wake)
                wake(asio::error::operation_aborted);
        }
    };

public:
    class Continuation {
    public:
        Continuation() = default;

        // Buffers a value for the consumer; false once the stream has terminated.
        bool yield(T value) const
        {
            UniqueFunction<void(std::error_code)> wake;
            {
                std::lock_guard lock(state_->mutex);
                if (state_->finished)
                    return false;
                state_->buffer.push_back(std::move(value));
                wake = std::move(state_->waiter);
            }
            if (wake)
                wake(std::error_code{});
            return true;
        }

        void finish(std::exception_ptr error = nullptr) const
        {
            std::function<void(StreamTermination)> handler;
            UniqueFunction<void(std::error_code)> wake;
            {
                std::lock_guard lock(state_->mutex);
                if (state_->finished)
                    return;
                state_->error = error;
                handler = state_->terminateLocked(StreamTermination::finished);
                wake = std::move(state_->waiter);
            }
            if (handler)
                handler(StreamTermination::finished);
            if (wake)
                wake(std::error_code{});
        }

        // Runs once when the stream ends; at once if it already has.
        void onTermination(std::function<void(StreamTermination)> handler) const
        {
            StreamTermination reason;
            {
                std::lock_guard lock(state_->mutex);
                if (!state_->terminated) {
                    state_->onTermination = std::move(handler);
                    return;
                }
                reason = state_->reason;
            }
            handler(reason);
        }

        bool isTerminated() const
        {
            std::lock_guard lock(state_->mutex);
            return state_->terminated;
        }

    private:
        friend class AsyncStream;
        explicit Continuation(std::shared_ptr<State> state) : state_(std::move(state)) {}
        std::shared_ptr<State> state_;
    };

    // Calls `build` with the producer side before returning the stream.
    explicit AsyncStream(const std::function<void(Continuation)>& build) : state_(std::make_shared<State>())
    {
        build(Continuation(state_));
    }
    AsyncStream() : state_(std::make_shared<State>()) {}

    static std::pair<AsyncStream, Continuation> make()
    {
        AsyncStream stream;
        Continuation continuation(stream.state_);
        return {std::move(stream), continuation};
    }

    AsyncStream(AsyncStream&&) noexcept = default;
    AsyncStream& operator=(AsyncStream&& other) noexcept
    {
        if (this != &other) {
            cancel();
            state_ = std::move(other.state_);
        }
        return *this;
    }
    AsyncStream(const AsyncStream&) = delete;
    AsyncStream& operator=(const AsyncStream&) = delete;
    ~AsyncStream() { cancel(); }

    // The consumer stops listening.
    void cancel()
    {
        if (state_)
            state_->cancelByConsumer();
    }

    // The next value; nullopt at the end. Throws the producer's error, or the cancellation
    // error when the consuming task is cancelled (which also terminates the stream).
    asio::awaitable<std::optional<T>> next()
    {
        for (;;) {
            {
                std::lock_guard lock(state_->mutex);
                if (!state_->buffer.empty()) {
                    T value = std::move(state_->buffer.front());
                    state_->buffer.pop_front();
                    co_return std::optional<T>(std::move(value));
                }
                if (state_->finished) {
                    if (auto error = std::exchange(state_->error, nullptr))
                        std::rethrow_exception(error);
                    co_return std::nullopt;
                }
            }
            co_await waitForChange();
        }
    }

private:
    asio::awaitable<void> waitForChange()
    {
        auto state = state_;
        auto initiation = [state](auto handler) {
            auto slot = asio::get_associated_cancellation_slot(handler);
            UniqueFunction<void(std::error_code)> complete = postBack(std::move(handler));
            {
                std::lock_guard lock(state->mutex);
                if (state->buffer.empty() && !state->finished) {
                    state->waiter = std::move(complete);
                }
            }
            if (complete) {
                complete(std::error_code{});
                return;
            }
            if (slot.is_connected()) {
                std::weak_ptr<State> weak = state;
                slot.assign([weak](asio::cancellation_type) {
                    if (auto s = weak.lock())
                        s->cancelByConsumer();
                });
            }
        };
        co_await asio::async_initiate<const asio::use_awaitable_t<>&, void(std::error_code)>(
            initiation, asio::use_awaitable);
    }

    std::shared_ptr<State> state_;
};

} // namespace quendal
