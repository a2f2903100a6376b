#pragma once

#include <asio/awaitable.hpp>
#include <asio/bind_cancellation_slot.hpp>
#include <asio/cancellation_signal.hpp>
#include <asio/co_spawn.hpp>
#include <asio/steady_timer.hpp>
#include <asio/this_coro.hpp>
#include <asio/use_awaitable.hpp>

#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace quendal {

// Runs the children concurrently on the caller's executor. The first child to finish, with a
// value or an error, decides the race; the others are cancelled, and the race returns only
// after all of them have ended. Cancelling the race cancels every child.
template <class T>
asio::awaitable<T> race(std::vector<asio::awaitable<T>> children)
{
    if (children.empty())
        throw std::invalid_argument("race needs at least one child");

    struct State {
        explicit State(asio::any_io_executor ex, std::size_t n) : signals(n), remaining(n), allDone(ex) {}
        std::vector<asio::cancellation_signal> signals;
        std::size_t remaining;
        bool decided = false;
        std::optional<T> value;
        std::exception_ptr error;
        asio::steady_timer allDone;

        void cancelAll()
        {
            for (auto& s : signals)
                s.emit(asio::cancellation_type::terminal);
        }
    };

    auto executor = co_await asio::this_coro::executor;
    auto state = std::make_shared<State>(executor, children.size());
    state->allDone.expires_at(asio::steady_timer::time_point::max());

    for (std::size_t i = 0; i < children.size(); ++i) {
        asio::co_spawn(executor, std::move(children[i]),
                       asio::bind_cancellation_slot(
                           state->signals[i].slot(), [state, i](std::exception_ptr error, T result) {
                               if (!state->decided) {
                                   state->decided = true;
                                   if (error)
                                       state->error = error;
                                   else
                                       state->value.emplace(std::move(result));
                                   for (std::size_t j = 0; j < state->signals.size(); ++j)
                                       if (j != i)
                                           state->signals[j].emit(asio::cancellation_type::terminal);
                               }
                               if (--state->remaining == 0)
                                   state->allDone.cancel();
                           }));
    }

    std::exception_ptr cancelledFromOutside;
    while (state->remaining > 0) {
        std::exception_ptr interrupted;
        try {
            co_await state->allDone.async_wait(asio::use_awaitable);
        } catch (...) {
            interrupted = std::current_exception();
        }
        if (interrupted && state->remaining > 0 && !cancelledFromOutside) {
            // The race itself was cancelled: stop the children and wait for them to end.
            cancelledFromOutside = interrupted;
            state->cancelAll();
            co_await asio::this_coro::reset_cancellation_state();
        }
    }
    if (cancelledFromOutside)
        std::rethrow_exception(cancelledFromOutside);
    if (state->error)
        std::rethrow_exception(state->error);
    co_return std::move(*state->value);
}

} // namespace quendal
