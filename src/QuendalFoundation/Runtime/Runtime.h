#pragma once

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/PostBack.h"

#include <asio/any_io_executor.hpp>
#include <asio/associated_cancellation_slot.hpp>
#include <asio/bind_cancellation_slot.hpp>
#include <asio/awaitable.hpp>
#include <asio/co_spawn.hpp>
#include <asio/use_awaitable.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>

namespace asio {
class thread_pool;
}

namespace quendal {

using Executor = asio::any_io_executor;

// The process's executors and clock. The main executor is the main actor: the GUI thread's
// event loop in the application, an io_context run by one thread in the daemon and in tests.
class Runtime {
public:
    static Runtime& shared();

    Runtime();
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    // Throws std::logic_error until a main executor was set.
    Executor mainExecutor() const;
    // `thread` is the thread that runs the executor; isMainThread() compares against it.
    void setMainExecutor(Executor executor, std::thread::id thread = std::this_thread::get_id());
    void resetMainExecutor();
    bool isMainThread() const;

    // A pool of worker threads, created on first use.
    Executor backgroundExecutor();

    Clock& clock() const;
    std::shared_ptr<Clock> clockPointer() const;
    void setClock(std::shared_ptr<Clock> clock);

private:
    mutable std::mutex mutex_;
    std::optional<Executor> main_;
    std::thread::id mainThread_;
    std::unique_ptr<asio::thread_pool> pool_;
    std::shared_ptr<Clock> clock_;
};

namespace detail {

// Spawns `work` on `executor` and hands its completion back to the awaiting coroutine by a
// plain post. asio's own co_spawn(…, use_awaitable) keeps the caller's executor busy until the
// remote frame is destroyed, on the remote thread, after the caller may already have resumed and
// torn down its io_context; here the remote side holds nothing of the caller once it has posted.
template <class Signature, class Work>
auto hopTo(Executor executor, Work work)
{
    return asio::async_initiate<const asio::use_awaitable_t<>&, Signature>(
        [executor](auto handler, Work w) {
            auto slot = asio::get_associated_cancellation_slot(handler);
            asio::co_spawn(executor, std::move(w), asio::bind_cancellation_slot(slot, postBack(std::move(handler))));
        },
        asio::use_awaitable, std::move(work));
}

} // namespace detail

// Runs `work` on `executor` and resumes the caller on its own executor with the result.
// Cancellation of the caller reaches `work`.
// Temporaries inside a co_await expression are named throughout: g++ 12 can destroy them twice.
template <class T>
asio::awaitable<T> runOn(Executor executor, asio::awaitable<T> work)
{
    auto hop = detail::hopTo<void(std::exception_ptr, T)>(std::move(executor), std::move(work));
    co_return co_await std::move(hop);
}

inline asio::awaitable<void> runOn(Executor executor, asio::awaitable<void> work)
{
    auto hop = detail::hopTo<void(std::exception_ptr)>(std::move(executor), std::move(work));
    co_await std::move(hop);
}

// Runs a blocking function on the background pool without blocking the caller's executor.
template <class F>
auto inBackground(F function) -> asio::awaitable<std::invoke_result_t<F&>>
{
    using R = std::invoke_result_t<F&>;
    auto pool = Runtime::shared().backgroundExecutor();
    auto body = [](F f) -> asio::awaitable<R> { co_return f(); };
    auto work = body(std::move(function));
    auto hop = runOn(std::move(pool), std::move(work));
    co_return co_await std::move(hop);
}

// Runs a function on the main actor and returns its result.
template <class F>
auto onMain(F function) -> asio::awaitable<std::invoke_result_t<F&>>
{
    using R = std::invoke_result_t<F&>;
    auto body = [](F f) -> asio::awaitable<R> { co_return f(); };
    auto work = body(std::move(function));
    auto hop = runOn(Runtime::shared().mainExecutor(), std::move(work));
    co_return co_await std::move(hop);
}

} // namespace quendal
