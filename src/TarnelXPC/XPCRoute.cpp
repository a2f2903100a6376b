#include "TarnelXPC/XPCRoute.h"

#include "TarnelXPC/XPCError.h"

#include <fmt/format.h>

#include <functional>

namespace tarnel::xpc {

namespace {

[[noreturn]] void malformed(const std::string& what) { throw XPCError::decodingError("Malformed route: " + what); }

Value optionalName(const std::optional<std::string>& name) { return name ? Value(*name) : Value(); }

std::optional<std::string> typeNameAt(const Value& route, std::string_view key)
{
    const auto* v = route.find(key);
    if (!v)
        malformed(fmt::format("\"{}\" is missing", key));
    if (v->isNull())
        return std::nullopt;
    if (!v->asString())
        malformed(fmt::format("\"{}\" is neither a string nor null", key));
    return *v->asString();
}

} // namespace

const char* namespaceName(XPCRoute::Namespace ns)
{
    return ns == XPCRoute::Namespace::packageInternal ? "packageInternal" : "apiUser";
}

XPCRoute XPCRoute::noop()
{
    XPCRoute route;
    route.routeNamespace = Namespace::packageInternal;
    route.pathComponents = {"noop"};
    return route;
}

std::string XPCRoute::name() const { return fmt::format("{}", fmt::join(pathComponents, "/")); }

Value XPCRoute::encode() const
{
    Value ns = Value::dictionary();
    ns.set(namespaceName(routeNamespace), Value::dictionary());
    Value::Array path;
    for (const auto& p : pathComponents)
        path.emplace_back(p);
    Value route = Value::dictionary();
    route.set("namespace", std::move(ns));
    route.set("pathComponents", Value(std::move(path)));
    route.set("messageType", optionalName(messageType));
    route.set("replyType", optionalName(replyType));
    route.set("sequentialReplyType", optionalName(sequentialReplyType));
    route.set("expectsReply", expectsReply);
    return route;
}

XPCRoute XPCRoute::decode(const Value& value)
{
    if (!value.asDictionary())
        malformed("not a dictionary");
    XPCRoute route;
    const auto* ns = value.find("namespace");
    if (!ns || !ns->asDictionary() || ns->asDictionary()->size() != 1)
        malformed("\"namespace\" must be a dictionary with one entry");
    const auto& nsName = ns->asDictionary()->front().first;
    if (nsName == "packageInternal")
        route.routeNamespace = Namespace::packageInternal;
    else if (nsName == "apiUser")
        route.routeNamespace = Namespace::apiUser;
    else
        malformed(fmt::format("unknown namespace \"{}\"", nsName));
    const auto* path = value.find("pathComponents");
    if (!path || !path->asArray())
        malformed("\"pathComponents\" must be an array");
    for (const auto& p : *path->asArray()) {
        if (!p.asString())
            malformed("\"pathComponents\" holds a value that is not a string");
        route.pathComponents.push_back(*p.asString());
    }
    route.messageType = typeNameAt(value, "messageType");
    route.replyType = typeNameAt(value, "replyType");
    route.sequentialReplyType = typeNameAt(value, "sequentialReplyType");
    const auto* expects = value.find("expectsReply");
    if (!expects || !expects->asBool())
        malformed("\"expectsReply\" must be a bool");
    route.expectsReply = *expects->asBool();
    return route;
}

std::size_t XPCRouteHash::operator()(const XPCRoute& route) const
{
    std::size_t h = std::hash<int>()(static_cast<int>(route.routeNamespace));
    for (const auto& p : route.pathComponents)
        h = h * 31 + std::hash<std::string>()(p);
    return h;
}

} // namespace tarnel::xpc
