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

Json encodeStatistics(const WidgetStatisticsSet& statistics)
{
    return Json::parse(codec::toJson(statistics));
}

WidgetStatisticsSet decodeStatistics(const Json& value)
{
    try {
        return codec::fromJson<WidgetStatisticsSet>(value.dump());
    } catch (const codec::DecodingError& failure) {
        throw ModelDecodingError(std::string("statistics: ") + failure.what());
    }
}

} // namespace tarnel::ui::json
