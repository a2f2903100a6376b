#include "TarnelFoundation/Codec/Codec.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>

namespace tarnel::codec {

using Json = nlohmann::ordered_json;

namespace {

constexpr std::string_view base64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string base64(const Value::Bytes& bytes)
{
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t n = static_cast<std::uint32_t>(bytes[i]) << 16;
        if (i + 1 < bytes.size())
            n |= static_cast<std::uint32_t>(bytes[i + 1]) << 8;
        if (i + 2 < bytes.size())
            n |= bytes[i + 2];
        out.push_back(base64Alphabet[(n >> 18) & 63]);
        out.push_back(base64Alphabet[(n >> 12) & 63]);
        out.push_back(i + 1 < bytes.size() ? base64Alphabet[(n >> 6) & 63] : '=');
        out.push_back(i + 2 < bytes.size() ? base64Alphabet[n & 63] : '=');
    }
    return out;
}

std::optional<Value::Bytes> unbase64(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    Value::Bytes out;
    std::uint32_t buffer = 0;
    int bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '=') {
            if (i + 2 < text.size())
                return std::nullopt;
            break;
        }
        auto pos = base64Alphabet.find(c);
        if (pos == std::string_view::npos)
            return std::nullopt;
        buffer = (buffer << 6) | static_cast<std::uint32_t>(pos);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<std::uint8_t>((buffer >> bits) & 0xff));
        }
    }
    return out;
}

Json toJsonValue(const Value& value)
{
    switch (value.kind()) {
    case Value::Kind::Null:
        return nullptr;
    case Value::Kind::Bool:
        return *value.asBool();
    case Value::Kind::Int64:
        return *value.asInt64();
    case Value::Kind::UInt64:
        return *value.asUInt64();
    case Value::Kind::Double:
        return *value.asDouble();
    case Value::Kind::String:
        return *value.asString();
    case Value::Kind::Data:
        return base64(*value.asBytes());
    case Value::Kind::Array: {
        Json array = Json::array();
        for (const auto& item : *value.asArray())
            array.push_back(toJsonValue(item));
        return array;
    }
    case Value::Kind::Dictionary: {
        Json object = Json::object();
        for (const auto& [key, item] : *value.asDictionary())
            object[key] = toJsonValue(item);
        return object;
    }
    }
    return nullptr;
}

Value fromJsonValue(const Json& json)
{
    switch (json.type()) {
    case Json::value_t::null:
        return Value();
    case Json::value_t::boolean:
        return Value(json.get<bool>());
    case Json::value_t::number_integer:
        return Value(json.get<std::int64_t>());
    case Json::value_t::number_unsigned:
        return Value(json.get<std::uint64_t>());
    case Json::value_t::number_float:
        return Value(json.get<double>());
    case Json::value_t::string:
        return Value(json.get<std::string>());
    case Json::value_t::array: {
        Value::Array items;
        for (const auto& item : json)
            items.push_back(fromJsonValue(item));
        return Value(std::move(items));
    }
    case Json::value_t::object: {
        Value::Dictionary entries;
        for (const auto& [key, item] : json.items())
            entries.emplace_back(key, fromJsonValue(item));
        return Value(std::move(entries));
    }
    default:
        throw DecodingError("JSON holds a value of no known kind");
    }
}

} // namespace

void Decoder::fail(const std::string& what) const
{
    auto where = path();
    throw DecodingError(where.empty() ? what : where + ": " + what);
}

std::string Decoder::path() const
{
    std::string out;
    for (const auto& segment : path_) {
        if (!segment.key) {
            out += "[" + std::to_string(segment.index) + "]";
            continue;
        }
        if (!out.empty())
            out += '.';
        out += segment.key;
    }
    return out;
}

const Value* findKey(const Value::Dictionary& entries, std::string_view key)
{
    for (const auto& entry : entries)
        if (entry.first == key)
            return &entry.second;
    return nullptr;
}

bool isListed(std::span<const std::string_view> names, std::string_view name)
{
    for (auto n : names)
        if (n == name)
            return true;
    return false;
}

const Value::Dictionary& expectDictionary(const Value& value, Decoder& decoder, const char* type)
{
    if (const auto* d = value.asDictionary())
        return *d;
    decoder.fail(std::string("expected ") + type + " as a dictionary, found " + kindName(value.kind()));
}

std::int64_t decodeInt64(const Value& value, Decoder& decoder)
{
    if (const auto* i = value.asInt64())
        return *i;
    if (decoder.isJson()) {
        if (const auto* u = value.asUInt64(); u && *u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return static_cast<std::int64_t>(*u);
        if (const auto* d = value.asDouble(); d && std::trunc(*d) == *d && std::fabs(*d) < 9.2e18)
            return static_cast<std::int64_t>(*d);
    }
    decoder.fail(std::string("expected int64, found ") + kindName(value.kind()));
}

std::uint64_t decodeUInt64(const Value& value, Decoder& decoder)
{
    if (const auto* u = value.asUInt64())
        return *u;
    if (decoder.isJson()) {
        if (const auto* i = value.asInt64(); i && *i >= 0)
            return static_cast<std::uint64_t>(*i);
        if (const auto* d = value.asDouble(); d && *d >= 0 && std::trunc(*d) == *d && *d < 1.8e19)
            return static_cast<std::uint64_t>(*d);
    }
    decoder.fail(std::string("expected uint64, found ") + kindName(value.kind()));
}

double decodeDouble(const Value& value, Decoder& decoder)
{
    if (const auto* d = value.asDouble())
        return *d;
    if (decoder.isJson()) {
        if (const auto* i = value.asInt64())
            return static_cast<double>(*i);
        if (const auto* u = value.asUInt64())
            return static_cast<double>(*u);
    }
    decoder.fail(std::string("expected double, found ") + kindName(value.kind()));
}

const std::string& decodeString(const Value& value, Decoder& decoder)
{
    if (const auto* s = value.asString())
        return *s;
    decoder.fail(std::string("expected string, found ") + kindName(value.kind()));
}

Value::Bytes decodeBytes(const Value& value, Decoder& decoder)
{
    if (const auto* b = value.asBytes())
        return *b;
    if (decoder.isJson()) {
        if (const auto* s = value.asString()) {
            if (auto bytes = unbase64(*s))
                return *bytes;
            decoder.fail("the text is not base64 data");
        }
    }
    decoder.fail(std::string("expected data, found ") + kindName(value.kind()));
}

const Value::Array& decodeArray(const Value& value, Decoder& decoder)
{
    if (const auto* a = value.asArray())
        return *a;
    decoder.fail(std::string("expected array, found ") + kindName(value.kind()));
}

std::string toJsonText(const Value& value) { return toJsonValue(value).dump(); }

Value fromJsonText(std::string_view text)
{
    Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded())
        throw DecodingError("the text is not valid JSON");
    return fromJsonValue(json);
}

} // namespace tarnel::codec
