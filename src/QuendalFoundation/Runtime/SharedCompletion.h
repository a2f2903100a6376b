#pragma once

#include "QuendalFoundation/Runtime/PostBack.h"
#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/use_awaitable.hpp>

#include <exception>
#include <vector>

namespace quendal {

// One piece of work that several coroutines wait for: each waiter resumes on its own executor
// once `complete` was called, and sees the work's error rethrown. Lives on one executor (the
// main actor); not thread-safe by itself.
class SharedCompletion {
public:
    bool isDone() const { return done_; }

    asio::awaitable<void> wait()
    {
        if (!done_) {
            auto initiation = [this](auto handler) { waiters_.push_back(postBack(std::move(handler))); };
            co_await asio::async_initiate<const asio::use_awaitable_t<>&, void()>(initiation, asio::use_awaitable);
        }
        if (error_)
            std::rethrow_exception(error_);
    }

    void complete(std::exception_ptr error = nullptr)
    {
        done_ = true;
        error_ = error;
        auto pending = std::move(waiters_);
        waiters_.clear();
        for (auto& waiter : pending)
            waiter();
    }

private:
    bool done_ = false;
    std::exception_ptr error_;
    std::vector<UniqueFunction<void()>> waiters_;
};

} // namespace quendal
