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
    if (co_await isTaskCancelled())
        throwCancellation();
}

} // namespace quendal
