#pragma once

#include "TarnelFoundation/Codec/Value.h"
#include "TarnelXPC/XPCError.h"
#include "TarnelXPC/XPCRoute.h"

#include <optional>
#include <string>

namespace tarnel::xpc {

// What one frame carries; the transport's own key "__message" tells the three apart.
enum class MessageKind {
    request,             // a request of a client
    reply,               // the one answer to a request
    sequenceResult,      // an element, failure or end of an open sequence
    terminationImminent, // the server is about to exit
};

struct RequestEnvelope {
    XPCRoute route;
    std::string requestId;
    std::optional<Value::Bytes> clientBookmark;
    std::optional<Value> payload;

    Value encode() const;
    // Throws a decodingError XPCError.
    static RequestEnvelope decode(const Value& message);
};

struct ResponseEnvelope {
    std::string requestId;
    std::optional<Value> payload;
    std::optional<XPCError> error;

    bool isEmpty() const { return !payload && !error; }

    Value encode(MessageKind kind) const;
    // Throws a decodingError XPCError; a response without "__request_id" never decodes.
    static ResponseEnvelope decode(const Value& message);
};

// The kind of a frame; throws a decodingError XPCError for an unknown one.
MessageKind messageKind(const Value& message);
Value terminationImminentMessage();

std::string newRequestId();

} // namespace tarnel::xpc
