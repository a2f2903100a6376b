#pragma once

#include "TarnelXPC/TypedRoute.h"
#include "TarnelXPC/XPCClient.h"

#include "QuendalFoundation/Runtime/AsyncStream.h"

#include <asio/awaitable.hpp>

#include <memory>
#include <type_traits>

namespace tarnel::xpc {

namespace detail {
template <class T>
std::optional<Value> encodeMessage(const T& message)
{
    try {
        return WireCodec<T>::encode(message);
    } catch (const XPCError&) {
        throw;
    } catch (const std::exception& e) {
        throw XPCError::encodingError(e.what());
    }
}

template <class T>
T decodeReply(const std::optional<Value>& payload)
{
    if (!payload)
        throw XPCError::decodingError("Expected a reply of type " + WireCodec<T>::typeName() + ", but found none");
    return WireCodec<T>::decode(*payload);
}

// Turns the raw results of a sequence into a stream of elements; an element that fails to
// decode becomes the stream's one failure and everything behind it is dropped.
template <class Element>
asio::awaitable<quendal::AsyncStream<Element>> openStream(XPCClient& client, const XPCRoute& route,
                                                          std::optional<Value> payload)
{
    auto [stream, continuation] = quendal::AsyncStream<Element>::make();
    auto handler = [continuation](ResponseEnvelope response) {
        if (response.error) {
            continuation.finish(std::make_exception_ptr(*response.error));
        } else if (!response.payload) {
            continuation.finish();
        } else {
            try {
                continuation.yield(WireCodec<Element>::decode(*response.payload));
            } catch (const XPCError& e) {
                continuation.finish(std::make_exception_ptr(e));
            }
        }
    };
    auto opening = client.openSequence(route, std::move(payload), handler);
    auto id = co_await std::move(opening);
    std::weak_ptr<XPCClient> weak = client.weak_from_this();
    continuation.onTermination([weak, id](quendal::StreamTermination) {
        if (auto c = weak.lock())
            c->closeSequence(id);
    });
    co_return std::move(stream);
}
} // namespace detail

// The request is built before the co_await: g++ 12 can destroy temporaries of a co_await twice.
inline asio::awaitable<void> send(XPCClient& client, const TypedRoute<void, void, false>& route)
{
    auto sending = client.send(route.route(), std::nullopt);
    co_await std::move(sending);
}

template <class M>
asio::awaitable<void> send(XPCClient& client, const TypedRoute<M, void, false>& route, const M& message)
{
    auto payload = detail::encodeMessage(message);
    auto sending = client.send(route.route(), std::move(payload));
    co_await std::move(sending);
}

template <class R>
asio::awaitable<R> sendAndReceive(XPCClient& client, const TypedRoute<void, R, false>& route)
{
    auto sending = client.send(route.route(), std::nullopt);
    auto reply = co_await std::move(sending);
    co_return detail::decodeReply<R>(reply);
}

template <class M, class R>
asio::awaitable<R> sendAndReceive(XPCClient& client, const TypedRoute<M, R, false>& route, const M& message)
{
    auto payload = detail::encodeMessage(message);
    auto sending = client.send(route.route(), std::move(payload));
    auto reply = co_await std::move(sending);
    co_return detail::decodeReply<R>(reply);
}

template <class E>
asio::awaitable<quendal::AsyncStream<E>> sendForSequence(XPCClient& client, const TypedRoute<void, E, true>& route)
{
    return detail::openStream<E>(client, route.route(), std::nullopt);
}

template <class M, class E>
asio::awaitable<quendal::AsyncStream<E>> sendForSequence(XPCClient& client, const TypedRoute<M, E, true>& route,
                                                         const M& message)
{
    return detail::openStream<E>(client, route.route(), detail::encodeMessage(message));
}

} // namespace tarnel::xpc
