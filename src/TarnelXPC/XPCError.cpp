#include "TarnelXPC/XPCError.h"

#include <fmt/format.h>

#include <array>

namespace tarnel::xpc {

namespace {

constexpr std::array kindNames{
    "encodingError",       "decodingError",       "routeNotRegistered", "routeMismatch",
    "misconfiguredServer", "handlerError",        "misconfiguredClient", "internalFailure",
    "unknown",             "connectionInvalid",   "connectionInterrupted", "terminationImminent",
    "insecure",            "clientNotConnected",  "sequenceFinished",   "conflictingClientRequirements",
};

constexpr std::array underlyingNames{"available", "unavailableNotEncoded", "unavailableNoDecodingPossible",
                                     "unavailableMultipleDecodingsPossible"};

[[noreturn]] void malformed(const std::string& what)
{
    throw XPCError::decodingError("Malformed XPCError: " + what);
}

const std::string& stringAt(const Value& payload, std::string_view key)
{
    const auto* v = payload.find(key);
    if (!v || !v->asString())
        malformed(fmt::format("\"{}\" is missing or not a string", key));
    return *v->asString();
}

std::vector<std::string> routeNameAt(const Value& payload)
{
    const auto* v = payload.find("routeName");
    if (!v || !v->asArray())
        malformed("\"routeName\" is missing or not an array");
    std::vector<std::string> names;
    for (const auto& item : *v->asArray()) {
        if (!item.asString())
            malformed("\"routeName\" holds a value that is not a string");
        names.push_back(*item.asString());
    }
    return names;
}

Value routeNameValue(const std::vector<std::string>& names)
{
    Value::Array items;
    for (const auto& n : names)
        items.emplace_back(n);
    return Value(std::move(items));
}

bool hasDescription(XPCError::Kind kind)
{
    using K = XPCError::Kind;
    switch (kind) {
    case K::encodingError:
    case K::decodingError:
    case K::routeMismatch:
    case K::misconfiguredServer:
    case K::misconfiguredClient:
    case K::internalFailure:
    case K::unknown:
        return true;
    default:
        return false;
    }
}

} // namespace

const char* caseName(XPCError::Kind kind) { return kindNames.at(static_cast<std::size_t>(kind)); }

XPCError XPCError::routeNotRegistered(std::vector<std::string> routeName)
{
    XPCError e(Kind::routeNotRegistered);
    e.routeName_ = std::move(routeName);
    e.render();
    return e;
}

XPCError XPCError::routeMismatch(std::vector<std::string> routeName, std::string description)
{
    XPCError e(Kind::routeMismatch, std::move(description));
    e.routeName_ = std::move(routeName);
    e.render();
    return e;
}

XPCError XPCError::handler(HandlerError error)
{
    XPCError e(Kind::handlerError);
    e.handlerError_ = std::move(error);
    e.render();
    return e;
}

void XPCError::render()
{
    text_ = caseName(kind_);
    if (!routeName_.empty())
        text_ += fmt::format(" ({})", fmt::join(routeName_, "/"));
    if (handlerError_)
        text_ += fmt::format(": {} ({})", handlerError_->localizedDescription, handlerError_->typeName);
    if (!description_.empty())
        text_ += ": " + description_;
}

Value XPCError::encode() const
{
    Value payload = Value::dictionary();
    switch (kind_) {
    case Kind::routeNotRegistered:
        payload.set("routeName", routeNameValue(routeName_));
        break;
    case Kind::routeMismatch:
        payload.set("routeName", routeNameValue(routeName_));
        payload.set("description", description_);
        break;
    case Kind::handlerError: {
        const auto& h = *handlerError_;
        Value underlying = Value::dictionary();
        Value inner = Value::dictionary();
        if (h.underlyingError.kind == UnderlyingError::Kind::available)
            inner.set("_0", h.underlyingError.value);
        underlying.set(underlyingNames[static_cast<std::size_t>(h.underlyingError.kind)], std::move(inner));
        Value error = Value::dictionary();
        error.set("localizedDescription", h.localizedDescription);
        error.set("typeName", h.typeName);
        error.set("underlyingError", std::move(underlying));
        payload.set("_0", std::move(error));
        break;
    }
    default:
        if (hasDescription(kind_))
            payload.set("description", description_);
        break;
    }
    Value encoded = Value::dictionary();
    encoded.set(caseName(kind_), std::move(payload));
    return encoded;
}

XPCError XPCError::decode(const Value& value)
{
    const auto* entries = value.asDictionary();
    if (!entries || entries->size() != 1)
        malformed("expected a dictionary with one case");
    const auto& [name, payload] = entries->front();
    if (!payload.asDictionary())
        malformed(fmt::format("the payload of \"{}\" is not a dictionary", name));
    for (std::size_t i = 0; i < kindNames.size(); ++i) {
        if (name != kindNames[i])
            continue;
        auto kind = static_cast<Kind>(i);
        switch (kind) {
        case Kind::routeNotRegistered:
            return routeNotRegistered(routeNameAt(payload));
        case Kind::routeMismatch:
            return routeMismatch(routeNameAt(payload), stringAt(payload, "description"));
        case Kind::handlerError: {
            const auto* inner = payload.find("_0");
            if (!inner || !inner->asDictionary())
                malformed("handlerError without its \"_0\" payload");
            HandlerError h;
            h.localizedDescription = stringAt(*inner, "localizedDescription");
            h.typeName = stringAt(*inner, "typeName");
            const auto* u = inner->find("underlyingError");
            if (!u || !u->asDictionary() || u->asDictionary()->size() != 1)
                malformed("handlerError without its \"underlyingError\"");
            const auto& [uname, upayload] = u->asDictionary()->front();
            bool known = false;
            for (std::size_t k = 0; k < underlyingNames.size(); ++k) {
                if (uname == underlyingNames[k]) {
                    h.underlyingError.kind = static_cast<UnderlyingError::Kind>(k);
                    known = true;
                }
            }
            if (!known)
                malformed(fmt::format("unknown underlying error \"{}\"", uname));
            if (h.underlyingError.kind == UnderlyingError::Kind::available) {
                const auto* v = upayload.find("_0");
                if (!v)
                    malformed("an available underlying error without its value");
                h.underlyingError.value = *v;
            }
            return handler(std::move(h));
        }
        default:
            if (hasDescription(kind))
                return XPCError(kind, stringAt(payload, "description"));
            return XPCError(kind);
        }
    }
    malformed(fmt::format("unknown case \"{}\"", name));
}

} // namespace tarnel::xpc
