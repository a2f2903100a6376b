#include "TarnelUI/Core/WidgetJson.h"

#include "TarnelFoundation/Codec/Codec.h"

namespace tarnel::ui::json {

const Json& required(const Json& object, std::string_view key)
{
    if (!object.is_object())
        throw ModelDecodingError("expected an object holding \"" + std::string(key) + "\"");
    auto found = object.find(key);
    if (found == object.end())
        throw ModelDecodingError("the key \"" + std::string(key) + "\" is missing");
    return *found;
}

bool requiredBool(const Json& object, std::string_view key)
{
    const auto& value = required(object, key);
    if (!value.is_boolean())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not a boolean");
    return value.get<bool>();
}

std::int64_t requiredInteger(const Json& object, std::string_view key)
{
    const auto& value = required(object, key);
    if (!value.is_number_integer())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not an integer");
    return value.get<std::int64_t>();
}

std::string requiredString(const Json& object, std::string_view key)
{
    const auto& value = required(object, key);
    if (!value.is_string())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not a string");
    return value.get<std::string>();
}

UUID toUUID(const Json& value, std::string_view key)
{
    if (!value.is_string())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not a UUID string");
    auto parsed = UUID::parse(value.get_ref<const std::string&>());
    if (!parsed)
        throw ModelDecodingError("\"" + value.get<std::string>() + "\" is not a UUID");
    return *parsed;
}

UUID requiredUUID(const Json& object, std::string_view key)
{
    return toUUID(required(object, key), key);
}

std::optional<UUID> optionalUUID(const Json& object, std::string_view key)
{
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return std::nullopt;
    return toUUID(*found, key);
}

bool readDefaulted(const Json& object, std::string_view key, bool defaultValue)
{
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return defaultValue;
    if (!found->is_boolean())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not a boolean");
    return found->get<bool>();
}

std::int64_t readDefaulted(const Json& object, std::string_view key, std::int64_t defaultValue)
{
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return defaultValue;
    if (!found->is_number_integer())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not an integer");
    return found->get<std::int64_t>();
}

namespace {

// The records' codec works on its value tree; documents are nlohmann trees. Converting tree to
// tree keeps the codec the one writer of a record without a detour through text.
Json toDocument(const Value& value)
{
    switch (value.kind()) {
    case Value::Kind::Null: return nullptr;
    case Value::Kind::Bool: return *value.asBool();
    case Value::Kind::Int64: return *value.asInt64();
    case Value::Kind::UInt64: return *value.asUInt64();
    case Value::Kind::Double: return *value.asDouble();
    case Value::Kind::String: return *value.asString();
    case Value::Kind::Data: break;
    case Value::Kind::Array: {
        auto array = Json::array();
        for (const auto& element : *value.asArray())
            array.push_back(toDocument(element));
        return array;
    }
    case Value::Kind::Dictionary: {
        auto object = Json::object();
        for (const auto& [key, element] : *value.asDictionary())
            object[key] = toDocument(element);
        return object;
    }
    }
    throw std::logic_error("bytes have no place in a Monitor document");
}

Value toValue(const Json& document)
{
    switch (document.type()) {
    case Json::value_t::null: return Value(Value::Null{});
    case Json::value_t::boolean: return Value(document.get<bool>());
    case Json::value_t::number_integer: return Value(document.get<std::int64_t>());
    case Json::value_t::number_unsigned: return Value(document.get<std::uint64_t>());
    case Json::value_t::number_float: return Value(document.get<double>());
    case Json::value_t::string: return Value(document.get<std::string>());
    case Json::value_t::array: {
        Value::Array array;
        for (const auto& element : document)
            array.push_back(toValue(element));
        return Value(std::move(array));
    }
    case Json::value_t::object: {
        Value::Dictionary entries;
        for (const auto& [key, element] : document.items())
            entries.emplace_back(key, toValue(element));
        return Value(std::move(entries));
    }
    default: throw ModelDecodingError("a value of a kind that no record holds");
    }
}

} // namespace

Json encodeStatistics(const WidgetStatisticsSet& statistics)
{
    return toDocument(codec::encode(statistics));
}

WidgetStatisticsSet decodeStatistics(const Json& value)
{
    try {
        codec::Decoder decoder(codec::Decoder::Format::json);
        return codec::decode<WidgetStatisticsSet>(toValue(value), decoder);
    } catch (const codec::DecodingError& failure) {
        throw ModelDecodingError(std::string("statistics: ") + failure.what());
    }
}

} // namespace tarnel::ui::json
