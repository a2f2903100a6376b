#pragma once

#include "TarnelFoundation/Codec/Value.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarnel::xpc {

// The byte form of a value tree on the wire (docs/wire.md). Decoding is strict: a bad tag,
// a length past the end, invalid UTF-8, a duplicate key, nesting deeper than
// `maximumDepth` or bytes left over are errors.
struct WireFormatError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline constexpr std::size_t maximumDepth = 64;
inline constexpr std::uint32_t maximumFrameSize = 16u * 1024u * 1024u;
inline constexpr std::size_t frameHeaderSize = 4;

void appendValue(std::string& out, const Value& value);
std::string encodeValue(const Value& value);
Value decodeValue(std::string_view bytes);

// A whole frame: the 4-byte little-endian body length, then the encoded value.
std::string encodeFrame(const Value& value);

} // namespace tarnel::xpc
