#include "QuendalFoundation/Runtime/Cancellation.h"

#include <asio/this_coro.hpp>

namespace quendal {

asio::awaitable<bool> isTaskCancelled()
{
    auto state = co_await asio::this_coro::cancellation_state;
    co_return state.cancelled() != asio::cancellation_type::none;
}

asio::awaitable<void> checkCancellation()
{
    // Thrown here rather than through the [[noreturn]] helper: g++ 12 turns that call inside a
    // coroutine into a trap.
    auto state = co_await asio::this_coro::cancellation_state;
    if (state.cancelled() != asio::cancellation_type::none)
        throw asio::system_error(asio::error::operation_aborted);
}

} // namespace quendal
