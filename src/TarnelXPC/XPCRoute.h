#pragma once

#include "TarnelFoundation/Codec/Value.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::xpc {

// A route's address plus the type names that the server checks against its handler.
// Two routes are the same route when namespace and path are equal.
struct XPCRoute {
    enum class Namespace { packageInternal, apiUser };

    Namespace routeNamespace = Namespace::apiUser;
    std::vector<std::string> pathComponents;
    std::optional<std::string> messageType;
    std::optional<std::string> replyType;
    std::optional<std::string> sequentialReplyType;
    bool expectsReply = false;

    // The "packageInternal" route the client opens every connection with.
    static XPCRoute noop();

    std::string name() const; // "stats/subscribe"

    Value encode() const;
    // Throws a decodingError XPCError when `value` is no route descriptor.
    static XPCRoute decode(const Value& value);

    friend bool operator==(const XPCRoute& a, const XPCRoute& b)
    {
        return a.routeNamespace == b.routeNamespace && a.pathComponents == b.pathComponents;
    }
};

struct XPCRouteHash {
    std::size_t operator()(const XPCRoute& route) const;
};

const char* namespaceName(XPCRoute::Namespace ns);

} // namespace tarnel::xpc
