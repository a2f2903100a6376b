#pragma once

// The one codec of records: `encode`/`decode` for the wire value tree, `toJson`/`fromJson` for
// documents, and the coders of the value types records are made of. A record declares its codec
// with TARNEL_CODABLE (CodecFwd.h) and lists its fields with TARNEL_RECORD (Record.h).

#include "TarnelFoundation/Codec/CodecFwd.h"
#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Decoder.h"
#include "TarnelFoundation/Codec/Value.h"
#include "TarnelFoundation/Codec/WireReader.h"

#include <concepts>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarnel::codec {

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

// Signed integers travel as Int64, unsigned ones as UInt64; a number outside the field's type fails.
template <class T>
struct Coder<T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>>> {
    static constexpr bool isSigned = std::is_signed_v<T>;
    using Wide = std::conditional_t<isSigned, std::int64_t, std::uint64_t>;

    static Value encode(T v) { return Value(static_cast<Wide>(v)); }
    static T decode(const Value& v, Decoder& d)
    {
        if constexpr (isSigned)
            return checked(decodeInt64(v, d), d);
        else
            return checked(decodeUInt64(v, d), d);
    }
    static void decodeWire(WireReader& r, Decoder& d, T& out)
    {
        expectKind(r, d, isSigned ? Value::Kind::Int64 : Value::Kind::UInt64);
        if constexpr (isSigned)
            out = checked(r.readInt64(), d);
        else
            out = checked(r.readUInt64(), d);
    }
    static T checked(Wide n, Decoder& d)
    {
        if (!std::in_range<T>(n))
            d.fail("the number " + std::to_string(n) + " is out of range");
        return static_cast<T>(n);
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
