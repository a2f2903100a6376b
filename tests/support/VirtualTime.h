#pragma once

#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/VirtualClock.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

namespace tarnel::testing {

// Makes this thread's io_context the main actor and virtual time the process clock for the
// life of the object, so asynchronous logic runs deterministically and without waiting.
class VirtualTime {
public:
    VirtualTime() : clock_(std::make_shared<quendal::VirtualClock>())
    {
        quendal::Runtime::shared().setMainExecutor(context_.get_executor());
        quendal::Runtime::shared().setClock(clock_);
    }
    ~VirtualTime()
    {
        quendal::Runtime::shared().resetMainExecutor();
        quendal::Runtime::shared().setClock(nullptr);
    }
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    asio::io_context& context() { return context_; }
    quendal::Executor executor() { return context_.get_executor(); }
    quendal::VirtualClock& clock() { return *clock_; }
    std::shared_ptr<quendal::VirtualClock> clockPointer() { return clock_; }

    // Runs ready work without moving time.
    void poll()
    {
        context_.restart();
        context_.poll();
    }
    // Runs until nothing is left, moving virtual time as needed (at most `limit`).
    void run(std::optional<quendal::Clock::Duration> limit = std::nullopt) { clock_->run(context_, limit); }
    void runFor(quendal::Clock::Duration span) { clock_->run(context_, span); }
    void runFor(double seconds) { runFor(quendal::Clock::fromSeconds(seconds)); }
    double elapsedSeconds() const { return quendal::Clock::toSeconds(clock_->now().time_since_epoch()); }

    // Runs `work` to completion in virtual time and returns its result.
    template <class T>
    T await(asio::awaitable<T> work)
    {
        std::optional<T> result;
        std::exception_ptr error;
        bool done = false;
        asio::co_spawn(context_, std::move(work), [&](std::exception_ptr e, T value) {
            error = e;
            if (!e)
                result.emplace(std::move(value));
            done = true;
        });
        clock_->runUntil(context_, [&] { return done; });
        if (!done)
            throw std::runtime_error("the awaited work never finished");
        if (error)
            std::rethrow_exception(error);
        return std::move(*result);
    }

    void await(asio::awaitable<void> work)
    {
        auto done = [](asio::awaitable<void> w) -> asio::awaitable<bool> {
            co_await std::move(w);
            co_return true;
        };
        await(done(std::move(work)));
    }

private:
    asio::io_context context_;
    std::shared_ptr<quendal::VirtualClock> clock_;
};

// Waits for work on a real thread while the main actor's work runs; virtual time stays put.
// The bound only turns a hang into a failure.
inline bool pumpUntil(VirtualTime& time, const std::function<bool()>& done)
{
    for (int i = 0; i < 20000 && !done(); ++i) {
        time.poll();
        if (!done())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    time.poll();
    return done();
}

} // namespace tarnel::testing
