#pragma once

#include "TarnelFoundation/Codec/Value.h"

#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::xpc {

// Why a handler's error reached the client without its own value.
struct UnderlyingError {
    enum class Kind { available, unavailableNotEncoded, unavailableNoDecodingPossible, unavailableMultipleDecodingsPossible };
    Kind kind = Kind::unavailableNotEncoded;
    Value value; // the encoded error when `available`

    friend bool operator==(const UnderlyingError&, const UnderlyingError&) = default;
};

struct HandlerError {
    std::string localizedDescription;
    std::string typeName;
    UnderlyingError underlyingError;

    friend bool operator==(const HandlerError&, const HandlerError&) = default;
};

// The transport's one error type. Thrown by every failing send and carried on the wire.
class XPCError : public std::exception {
public:
    enum class Kind {
        encodingError,
        decodingError,
        routeNotRegistered,
        routeMismatch,
        misconfiguredServer,
        handlerError,
        misconfiguredClient,
        internalFailure,
        unknown,
        connectionInvalid,
        connectionInterrupted,
        terminationImminent,
        insecure,
        clientNotConnected,
        sequenceFinished,
        conflictingClientRequirements,
    };

    static XPCError encodingError(std::string description) { return {Kind::encodingError, std::move(description)}; }
    static XPCError decodingError(std::string description) { return {Kind::decodingError, std::move(description)}; }
    static XPCError routeNotRegistered(std::vector<std::string> routeName);
    static XPCError routeMismatch(std::vector<std::string> routeName, std::string description);
    static XPCError misconfiguredServer(std::string d) { return {Kind::misconfiguredServer, std::move(d)}; }
    static XPCError handler(HandlerError error);
    static XPCError misconfiguredClient(std::string d) { return {Kind::misconfiguredClient, std::move(d)}; }
    static XPCError internalFailure(std::string d) { return {Kind::internalFailure, std::move(d)}; }
    static XPCError unknown(std::string d) { return {Kind::unknown, std::move(d)}; }
    static XPCError connectionInvalid() { return XPCError(Kind::connectionInvalid); }
    static XPCError connectionInterrupted() { return XPCError(Kind::connectionInterrupted); }
    static XPCError terminationImminent() { return XPCError(Kind::terminationImminent); }
    static XPCError insecure() { return XPCError(Kind::insecure); }
    static XPCError clientNotConnected() { return XPCError(Kind::clientNotConnected); }
    static XPCError sequenceFinished() { return XPCError(Kind::sequenceFinished); }
    static XPCError conflictingClientRequirements() { return XPCError(Kind::conflictingClientRequirements); }

    explicit XPCError(Kind kind) : kind_(kind) { render(); }

    Kind kind() const { return kind_; }
    const std::string& description() const { return description_; }
    const std::vector<std::string>& routeName() const { return routeName_; }
    const std::optional<HandlerError>& handlerError() const { return handlerError_; }
    const char* what() const noexcept override { return text_.c_str(); }

    Value encode() const;
    // Throws a decodingError XPCError when `value` is no encoded XPCError.
    static XPCError decode(const Value& value);

    friend bool operator==(const XPCError& a, const XPCError& b)
    {
        return a.kind_ == b.kind_ && a.description_ == b.description_ && a.routeName_ == b.routeName_ &&
               a.handlerError_ == b.handlerError_;
    }

private:
    XPCError(Kind kind, std::string description) : kind_(kind), description_(std::move(description)) { render(); }
    void render();

    Kind kind_;
    std::string description_;
    std::vector<std::string> routeName_;
    std::optional<HandlerError> handlerError_;
    std::string text_;
};

const char* caseName(XPCError::Kind kind);

} // namespace tarnel::xpc
