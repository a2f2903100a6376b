#include "TarnelXPC/Envelope.h"
#include "TarnelXPC/Wire/ValueCoding.h"
#include "TarnelXPC/XPCError.h"
#include "TarnelXPC/XPCRoute.h"

#include <gtest/gtest.h>

#include <limits>

using namespace tarnel;
using namespace tarnel::xpc;

namespace {

Value sampleOfEveryKind()
{
    Value v = Value::dictionary();
    v.set("null", Value());
    v.set("yes", true);
    v.set("no", false);
    v.set("negative", std::int64_t{-42});
    v.set("big", std::numeric_limits<std::uint64_t>::max());
    v.set("pi", 3.25);
    v.set("text", "Grüße");
    v.set("bytes", Value::Bytes{0, 1, 0xff});
    v.set("list", Value(Value::Array{Value(std::int64_t{1}), Value("two"), Value::array()}));
    v.set("nested", Value(Value::Dictionary{{"z", Value(true)}, {"a", Value()}}));
    return v;
}

std::string bytes(std::initializer_list<int> list)
{
    std::string s;
    for (int b : list)
        s.push_back(static_cast<char>(b));
    return s;
}

} // namespace

TEST(WireFormat, EveryKindRoundTripsAndKeepsDictionaryOrder)
{
    auto value = sampleOfEveryKind();
    auto decoded = decodeValue(encodeValue(value));
    EXPECT_EQ(decoded, value) << describe(decoded);
    EXPECT_EQ(decoded.asDictionary()->front().first, "null");
    EXPECT_EQ(decoded.find("nested")->asDictionary()->front().first, "z");

    // The byte layout is the documented one: tag, little-endian lengths and numbers.
    EXPECT_EQ(encodeValue(Value(std::int64_t{-2})), bytes({2, 0xfe, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}));
    EXPECT_EQ(encodeValue(Value("hi")), bytes({5, 2, 0, 0, 0, 'h', 'i'}));
    Value dict = Value::dictionary();
    dict.set("a", true);
    EXPECT_EQ(encodeValue(dict), bytes({8, 1, 0, 0, 0, 1, 0, 0, 0, 'a', 1, 1}));
    EXPECT_EQ(encodeValue(Value(1.0)), bytes({4, 0, 0, 0, 0, 0, 0, 0xf0, 0x3f}));
    auto frame = encodeFrame(Value());
    EXPECT_EQ(frame, bytes({1, 0, 0, 0, 0}));
}

TEST(WireFormat, MalformedInputIsRejectedWithoutHarm)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {"empty", ""},
        {"unknown tag", bytes({9})},
        {"bool out of range", bytes({1, 2})},
        {"truncated number", bytes({2, 1, 2, 3})},
        {"string past the end", bytes({5, 10, 0, 0, 0, 'a'})},
        {"invalid UTF-8", bytes({5, 2, 0, 0, 0, 0xc3, 0x28})},
        {"overlong UTF-8", bytes({5, 2, 0, 0, 0, 0xc0, 0x80})},
        {"surrogate", bytes({5, 3, 0, 0, 0, 0xed, 0xa0, 0x80})},
        {"count larger than the input", bytes({7, 0xff, 0xff, 0xff, 0x7f, 0})},
        {"duplicate key", bytes({8, 2, 0, 0, 0, 1, 0, 0, 0, 'k', 0, 1, 0, 0, 0, 'k', 0})},
        {"trailing bytes", bytes({0, 0})},
    };
    for (const auto& [name, input] : cases)
        EXPECT_THROW(decodeValue(input), WireFormatError) << name;

    // Nesting is limited, so a hostile peer cannot exhaust the stack.
    std::string deep;
    for (int i = 0; i < 65; ++i)
        deep += bytes({7, 1, 0, 0, 0});
    deep += bytes({0});
    EXPECT_THROW(decodeValue(deep), WireFormatError);
    std::string shallow;
    for (int i = 0; i < 64; ++i)
        shallow += bytes({7, 1, 0, 0, 0});
    shallow += bytes({0});
    EXPECT_NO_THROW(decodeValue(shallow));

    EXPECT_THROW(encodeValue(Value(std::string("\xff"))), WireFormatError);
}

TEST(WireFormat, ErrorsRoundTripInTheirDocumentedShape)
{
    std::vector<XPCError> all{
        XPCError::encodingError("e"),
        XPCError::decodingError("d"),
        XPCError::routeNotRegistered({"stats", "subscribe"}),
        XPCError::routeMismatch({"ping"}, "why"),
        XPCError::misconfiguredServer("s"),
        XPCError::handler({"disk full", "std::runtime_error", {}}),
        XPCError::handler({"x", "T", {UnderlyingError::Kind::available, Value(std::int64_t{3})}}),
        XPCError::misconfiguredClient("c"),
        XPCError::internalFailure("i"),
        XPCError::unknown("u"),
        XPCError::connectionInvalid(),
        XPCError::connectionInterrupted(),
        XPCError::terminationImminent(),
        XPCError::insecure(),
        XPCError::clientNotConnected(),
        XPCError::sequenceFinished(),
        XPCError::conflictingClientRequirements(),
    };
    for (const auto& error : all)
        EXPECT_EQ(XPCError::decode(error.encode()), error) << error.what();

    auto mismatch = XPCError::routeMismatch({"ping"}, "why").encode();
    EXPECT_EQ(describe(mismatch), describe(Value(Value::Dictionary{
                                      {"routeMismatch", Value(Value::Dictionary{
                                                            {"routeName", Value(Value::Array{Value("ping")})},
                                                            {"description", Value("why")}})}})));
    auto handler = XPCError::handler({"disk full", "std::runtime_error", {}}).encode();
    const auto* payload = handler.find("handlerError")->find("_0");
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(*payload->find("localizedDescription"), Value("disk full"));
    EXPECT_NE(payload->find("underlyingError")->find("unavailableNotEncoded"), nullptr);
    EXPECT_EQ(XPCError::connectionInvalid().encode(),
              Value(Value::Dictionary{{"connectionInvalid", Value::dictionary()}}));

    for (const auto& bad : {Value(), Value(Value::Dictionary{{"nope", Value::dictionary()}}),
                            Value(Value::Dictionary{{"routeMismatch", Value::dictionary()}})}) {
        try {
            XPCError::decode(bad);
            ADD_FAILURE() << "decoded " << describe(bad);
        } catch (const XPCError& e) {
            EXPECT_EQ(e.kind(), XPCError::Kind::decodingError);
        }
    }
}

TEST(WireFormat, EnvelopesAndRouteDescriptors)
{
    XPCRoute route;
    route.pathComponents = {"stats", "subscribe"};
    route.messageType = "StatsSubscriptionRequest";
    route.sequentialReplyType = "StatsUpdateBatch";
    route.expectsReply = true;
    auto encoded = route.encode();
    std::vector<std::string> keys;
    for (const auto& [k, v] : *encoded.asDictionary())
        keys.push_back(k);
    EXPECT_EQ(keys, (std::vector<std::string>{"namespace", "pathComponents", "messageType", "replyType",
                                               "sequentialReplyType", "expectsReply"}));
    EXPECT_TRUE(encoded.find("replyType")->isNull());
    EXPECT_NE(encoded.find("namespace")->find("apiUser"), nullptr);
    auto decoded = XPCRoute::decode(encoded);
    EXPECT_EQ(decoded.messageType, route.messageType);
    EXPECT_EQ(decoded.replyType, std::nullopt);

    // Identity is namespace and path; the type names take no part.
    XPCRoute other = route;
    other.messageType = "Bool";
    EXPECT_EQ(other, route);
    EXPECT_EQ(XPCRouteHash()(other), XPCRouteHash()(route));
    EXPECT_FALSE(XPCRoute::noop() == route);

    RequestEnvelope request{route, newRequestId(), Value::Bytes{1, 2}, Value("payload")};
    auto back = RequestEnvelope::decode(request.encode());
    EXPECT_EQ(back.requestId, request.requestId);
    EXPECT_EQ(back.payload, request.payload);
    EXPECT_EQ(back.clientBookmark, request.clientBookmark);
    EXPECT_EQ(request.requestId.size(), 36u);
    EXPECT_NE(newRequestId(), newRequestId());

    // A response without "__request_id" never decodes, not even an otherwise empty one.
    for (const auto& message : {Value(Value::Dictionary{{"__message", Value("reply")}}),
                                Value(Value::Dictionary{{"__message", Value("reply")}, {"__payload", Value(true)}})}) {
        try {
            ResponseEnvelope::decode(message);
            ADD_FAILURE() << "decoded a response without an id";
        } catch (const XPCError& e) {
            EXPECT_EQ(e.kind(), XPCError::Kind::decodingError);
        }
    }
    ResponseEnvelope both{"id", Value(true), XPCError::insecure()};
    auto bothEncoded = both.encode(MessageKind::reply);
    bothEncoded.set("__payload", true);
    EXPECT_THROW(ResponseEnvelope::decode(bothEncoded), XPCError);
    EXPECT_TRUE(ResponseEnvelope::decode(ResponseEnvelope{"id", {}, {}}.encode(MessageKind::reply)).isEmpty());
}
