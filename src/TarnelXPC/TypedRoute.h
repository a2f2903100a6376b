#pragma once

#include "TarnelXPC/WireCodec.h"
#include "TarnelXPC/XPCRoute.h"

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace tarnel::xpc {

// A route with its message and reply types fixed at compile time. `void` stands for "none";
// `Sequential` makes the reply a sequence of `Reply` elements. Built from its path in the
// namespace "apiUser".
template <class Message, class Reply, bool Sequential>
class TypedRoute {
public:
    using MessageType = Message;
    using ReplyType = Reply;
    static constexpr bool isSequential = Sequential;

    explicit TypedRoute(std::vector<std::string> pathComponents)
    {
        route_.routeNamespace = XPCRoute::Namespace::apiUser;
        route_.pathComponents = std::move(pathComponents);
        if constexpr (!std::is_void_v<Message>)
            route_.messageType = WireCodec<Message>::typeName();
        if constexpr (!std::is_void_v<Reply>) {
            if constexpr (Sequential)
                route_.sequentialReplyType = WireCodec<Reply>::typeName();
            else
                route_.replyType = WireCodec<Reply>::typeName();
            route_.expectsReply = true;
        }
    }

    const XPCRoute& route() const { return route_; }
    std::string name() const { return route_.name(); }

private:
    XPCRoute route_;
};

template <class Message = void>
using XPCRouteWithoutMessageWithoutReply = TypedRoute<void, void, false>;
template <class Reply>
using XPCRouteWithoutMessageWithReply = TypedRoute<void, Reply, false>;
template <class Message>
using XPCRouteWithMessageWithoutReply = TypedRoute<Message, void, false>;
template <class Message, class Reply>
using XPCRouteWithMessageWithReply = TypedRoute<Message, Reply, false>;
template <class Element>
using XPCRouteWithoutMessageWithSequentialReply = TypedRoute<void, Element, true>;
template <class Message, class Element>
using XPCRouteWithMessageWithSequentialReply = TypedRoute<Message, Element, true>;

// The three things a sequence can deliver.
template <class T>
struct SequentialResult {
    enum class Kind { success, failure, finished };
    Kind kind = Kind::finished;
    std::optional<T> value;
    std::optional<XPCError> error;

    static SequentialResult success(T v) { return {Kind::success, std::move(v), std::nullopt}; }
    static SequentialResult failure(XPCError e) { return {Kind::failure, std::nullopt, std::move(e)}; }
    static SequentialResult finished() { return {}; }
};

} // namespace tarnel::xpc
