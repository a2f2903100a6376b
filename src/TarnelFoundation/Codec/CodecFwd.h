#pragma once

// What a record's header needs of the codec: the declarations TARNEL_CODABLE makes and the
// names of its enumerations. Encoding and decoding are in Codec.h, the field lists of
// TARNEL_RECORD in Record.h.

#include <array>
#include <cstddef>
#include <string_view>

namespace tarnel {
class Value;
}

namespace tarnel::codec {

class Decoder;
class WireReader;

// Enumerations serialised by name list their names in case order here.
template <class E>
struct EnumNames;
// Enumerations serialised as their integer raw value set this to their case count.
template <class E>
inline constexpr std::size_t integerEnumCount = 0;

} // namespace tarnel::codec

// Inside namespace tarnel::codec: the names of an enumeration serialised by name, in case order.
#define TARNEL_ENUM_NAMES(Type, Count, ...)                                                                             \
    template <>                                                                                                         \
    struct EnumNames<Type> {                                                                                            \
        static constexpr std::string_view typeName = #Type;                                                            \
        static constexpr std::array<std::string_view, Count> names{__VA_ARGS__};                                       \
    }

// In a header, beside the record: declares its codec.
// The wire decoder is weak: TARNEL_RECORD defines it, a codec written by hand leaves it null and
// its records decode from the value tree.
#define TARNEL_CODABLE(Type)                                                                                            \
    ::tarnel::Value tarnelEncode(const Type&);                                                                          \
    void tarnelDecode(const ::tarnel::Value&, ::tarnel::codec::Decoder&, Type&);                                       \
    [[gnu::weak]] void tarnelDecodeWire(::tarnel::codec::WireReader&, ::tarnel::codec::Decoder&, Type&);              \
    inline auto tarnelWireDecoder(const Type*)                                                                          \
    {                                                                                                                   \
        return static_cast<void (*)(::tarnel::codec::WireReader&, ::tarnel::codec::Decoder&, Type&)>(&tarnelDecodeWire); \
    }                                                                                                                   \
    inline const char* tarnelTypeName(const Type*) { return #Type; }
