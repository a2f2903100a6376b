#pragma once

// TARNEL_RECORD: a record's fields listed once, in its .cpp, give its encoder and both of its
// decoders (from the value tree and straight from wire bytes).

#include "TarnelFoundation/Codec/Codec.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace tarnel::codec {

// ---- fields of records ----

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

template <class T>
void encodeField(Value::Dictionary& out, const char* name, const T& field)
{
    if constexpr (IsOptional<T>::value) {
        if (!field)
            return; // an absent optional has no key
    }
    out.emplace_back(name, Coder<T>::encode(field));
}

const Value* findKey(const Value::Dictionary& entries, std::string_view key);
// Looks at `entries[hint]` first and leaves `hint` after the entry found: fields are read in
// the order they were written, so each is usually the next entry.
const Value* findKey(const Value::Dictionary& entries, std::string_view key, std::size_t& hint);

bool isListed(std::span<const std::string_view> names, std::string_view name);

// A field whose key is missing: an optional is absent, a field listed in `defaulted` (or any
// field of a JSON document) keeps its default, any other fails.
template <class T>
void settleMissing(Decoder& d, const char* name, T& field, std::span<const std::string_view> defaulted)
{
    if constexpr (IsOptional<T>::value) {
        field = std::nullopt;
    } else {
        if (d.isJson() || isListed(defaulted, name))
            return;
        d.fail(std::string("the key \"") + name + "\" is missing");
    }
}

template <class T>
void decodeField(const Value::Dictionary& in, Decoder& d, std::string_view key, const char* name, T& field,
                 std::span<const std::string_view> defaulted, std::size_t& hint)
{
    const Value* v = findKey(in, key, hint);
    if (!v)
        return settleMissing(d, name, field, defaulted);
    PathScope scope(d, name);
    field = Coder<T>::decode(*v, d);
}

// String equality without a call to memcmp for the short keys and names of records.
inline bool sameText(std::string_view a, std::string_view b)
{
    const auto n = a.size();
    if (n != b.size())
        return false;
    if (n < 8) {
        for (std::size_t i = 0; i < n; ++i)
            if (a[i] != b[i])
                return false;
        return true;
    }
    std::uint64_t x, y, difference = 0;
    for (std::size_t i = 0; i + 8 < n; i += 8) {
        std::memcpy(&x, a.data() + i, 8);
        std::memcpy(&y, b.data() + i, 8);
        difference |= x ^ y;
    }
    // The last eight bytes, overlapping the chunks before them.
    std::memcpy(&x, a.data() + n - 8, 8);
    std::memcpy(&y, b.data() + n - 8, 8);
    return (difference | (x ^ y)) == 0;
}

// Walks the entries of one record's dictionary on the wire and matches their keys with the
// record's fields; entries of no field are checked and passed over.
class WireFields {
public:
    static constexpr std::size_t done = std::numeric_limits<std::size_t>::max();

    WireFields(WireReader& reader, Decoder& decoder, const char* type, std::span<const std::string_view> keys);
    // The field of the next entry, whose value is next in the reader; `done` after the last.
    std::size_t next()
    {
        if (remaining_ == 0) {
            reader_.endContainer();
            return done;
        }
        --remaining_;
        const auto at = reader_.offset();
        const auto key = reader_.readKeyUnchecked();
        // Entries usually come in the order of the fields; a field's key is valid UTF-8.
        if (cursor_ < keys_.size() && !seen(cursor_) && sameText(keys_[cursor_], key)) {
            seen_ |= std::uint64_t{1} << cursor_;
            return cursor_++;
        }
        return nextOutOfOrder(at, key);
    }
    bool seen(std::size_t field) const { return (seen_ >> field) & 1u; }

private:
    std::size_t nextOutOfOrder(std::size_t at, std::string_view key);

    WireReader& reader_;
    std::span<const std::string_view> keys_;
    std::uint32_t remaining_ = 0;
    std::size_t cursor_ = 0;
    std::uint64_t seen_ = 0;
    std::optional<DictionaryKeys> unknownKeys_;
};

template <class T>
void decodeWireField(WireReader& reader, Decoder& d, const char* name, T& field)
{
    PathScope scope(d, name);
    // A record field starts from the record's own defaults, as it does when decoded from a tree.
    if constexpr (RecordType<T>)
        field = T{};
    decodeInto(reader, d, field);
}

} // namespace tarnel::codec

#define TARNEL_CODEC_EXPAND(x) x
#define TARNEL_CODEC_FE_1(M, x) M(x)
#define TARNEL_CODEC_FE_2(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_1(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_3(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_2(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_4(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_3(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_5(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_4(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_6(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_5(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_7(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_6(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_8(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_7(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_9(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_8(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_10(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_9(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_11(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_10(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_12(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_11(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_13(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_12(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_14(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_13(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_15(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_14(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_16(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_15(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_17(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_16(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_18(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_17(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_19(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_18(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_20(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_19(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_21(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_20(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_22(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_21(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_23(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_22(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_24(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_23(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_25(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_24(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_26(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_25(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_27(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_26(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_28(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_27(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_29(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_28(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_30(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_29(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_31(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_30(M, __VA_ARGS__))
#define TARNEL_CODEC_FE_32(M, x, ...) M(x) TARNEL_CODEC_EXPAND(TARNEL_CODEC_FE_31(M, __VA_ARGS__))
#define TARNEL_CODEC_PICK(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19, _20, \
                          _21, _22, _23, _24, _25, _26, _27, _28, _29, _30, _31, _32, NAME, ...)                       \
    NAME
#define TARNEL_CODEC_FOR_EACH(M, ...)                                                                                    \
    TARNEL_CODEC_EXPAND(TARNEL_CODEC_PICK(__VA_ARGS__, TARNEL_CODEC_FE_32, TARNEL_CODEC_FE_31, TARNEL_CODEC_FE_30,      \
                                          TARNEL_CODEC_FE_29, TARNEL_CODEC_FE_28, TARNEL_CODEC_FE_27, TARNEL_CODEC_FE_26, \
                                          TARNEL_CODEC_FE_25, TARNEL_CODEC_FE_24, TARNEL_CODEC_FE_23, TARNEL_CODEC_FE_22, \
                                          TARNEL_CODEC_FE_21, TARNEL_CODEC_FE_20, TARNEL_CODEC_FE_19, TARNEL_CODEC_FE_18, \
                                          TARNEL_CODEC_FE_17, TARNEL_CODEC_FE_16, TARNEL_CODEC_FE_15, TARNEL_CODEC_FE_14, \
                                          TARNEL_CODEC_FE_13, TARNEL_CODEC_FE_12, TARNEL_CODEC_FE_11, TARNEL_CODEC_FE_10, \
                                          TARNEL_CODEC_FE_9, TARNEL_CODEC_FE_8, TARNEL_CODEC_FE_7, TARNEL_CODEC_FE_6,     \
                                          TARNEL_CODEC_FE_5, TARNEL_CODEC_FE_4, TARNEL_CODEC_FE_3, TARNEL_CODEC_FE_2,     \
                                          TARNEL_CODEC_FE_1)(M, __VA_ARGS__))

#define TARNEL_CODEC_ENCODE_FIELD(f) ::tarnel::codec::encodeField(entries, #f, record.f);
#define TARNEL_CODEC_DECODE_FIELD(f)                                                                                    \
    ::tarnel::codec::decodeField(entries, decoder, std::string_view(#f, sizeof(#f) - 1), #f, record.f, defaulted, hint);
#define TARNEL_CODEC_FIELD_KEY(f) std::string_view(#f, sizeof(#f) - 1),
#define TARNEL_CODEC_WIRE_FIELD(f)                                                                                      \
    if (field == index++) {                                                                                             \
        ::tarnel::codec::decodeWireField(reader, decoder, #f, record.f);                                               \
        continue;                                                                                                       \
    }
#define TARNEL_CODEC_WIRE_MISSING(f)                                                                                    \
    if (!fields.seen(index++))                                                                                          \
        ::tarnel::codec::settleMissing(decoder, #f, record.f, defaulted);

// In a .cpp, in the record's namespace: the fields in encoding order. Keys listed in
// `DEFAULTED` (a std::array of std::string_view) take their default when missing.
#define TARNEL_RECORD_WITH_DEFAULTS(Type, DEFAULTED, ...)                                                               \
    ::tarnel::Value tarnelEncode(const Type& record)                                                                    \
    {                                                                                                                   \
        ::tarnel::Value::Dictionary entries;                                                                            \
        TARNEL_CODEC_FOR_EACH(TARNEL_CODEC_ENCODE_FIELD, __VA_ARGS__)                                                   \
        return ::tarnel::Value(std::move(entries));                                                                     \
    }                                                                                                                   \
    void tarnelDecode(const ::tarnel::Value& value, ::tarnel::codec::Decoder& decoder, Type& record)                    \
    {                                                                                                                   \
        const auto& entries = ::tarnel::codec::expectDictionary(value, decoder, #Type);                                 \
        const std::span<const std::string_view> defaulted = DEFAULTED;                                                  \
        std::size_t hint = 0;                                                                                           \
        TARNEL_CODEC_FOR_EACH(TARNEL_CODEC_DECODE_FIELD, __VA_ARGS__)                                                   \
    }                                                                                                                   \
    void tarnelDecodeWire(::tarnel::codec::WireReader& reader, ::tarnel::codec::Decoder& decoder, Type& record)         \
    {                                                                                                                   \
        static constexpr std::string_view keys[] = {TARNEL_CODEC_FOR_EACH(TARNEL_CODEC_FIELD_KEY, __VA_ARGS__)};         \
        static_assert(std::size(keys) <= 64, "a record's fields are tracked in 64 bits");                             \
        const std::span<const std::string_view> defaulted = DEFAULTED;                                                  \
        ::tarnel::codec::WireFields fields(reader, decoder, #Type, keys);                                               \
        for (std::size_t field = fields.next(); field != ::tarnel::codec::WireFields::done; field = fields.next()) {    \
            std::size_t index = 0;                                                                                      \
            TARNEL_CODEC_FOR_EACH(TARNEL_CODEC_WIRE_FIELD, __VA_ARGS__)                                                 \
        }                                                                                                               \
        std::size_t index = 0;                                                                                          \
        TARNEL_CODEC_FOR_EACH(TARNEL_CODEC_WIRE_MISSING, __VA_ARGS__)                                                   \
    }

namespace tarnel::codec {
inline constexpr std::array<std::string_view, 0> noDefaults{};
}
#define TARNEL_RECORD(Type, ...) TARNEL_RECORD_WITH_DEFAULTS(Type, ::tarnel::codec::noDefaults, __VA_ARGS__)
