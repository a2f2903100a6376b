#pragma once

// The one codec of records: each record lists its fields once (TARNEL_RECORD in its .cpp), and
// the same description serves the wire value tree and JSON documents.

#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"

#include <array>
#include <concepts>
#include <limits>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tarnel::codec {

struct DecodingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Carries the path for error messages and the rules of the format being read. The wire is
// strict by kind; JSON documents accept any number where a number is wanted and take the
// default for a missing field.
class Decoder {
public:
    enum class Format { wire, json };
    explicit Decoder(Format format = Format::wire) : format_(format) {}

    bool isJson() const { return format_ == Format::json; }
    [[noreturn]] void fail(const std::string& what) const;
    // Segments are kept unformatted: the path is only spelled out when decoding fails.
    void push(const char* key) { path_.push_back({key, 0}); }
    void push(std::size_t index) { path_.push_back({nullptr, index}); }
    void pop() { path_.pop_back(); }
    std::string path() const;

private:
    struct Segment {
        const char* key;
        std::size_t index;
    };
    Format format_;
    std::vector<Segment> path_;
};

class PathScope {
public:
    PathScope(Decoder& d, const char* key) : d_(d) { d_.push(key); }
    PathScope(Decoder& d, std::size_t index) : d_(d) { d_.push(index); }
    ~PathScope() { d_.pop(); }
    PathScope(const PathScope&) = delete;
    PathScope& operator=(const PathScope&) = delete;

private:
    Decoder& d_;
};

// Enumerations serialised by name list their names in case order here.
template <class E>
struct EnumNames;
// Enumerations serialised as their integer raw value set this to their case count.
template <class E>
inline constexpr std::size_t integerEnumCount = 0;

template <class T, class Enable = void>
struct Coder;

template <class T>
concept HasEnumNames = requires { EnumNames<T>::names; };

template <class T>
concept RecordType = requires(const T& t, const Value& v, Decoder& d, T& out) {
    { tarnelEncode(t) } -> std::same_as<Value>;
    tarnelDecode(v, d, out);
};

template <class T>
Value encode(const T& value)
{
    return Coder<T>::encode(value);
}

template <class T>
T decode(const Value& value, Decoder& decoder)
{
    return Coder<T>::decode(value, decoder);
}

// Strict decoding of a wire value; throws DecodingError naming the path.
template <class T>
T decode(const Value& value)
{
    Decoder decoder;
    return Coder<T>::decode(value, decoder);
}

std::string toJsonText(const Value& value);
// Parses JSON text into a value tree; throws DecodingError.
Value fromJsonText(std::string_view text);

template <class T>
std::string toJson(const T& value)
{
    return toJsonText(encode(value));
}

template <class T>
T fromJson(std::string_view text)
{
    Decoder decoder(Decoder::Format::json);
    return Coder<T>::decode(fromJsonText(text), decoder);
}

// ---- building blocks ----

const Value::Dictionary& expectDictionary(const Value& value, Decoder& decoder, const char* type);
std::int64_t decodeInt64(const Value& value, Decoder& decoder);
std::uint64_t decodeUInt64(const Value& value, Decoder& decoder);
double decodeDouble(const Value& value, Decoder& decoder);
const std::string& decodeString(const Value& value, Decoder& decoder);
Value::Bytes decodeBytes(const Value& value, Decoder& decoder);
const Value::Array& decodeArray(const Value& value, Decoder& decoder);

template <>
struct Coder<bool> {
    static Value encode(bool v) { return Value(v); }
    static bool decode(const Value& v, Decoder& d)
    {
        if (const auto* b = v.asBool())
            return *b;
        d.fail(std::string("expected bool, found ") + kindName(v.kind()));
    }
};

template <class T>
struct Coder<T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>>> {
    static Value encode(T v) { return Value(static_cast<std::int64_t>(v)); }
    static T decode(const Value& v, Decoder& d)
    {
        auto i = decodeInt64(v, d);
        if (i < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
            i > static_cast<std::int64_t>(std::numeric_limits<T>::max()))
            d.fail("the number " + std::to_string(i) + " is out of range");
        return static_cast<T>(i);
    }
};

template <class T>
struct Coder<T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T> && !std::is_same_v<T, bool>>> {
    static Value encode(T v) { return Value(static_cast<std::uint64_t>(v)); }
    static T decode(const Value& v, Decoder& d)
    {
        auto u = decodeUInt64(v, d);
        if (u > static_cast<std::uint64_t>(std::numeric_limits<T>::max()))
            d.fail("the number " + std::to_string(u) + " is out of range");
        return static_cast<T>(u);
    }
};

template <class T>
struct Coder<T, std::enable_if_t<std::is_floating_point_v<T>>> {
    static Value encode(T v) { return Value(static_cast<double>(v)); }
    static T decode(const Value& v, Decoder& d) { return static_cast<T>(decodeDouble(v, d)); }
};

template <>
struct Coder<std::string> {
    static Value encode(const std::string& v) { return Value(v); }
    static std::string decode(const Value& v, Decoder& d) { return decodeString(v, d); }
};

template <>
struct Coder<Value::Bytes> {
    static Value encode(const Value::Bytes& v) { return Value(v); }
    static Value::Bytes decode(const Value& v, Decoder& d) { return decodeBytes(v, d); }
};

template <>
struct Coder<Date> {
    static Value encode(const Date& v) { return Value(v.secondsSinceReferenceDate); }
    static Date decode(const Value& v, Decoder& d) { return Date{decodeDouble(v, d)}; }
};

template <>
struct Coder<UUID> {
    static Value encode(const UUID& v) { return Value(v.text()); }
    static UUID decode(const Value& v, Decoder& d)
    {
        auto parsed = UUID::parse(decodeString(v, d));
        if (!parsed)
            d.fail("\"" + decodeString(v, d) + "\" is not a UUID");
        return *parsed;
    }
};

template <>
struct Coder<Value> {
    static Value encode(const Value& v) { return v; }
    static Value decode(const Value& v, Decoder&) { return v; }
};

template <class T>
struct Coder<std::optional<T>> {
    static Value encode(const std::optional<T>& v) { return v ? Coder<T>::encode(*v) : Value(); }
    static std::optional<T> decode(const Value& v, Decoder& d)
    {
        if (v.isNull())
            return std::nullopt;
        return Coder<T>::decode(v, d);
    }
};

template <class T>
struct Coder<std::vector<T>> {
    static Value encode(const std::vector<T>& items)
    {
        Value::Array array;
        array.reserve(items.size());
        for (const auto& item : items)
            array.push_back(Coder<T>::encode(item));
        return Value(std::move(array));
    }
    static std::vector<T> decode(const Value& v, Decoder& d)
    {
        const auto& array = decodeArray(v, d);
        std::vector<T> items;
        items.reserve(array.size());
        for (std::size_t i = 0; i < array.size(); ++i) {
            PathScope scope(d, i);
            items.push_back(Coder<T>::decode(array[i], d));
        }
        return items;
    }
};

template <class T, class Compare>
struct Coder<std::set<T, Compare>> {
    static Value encode(const std::set<T, Compare>& items)
    {
        Value::Array array;
        for (const auto& item : items)
            array.push_back(Coder<T>::encode(item));
        return Value(std::move(array));
    }
    static std::set<T, Compare> decode(const Value& v, Decoder& d)
    {
        const auto& array = decodeArray(v, d);
        std::set<T, Compare> items;
        for (std::size_t i = 0; i < array.size(); ++i) {
            PathScope scope(d, i);
            items.insert(Coder<T>::decode(array[i], d));
        }
        return items;
    }
};

template <class E>
    requires HasEnumNames<E>
struct Coder<E> {
    static Value encode(E v) { return Value(std::string(EnumNames<E>::names[static_cast<std::size_t>(v)])); }
    static E decode(const Value& v, Decoder& d)
    {
        const auto& text = decodeString(v, d);
        for (std::size_t i = 0; i < EnumNames<E>::names.size(); ++i)
            if (EnumNames<E>::names[i] == text)
                return static_cast<E>(i);
        d.fail("\"" + text + "\" is no case of " + std::string(EnumNames<E>::typeName));
    }
};

template <class E>
    requires(std::is_enum_v<E> && integerEnumCount<E> > 0)
struct Coder<E> {
    static Value encode(E v) { return Value(static_cast<std::int64_t>(v)); }
    static E decode(const Value& v, Decoder& d)
    {
        auto raw = decodeInt64(v, d);
        if (raw < 0 || static_cast<std::size_t>(raw) >= integerEnumCount<E>)
            d.fail("the raw value " + std::to_string(raw) + " is outside the cases");
        return static_cast<E>(raw);
    }
};

template <class T>
    requires RecordType<T>
struct Coder<T> {
    static Value encode(const T& v) { return tarnelEncode(v); }
    static T decode(const Value& v, Decoder& d)
    {
        T out{};
        tarnelDecode(v, d, out);
        return out;
    }
};

// Name lookup by case for enumerations with names.
template <class E>
    requires HasEnumNames<E>
std::string_view nameOf(E value)
{
    return EnumNames<E>::names[static_cast<std::size_t>(value)];
}

template <class E>
    requires HasEnumNames<E>
std::optional<E> caseNamed(std::string_view name)
{
    for (std::size_t i = 0; i < EnumNames<E>::names.size(); ++i)
        if (EnumNames<E>::names[i] == name)
            return static_cast<E>(i);
    return std::nullopt;
}

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

// `defaulted`: a missing key keeps the field's default instead of failing.
template <class T>
void decodeField(const Value::Dictionary& in, Decoder& d, const char* name, T& field, bool defaulted)
{
    const Value* v = findKey(in, name);
    if (!v) {
        if constexpr (IsOptional<T>::value) {
            field = std::nullopt;
            return;
        } else {
            if (defaulted || d.isJson())
                return;
            d.fail(std::string("the key \"") + name + "\" is missing");
        }
    } else {
        PathScope scope(d, name);
        field = Coder<T>::decode(*v, d);
    }
}

bool isListed(std::span<const std::string_view> names, std::string_view name);

} // namespace tarnel::codec

// ---- the macros ----

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

// Inside namespace tarnel::codec: the names of an enumeration serialised by name, in case order.
#define TARNEL_ENUM_NAMES(Type, Count, ...)                                                                             \
    template <>                                                                                                         \
    struct EnumNames<Type> {                                                                                            \
        static constexpr std::string_view typeName = #Type;                                                            \
        static constexpr std::array<std::string_view, Count> names{__VA_ARGS__};                                       \
    }

// In a header, beside the record: declares its codec.
#define TARNEL_CODABLE(Type)                                                                                            \
    ::tarnel::Value tarnelEncode(const Type&);                                                                          \
    void tarnelDecode(const ::tarnel::Value&, ::tarnel::codec::Decoder&, Type&);                                       \
    inline const char* tarnelTypeName(const Type*) { return #Type; }

#define TARNEL_CODEC_ENCODE_FIELD(f) ::tarnel::codec::encodeField(entries, #f, record.f);
#define TARNEL_CODEC_DECODE_FIELD(f)                                                                                    \
    ::tarnel::codec::decodeField(entries, decoder, #f, record.f, ::tarnel::codec::isListed(defaulted, #f));

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
        TARNEL_CODEC_FOR_EACH(TARNEL_CODEC_DECODE_FIELD, __VA_ARGS__)                                                   \
    }

namespace tarnel::codec {
inline constexpr std::array<std::string_view, 0> noDefaults{};
}
#define TARNEL_RECORD(Type, ...) TARNEL_RECORD_WITH_DEFAULTS(Type, ::tarnel::codec::noDefaults, __VA_ARGS__)
