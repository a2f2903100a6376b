// libFuzzer entry for the frame body and envelope decoders: whatever the bytes, decoding either
// succeeds or throws the documented error, and a decoded value re-encodes to itself.
#include "TarnelXPC/Envelope.h"
#include "TarnelXPC/Wire/ValueCoding.h"
#include "TarnelXPC/XPCError.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tarnel;
    using namespace tarnel::xpc;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    Value value;
    try {
        value = decodeValue(bytes);
    } catch (const WireFormatError&) {
        return 0;
    }
    // Compared as bytes: a NaN is unequal to itself but must survive the round trip.
    const auto encoded = encodeValue(value);
    if (encodeValue(decodeValue(encoded)) != encoded)
        std::abort();
    try {
        switch (messageKind(value)) {
        case MessageKind::request:
            (void)RequestEnvelope::decode(value).encode();
            break;
        case MessageKind::reply:
        case MessageKind::sequenceResult:
            (void)ResponseEnvelope::decode(value).encode(MessageKind::reply);
            break;
        case MessageKind::terminationImminent:
            break;
        }
    } catch (const XPCError&) {
    }
    try {
        (void)XPCError::decode(value).encode();
    } catch (const XPCError&) {
    }
    return 0;
}
