#pragma once

#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/awaitable.hpp>
#include <asio/bind_cancellation_slot.hpp>
#include <asio/cancellation_signal.hpp>
#include <asio/co_spawn.hpp>

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>

namespace quendal {

namespace detail {
struct TaskState {
    explicit TaskState(Executor e) : executor(std::move(e)) {}
    Executor executor;
    asio::cancellation_signal signal;
    std::atomic<bool> finished{false};
    std::atomic<bool> cancelRequested{false};
    std::mutex mutex;
    std::exception_ptr error;
};
} // namespace detail

// A handle to a coroutine running on an executor. Cancelling it interrupts the await the
// coroutine is blocked in with a cancellation error. Dropping the handle cancels the task,
// so a task never outlives the object that holds it; detach() lets it run on its own.
class Task {
public:
    Task() = default;
    Task(Task&& other) noexcept = default;
    Task& operator=(Task&& other) noexcept;
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task();

    // Asks the task to stop; safe from any thread, takes effect on the task's executor.
    void cancel();
    void detach() { state_.reset(); }

    bool isRunning() const { return state_ && !state_->finished.load(); }
    bool isFinished() const { return state_ && state_->finished.load(); }
    bool isCancelled() const { return state_ && state_->cancelRequested.load(); }
    // The error the task ended with, other than a cancellation.
    std::exception_ptr error() const;

    friend Task spawn(Executor executor, asio::awaitable<void> work);

private:
    std::shared_ptr<detail::TaskState> state_;
};

// Starts `work` on `executor`. Errors other than cancellation are kept on the handle.
Task spawn(Executor executor, asio::awaitable<void> work);

// Starts `work` on the main actor.
inline Task spawnOnMain(asio::awaitable<void> work)
{
    return spawn(Runtime::shared().mainExecutor(), std::move(work));
}

// Runs `work` without a strong hold on `owner`; when it completes, its result is handed to
// `deliver` on the same executor if the owner still exists, and dropped otherwise.
template <class Owner, class T>
Task spawnFor(Executor executor, std::weak_ptr<Owner> owner, asio::awaitable<T> work,
              std::function<void(Owner&, T)> deliver)
{
    auto body = [](std::weak_ptr<Owner> weak, asio::awaitable<T> w,
                   std::function<void(Owner&, T)> d) -> asio::awaitable<void> {
        T result = co_await std::move(w);
        if (auto strong = weak.lock())
            d(*strong, std::move(result));
    };
    return spawn(std::move(executor), body(std::move(owner), std::move(work), std::move(deliver)));
}

template <class Owner>
Task spawnFor(Executor executor, std::weak_ptr<Owner> owner, asio::awaitable<void> work,
              std::function<void(Owner&)> deliver)
{
    auto body = [](std::weak_ptr<Owner> weak, asio::awaitable<void> w,
                   std::function<void(Owner&)> d) -> asio::awaitable<void> {
        co_await std::move(w);
        if (auto strong = weak.lock())
            d(*strong);
    };
    return spawn(std::move(executor), body(std::move(owner), std::move(work), std::move(deliver)));
}

} // namespace quendal
