#include "TarnelFoundation/Codec/Codec.h"
#include "TarnelFoundation/Codec/Record.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
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
    for (const auto& segment : std::span(path_).first(std::min(depth_, pathCapacity))) {
        if (!segment.key) {
            out += "[" + std::to_string(segment.index) + "]";
            continue;
        }
        if (!out.empty())
            out += '.';
        out += segment.key;
    }
    if (depth_ > pathCapacity)
        out += "…";
    return out;
}

const Value* findKey(const Value::Dictionary& entries, std::string_view key)
{
    for (const auto& entry : entries)
        if (entry.first == key)
            return &entry.second;
    return nullptr;
}

const Value* findKey(const Value::Dictionary& entries, std::string_view key, std::size_t& hint)
{
    if (hint < entries.size() && sameText(entries[hint].first, key))
        return &entries[hint++].second;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (sameText(entries[i].first, key)) {
            hint = i + 1;
            return &entries[i].second;
        }
    }
    return nullptr;
}

void failKind(Decoder& decoder, Value::Kind wanted, Value::Kind found)
{
    decoder.fail(std::string("expected ") + kindName(wanted) + ", found " + kindName(found));
}

NameIndex::NameIndex(std::span<const std::string_view> names) : names_(names)
{
    std::size_t size = 8;
    while (size < names.size() * 4)
        size *= 2;
    slots_.assign(size, 0);
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto slot = hash(names[i]) & (size - 1);
        while (slots_[slot] != 0)
            slot = (slot + 1) & (size - 1);
        slots_[slot] = static_cast<std::uint16_t>(i + 1);
    }
}

// The length and the first and last eight bytes tell case names apart well enough.
std::size_t NameIndex::hash(std::string_view name)
{
    std::uint64_t head = 0;
    std::uint64_t tail = 0;
    if (name.size() >= 8) {
        std::memcpy(&head, name.data(), 8);
        std::memcpy(&tail, name.data() + name.size() - 8, 8);
    } else {
        std::memcpy(&head, name.data(), name.size());
    }
    std::uint64_t h = (head * 0x9e3779b97f4a7c15ull) ^ (tail * 0xc2b2ae3d27d4eb4full) ^ name.size();
    return static_cast<std::size_t>(h ^ (h >> 32));
}

std::optional<std::size_t> NameIndex::find(std::string_view name) const
{
    const auto mask = slots_.size() - 1;
    for (auto slot = hash(name) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
        const std::size_t index = slots_[slot] - 1u;
        if (sameText(names_[index], name))
            return index;
    }
    return std::nullopt;
}

WireFields::WireFields(WireReader& reader, Decoder& decoder, const char* type, std::span<const std::string_view> keys)
    : reader_(reader), keys_(keys)
{
    if (const auto found = reader.kind(); found != Value::Kind::Dictionary)
        decoder.fail(std::string("expected ") + type + " as a dictionary, found " + kindName(found));
    remaining_ = reader.beginDictionary();
}

std::size_t WireFields::nextOutOfOrder(std::size_t at, std::string_view key)
{
    for (;;) {
        reader_.checkKey(key);
        auto field = done;
        for (std::size_t i = 0; i < keys_.size() && field == done; ++i)
            if (sameText(keys_[i], key))
                field = i;
        if (field != done) {
            if (seen(field))
                reader_.malformed(at, "duplicate key \"" + std::string(key) + "\"");
            seen_ |= std::uint64_t{1} << field;
            cursor_ = field + 1;
            return field;
        }
        // A key of no field (a newer peer's) is passed over, but still only once.
        if (!unknownKeys_)
            unknownKeys_.emplace(remaining_ + 1);
        if (!unknownKeys_->insert(key))
            reader_.malformed(at, "duplicate key \"" + std::string(key) + "\"");
        reader_.skip();
        if (remaining_ == 0) {
            reader_.endContainer();
            return done;
        }
        --remaining_;
        at = reader_.offset();
        key = reader_.readKeyUnchecked();
    }
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
