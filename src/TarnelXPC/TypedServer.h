#pragma once

#include "TarnelXPC/TypedRoute.h"
#include "TarnelXPC/XPCServer.h"

#include <functional>
#include <memory>
#include <type_traits>

namespace tarnel::xpc {

// A sequence sink that encodes its elements.
template <class E>
class TypedSequenceSink {
public:
    explicit TypedSequenceSink(std::shared_ptr<SequenceSink> sink) : sink_(std::move(sink)) {}
    void send(const E& element) { sink_->send(WireCodec<E>::encode(element)); }
    void sendLatest(const E& element) { sink_->sendLatest(WireCodec<E>::encode(element)); }
    void fail(const XPCError& error) { sink_->fail(error); }
    void finish() { sink_->finish(); }
    bool isFinished() const { return sink_->isFinished(); }
    bool isClientConnected() const { return sink_->isClientConnected(); }
    const std::string& requestId() const { return sink_->requestId(); }

private:
    std::shared_ptr<SequenceSink> sink_;
};

namespace detail {
template <class M>
M decodeMessage(const std::optional<Value>& payload)
{
    if (!payload)
        throw XPCError::decodingError("Expected a message of type " + WireCodec<M>::typeName() + ", but found none");
    return WireCodec<M>::decode(*payload);
}
} // namespace detail

inline void registerHandler(XPCServer& server, const TypedRoute<void, void, false>& route,
                            std::type_identity_t<std::function<asio::awaitable<void>(RequestContext)>> handler)
{
    server.registerHandler({route.route(),
                            [handler](std::optional<Value>, RequestContext c) -> asio::awaitable<std::optional<Value>> {
                                auto handling = handler(std::move(c));
                                co_await std::move(handling);
                                co_return std::nullopt;
                            },
                            nullptr});
}

template <class M>
void registerHandler(XPCServer& server, const TypedRoute<M, void, false>& route,
                     std::type_identity_t<std::function<asio::awaitable<void>(M, RequestContext)>> handler)
{
    server.registerHandler({route.route(),
                            [handler](std::optional<Value> p, RequestContext c) -> asio::awaitable<std::optional<Value>> {
                                auto handling = handler(detail::decodeMessage<M>(p), std::move(c));
                                co_await std::move(handling);
                                co_return std::nullopt;
                            },
                            nullptr});
}

template <class R>
void registerHandler(XPCServer& server, const TypedRoute<void, R, false>& route,
                     std::type_identity_t<std::function<asio::awaitable<R>(RequestContext)>> handler)
{
    server.registerHandler({route.route(),
                            [handler](std::optional<Value>, RequestContext c) -> asio::awaitable<std::optional<Value>> {
                                auto handling = handler(std::move(c));
                                auto reply = co_await std::move(handling);
                                co_return WireCodec<R>::encode(reply);
                            },
                            nullptr});
}

template <class M, class R>
void registerHandler(XPCServer& server, const TypedRoute<M, R, false>& route,
                     std::type_identity_t<std::function<asio::awaitable<R>(M, RequestContext)>> handler)
{
    server.registerHandler({route.route(),
                            [handler](std::optional<Value> p, RequestContext c) -> asio::awaitable<std::optional<Value>> {
                                auto handling = handler(detail::decodeMessage<M>(p), std::move(c));
                                auto reply = co_await std::move(handling);
                                co_return WireCodec<R>::encode(reply);
                            },
                            nullptr});
}

template <class E>
void registerHandler(XPCServer& server, const TypedRoute<void, E, true>& route,
                     std::type_identity_t<std::function<asio::awaitable<void>(std::shared_ptr<TypedSequenceSink<E>>, RequestContext)>> handler)
{
    server.registerHandler(
        {route.route(), nullptr,
         [handler](std::optional<Value>, std::shared_ptr<SequenceSink> sink, RequestContext c) -> asio::awaitable<void> {
             auto handling = handler(std::make_shared<TypedSequenceSink<E>>(std::move(sink)), std::move(c));
             co_await std::move(handling);
         }});
}

template <class M, class E>
void registerHandler(
    XPCServer& server, const TypedRoute<M, E, true>& route,
    std::type_identity_t<std::function<asio::awaitable<void>(M, std::shared_ptr<TypedSequenceSink<E>>, RequestContext)>> handler)
{
    server.registerHandler(
        {route.route(), nullptr,
         [handler](std::optional<Value> p, std::shared_ptr<SequenceSink> sink, RequestContext c) -> asio::awaitable<void> {
             auto handling = handler(detail::decodeMessage<M>(p), std::make_shared<TypedSequenceSink<E>>(std::move(sink)),
                                     std::move(c));
             co_await std::move(handling);
         }});
}

} // namespace tarnel::xpc
