#pragma once

// The one codec of records: each record lists its fields once (TARNEL_RECORD in its .cpp), and
// the same description serves the wire value tree and JSON documents.

#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"
#include "TarnelFoundation/Codec/WireReader.h"

#include <array>
#include <concepts>
#include <cstring>
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

// Finds a case by name in one hashed probe instead of comparing with every name.
class NameIndex {
public:
    explicit NameIndex(std::span<const std::string_view> names);
    std::optional<std::size_t> find(std::string_view name) const;

private:
    static std::size_t hash(std::string_view name);
    std::span<const std::string_view> names_;
    std::vector<std::uint16_t> slots_; // index + 1 into names_, 0 when empty
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
    void push(const char* key) { push(Segment{key, 0}); }
    void push(std::size_t index) { push(Segment{nullptr, index}); }
    void pop() { --depth_; }
    std::string path() const;

private:
    struct Segment {
        const char* key;
        std::size_t index;
    };
    // Pushed for every field and element decoded, so kept inline: the wire nests at most 64
    // deep, a key and an index a level; a deeper JSON document's path ends in "…".
    static constexpr std::size_t pathCapacity = 2 * WireReader::maximumDepth + 2;
    void push(Segment segment)
    {
        if (depth_ < pathCapacity)
            path_[depth_] = segment;
        ++depth_;
    }

    Format format_;
    std::size_t depth_ = 0;
    std::array<Segment, pathCapacity> path_;
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

// Strict decoding straight from the byte form of a value (docs/wire.md), with the same rules
// as decoding the tree that the bytes hold, without building that tree.
template <class T>
T decodeWire(std::string_view bytes);

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

[[noreturn]] void failKind(Decoder& decoder, Value::Kind wanted, Value::Kind found);
inline void expectKind(WireReader& reader, Decoder& decoder, Value::Kind wanted)
{
    if (const auto found = reader.kind(); found != wanted)
        failKind(decoder, wanted, found);
}

// Reads the next value into `out`, in place: through the type's own wire decoder when it has
// one, else through the value tree.
template <class T>
void decodeInto(WireReader& reader, Decoder& decoder, T& out)
{
    if constexpr (requires { Coder<T>::decodeWire(reader, decoder, out); })
        Coder<T>::decodeWire(reader, decoder, out);
    else
        out = Coder<T>::decode(reader.readValue(), decoder);
}

template <>
struct Coder<bool> {
    static Value encode(bool v) { return Value(v); }
    static bool decode(const Value& v, Decoder& d)
    {
        if (const auto* b = v.asBool())
            return *b;
        d.fail(std::string("expected bool, found ") + kindName(v.kind()));
    }
    static void decodeWire(WireReader& r, Decoder& d, bool& out)
    {
        expectKind(r, d, Value::Kind::Bool);
        out = r.readBool();
    }
};

template <class T>
struct Coder<T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>>> {
    static Value encode(T v) { return Value(static_cast<std::int64_t>(v)); }
    static T decode(const Value& v, Decoder& d)
    {
        return checked(decodeInt64(v, d), d);
    }
    static void decodeWire(WireReader& r, Decoder& d, T& out)
    {
        expectKind(r, d, Value::Kind::Int64);
        out = checked(r.readInt64(), d);
    }
    static T checked(std::int64_t i, Decoder& d)
    {
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
        return checked(decodeUInt64(v, d), d);
    }
    static void decodeWire(WireReader& r, Decoder& d, T& out)
    {
        expectKind(r, d, Value::Kind::UInt64);
        out = checked(r.readUInt64(), d);
    }
    static T checked(std::uint64_t u, Decoder& d)
    {
        if (u > static_cast<std::uint64_t>(std::numeric_limits<T>::max()))
            d.fail("the number " + std::to_string(u) + " is out of range");
        return static_cast<T>(u);
    }
};

template <class T>
struct Coder<T, std::enable_if_t<std::is_floating_point_v<T>>> {
    static Value encode(T v) { return Value(static_cast<double>(v)); }
    static T decode(const Value& v, Decoder& d) { return static_cast<T>(decodeDouble(v, d)); }
    static void decodeWire(WireReader& r, Decoder& d, T& out)
    {
        expectKind(r, d, Value::Kind::Double);
        out = static_cast<T>(r.readDouble());
    }
};

template <>
struct Coder<std::string> {
    static Value encode(const std::string& v) { return Value(v); }
    static std::string decode(const Value& v, Decoder& d) { return decodeString(v, d); }
    static void decodeWire(WireReader& r, Decoder& d, std::string& out)
    {
        expectKind(r, d, Value::Kind::String);
        const auto text = r.readString();
        if (out.empty())
            out.append(text);
        else
            out.assign(text);
    }
};

template <>
struct Coder<Value::Bytes> {
    static Value encode(const Value::Bytes& v) { return Value(v); }
    static Value::Bytes decode(const Value& v, Decoder& d) { return decodeBytes(v, d); }
    static void decodeWire(WireReader& r, Decoder& d, Value::Bytes& out)
    {
        expectKind(r, d, Value::Kind::Data);
        auto bytes = r.readData();
        out.assign(bytes.begin(), bytes.end());
    }
};

template <>
struct Coder<Date> {
    static Value encode(const Date& v) { return Value(v.secondsSinceReferenceDate); }
    static Date decode(const Value& v, Decoder& d) { return Date{decodeDouble(v, d)}; }
    static void decodeWire(WireReader& r, Decoder& d, Date& out)
    {
        Coder<double>::decodeWire(r, d, out.secondsSinceReferenceDate);
    }
};

template <>
struct Coder<UUID> {
    static Value encode(const UUID& v) { return Value(v.text()); }
    static UUID decode(const Value& v, Decoder& d)
    {
        return parse(decodeString(v, d), d);
    }
    static void decodeWire(WireReader& r, Decoder& d, UUID& out)
    {
        expectKind(r, d, Value::Kind::String);
        out = parse(r.readString(), d);
    }
    static UUID parse(std::string_view text, Decoder& d)
    {
        auto parsed = UUID::parse(text);
        if (!parsed)
            d.fail("\"" + std::string(text) + "\" is not a UUID");
        return *parsed;
    }
};

template <>
struct Coder<Value> {
    static Value encode(const Value& v) { return v; }
    static Value decode(const Value& v, Decoder&) { return v; }
    static void decodeWire(WireReader& r, Decoder&, Value& out) { out = r.readValue(); }
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
    static void decodeWire(WireReader& r, Decoder& d, std::optional<T>& out)
    {
        if (r.kind() == Value::Kind::Null) {
            r.readNull();
            out.reset();
            return;
        }
        decodeInto(r, d, out.emplace());
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
    static void decodeWire(WireReader& r, Decoder& d, std::vector<T>& out)
    {
        expectKind(r, d, Value::Kind::Array);
        const auto count = r.beginArray();
        out.clear();
        out.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            PathScope scope(d, i);
            if constexpr (std::is_same_v<T, bool>) {
                bool item = false;
                decodeInto(r, d, item);
                out.push_back(item);
            } else {
                decodeInto(r, d, out.emplace_back());
            }
        }
        r.endContainer();
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
    static void decodeWire(WireReader& r, Decoder& d, std::set<T, Compare>& out)
    {
        expectKind(r, d, Value::Kind::Array);
        const auto count = r.beginArray();
        out.clear();
        for (std::size_t i = 0; i < count; ++i) {
            PathScope scope(d, i);
            T item{};
            decodeInto(r, d, item);
            out.insert(std::move(item));
        }
        r.endContainer();
    }
};

template <class E>
    requires HasEnumNames<E>
struct Coder<E> {
    static Value encode(E v) { return Value(std::string(EnumNames<E>::names[static_cast<std::size_t>(v)])); }
    static E decode(const Value& v, Decoder& d) { return named(decodeString(v, d), d); }
    static void decodeWire(WireReader& r, Decoder& d, E& out)
    {
        expectKind(r, d, Value::Kind::String);
        const auto text = r.readStringUnchecked();
        if (auto found = index().find(text)) {
            out = static_cast<E>(*found);
            return;
        }
        r.checkString(text);
        out = named(text, d);
    }
    static const NameIndex& index()
    {
        static const NameIndex names(EnumNames<E>::names);
        return names;
    }
    static E named(std::string_view text, Decoder& d)
    {
        if (auto found = index().find(text))
            return static_cast<E>(*found);
        d.fail("\"" + std::string(text) + "\" is no case of " + std::string(EnumNames<E>::typeName));
    }
};

template <class E>
    requires(std::is_enum_v<E> && integerEnumCount<E> > 0)
struct Coder<E> {
    static Value encode(E v) { return Value(static_cast<std::int64_t>(v)); }
    static E decode(const Value& v, Decoder& d)
    {
        return checked(decodeInt64(v, d), d);
    }
    static void decodeWire(WireReader& r, Decoder& d, E& out)
    {
        expectKind(r, d, Value::Kind::Int64);
        out = checked(r.readInt64(), d);
    }
    static E checked(std::int64_t raw, Decoder& d)
    {
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
    static void decodeWire(WireReader& r, Decoder& d, T& out)
    {
        // Records described by TARNEL_RECORD read their fields from the bytes; one whose
        // codec is written by hand decodes from the tree of its value.
        void (*streamed)(WireReader&, Decoder&, T&) = nullptr;
        if constexpr (requires(const T* p) { tarnelWireDecoder(p); })
            streamed = tarnelWireDecoder(static_cast<const T*>(nullptr));
        if (streamed)
            streamed(r, d, out);
        else
            tarnelDecode(r.readValue(), d, out);
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
    if (auto found = Coder<E>::index().find(name))
        return static_cast<E>(*found);
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

template <class T>
T decodeWire(std::string_view bytes)
{
    WireReader reader(bytes);
    Decoder decoder;
    T value{};
    decodeInto(reader, decoder, value);
    reader.expectEnd();
    return value;
}

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
