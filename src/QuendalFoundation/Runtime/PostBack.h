#pragma once

#include <asio/associated_executor.hpp>
#include <asio/post.hpp>

#include <utility>

namespace quendal {

// Wraps an asynchronous operation's completion handler so that calling the wrapper, from any
// thread and at any depth of the caller's stack, runs the handler later on the handler's own
// executor (the awaiting coroutine's) with the arguments moved along. Call it once.
template <class Handler>
auto postBack(Handler handler)
{
    auto executor = asio::get_associated_executor(handler);
    return [h = std::move(handler), executor](auto... results) mutable {
        asio::post(executor, [h = std::move(h), ... r = std::move(results)]() mutable { std::move(h)(std::move(r)...); });
    };
}

} // namespace quendal
