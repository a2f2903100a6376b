#pragma once

#include "QuendalFoundation/Runtime/AsyncStream.h"

#include <asio/awaitable.hpp>

#include <memory>

namespace quendal {

// Hands each element of `stream` to `handle(owner, element)` for as long as the owner lives:
// the loop of every store and model that follows a subscription. Ends when the stream ends or
// the owner is gone; a failure of the stream reaches the caller.
template <class Owner, class T, class Handle>
asio::awaitable<void> consumeWhileAlive(std::weak_ptr<Owner> owner, AsyncStream<T> stream, Handle handle)
{
    for (;;) {
        auto next = stream.next();
        auto element = co_await std::move(next);
        if (!element)
            co_return;
        auto self = owner.lock();
        if (!self)
            co_return;
        handle(*self, std::move(*element));
    }
}

} // namespace quendal
