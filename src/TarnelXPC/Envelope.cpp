#include "TarnelXPC/Envelope.h"

#include <fmt/format.h>

#include <array>
#include <fstream>
#include <random>

namespace tarnel::xpc {

namespace {

constexpr std::array messageKindNames{"request", "reply", "sequenceResult", "terminationImminent"};

[[noreturn]] void malformed(const std::string& what) { throw XPCError::decodingError(what); }

} // namespace

MessageKind messageKind(const Value& message)
{
    const auto* kind = message.find("__message");
    if (!kind || !kind->asString())
        malformed("Message without \"__message\"");
    for (std::size_t i = 0; i < messageKindNames.size(); ++i)
        if (*kind->asString() == messageKindNames[i])
            return static_cast<MessageKind>(i);
    malformed(fmt::format("Unknown message kind \"{}\"", *kind->asString()));
}

Value terminationImminentMessage()
{
    Value message = Value::dictionary();
    message.set("__message", "terminationImminent");
    return message;
}

Value RequestEnvelope::encode() const
{
    Value message = Value::dictionary();
    message.set("__message", "request");
    message.set("__route", route.encode());
    message.set("__request_id", requestId);
    if (clientBookmark)
        message.set("__client_bookmark", *clientBookmark);
    if (payload)
        message.set("__payload", *payload);
    return message;
}

RequestEnvelope RequestEnvelope::decode(const Value& message)
{
    RequestEnvelope request;
    const auto* route = message.find("__route");
    if (!route)
        malformed("Request without \"__route\"");
    request.route = XPCRoute::decode(*route);
    const auto* id = message.find("__request_id");
    if (!id || !id->asString())
        malformed("Request without \"__request_id\"");
    request.requestId = *id->asString();
    if (const auto* bookmark = message.find("__client_bookmark")) {
        if (!bookmark->asBytes())
            malformed("\"__client_bookmark\" is not data");
        request.clientBookmark = *bookmark->asBytes();
    }
    if (const auto* payload = message.find("__payload"))
        request.payload = *payload;
    return request;
}

Value ResponseEnvelope::encode(MessageKind kind) const
{
    Value message = Value::dictionary();
    message.set("__message", messageKindNames[static_cast<std::size_t>(kind)]);
    message.set("__request_id", requestId);
    if (error)
        message.set("__error", error->encode());
    else if (payload)
        message.set("__payload", *payload);
    return message;
}

ResponseEnvelope ResponseEnvelope::decode(const Value& message)
{
    ResponseEnvelope response;
    const auto* id = message.find("__request_id");
    if (!id || !id->asString())
        malformed("Response without \"__request_id\"");
    response.requestId = *id->asString();
    const auto* payload = message.find("__payload");
    const auto* error = message.find("__error");
    if (payload && error)
        malformed("Response with both \"__payload\" and \"__error\"");
    if (payload)
        response.payload = *payload;
    if (error)
        response.error = XPCError::decode(*error);
    return response;
}

std::string newRequestId()
{
    // A version 4 UUID in its upper-case text form.
    thread_local std::mt19937_64 generator{std::random_device{}()};
    std::uint64_t hi = generator(), lo = generator();
    hi = (hi & 0xffffffffffff0fffULL) | 0x0000000000004000ULL;
    lo = (lo & 0x3fffffffffffffffULL) | 0x8000000000000000ULL;
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", hi >> 32, (hi >> 16) & 0xffff, hi & 0xffff, lo >> 48,
                       lo & 0xffffffffffffULL);
}

} // namespace tarnel::xpc
