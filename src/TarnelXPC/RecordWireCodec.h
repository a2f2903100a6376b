#pragma once

#include "TarnelFoundation/Codec/Codec.h"
#include "TarnelXPC/WireCodec.h"

namespace tarnel::xpc {

// Records of the shared model cross the wire through their one codec; a decoding failure is
// the reading side's decodingError, naming the path.
template <class T>
    requires codec::RecordType<T>
struct WireCodec<T, void> {
    static std::string typeName() { return tarnelTypeName(static_cast<const T*>(nullptr)); }
    static Value encode(const T& value) { return codec::encode(value); }
    static T decode(const Value& value)
    {
        try {
            return codec::decode<T>(value);
        } catch (const codec::DecodingError& e) {
            throw XPCError::decodingError(typeName() + ": " + e.what());
        }
    }
};

} // namespace tarnel::xpc
