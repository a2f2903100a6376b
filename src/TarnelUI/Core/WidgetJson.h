#pragma once

#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Statistics/StatisticsModel.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarnel::ui {

using Json = nlohmann::json;

// A stored Monitor document (or part of one) that does not have the form the model needs.
struct ModelDecodingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

namespace json {

// The value under a required key; throws ModelDecodingError when the key is absent.
const Json& required(const Json& object, std::string_view key);
bool requiredBool(const Json& object, std::string_view key);
std::int64_t requiredInteger(const Json& object, std::string_view key);
std::string requiredString(const Json& object, std::string_view key);
UUID requiredUUID(const Json& object, std::string_view key);
UUID toUUID(const Json& value, std::string_view key);
// An optional key: absent or null gives none; a value of another form throws.
std::optional<UUID> optionalUUID(const Json& object, std::string_view key);

// Fields added after the first release: a missing key or null reads as the default, and a
// value equal to the default is not written, so older and newer readers both understand it.
bool readDefaulted(const Json& object, std::string_view key, bool defaultValue);
std::int64_t readDefaulted(const Json& object, std::string_view key, std::int64_t defaultValue);
template <class T>
void writeDefaulted(Json& object, std::string_view key, const T& value, const T& defaultValue, Json written)
{
    if (!(value == defaultValue))
        object[std::string(key)] = std::move(written);
}

Json encodeStatistics(const WidgetStatisticsSet& statistics);
WidgetStatisticsSet decodeStatistics(const Json& value);

// A case of a closed vocabulary written as its name.
template <class E, std::size_t N>
E enumNamed(const Json& value, std::string_view key, const std::array<std::string_view, N>& names)
{
    if (!value.is_string())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not a string");
    const auto& text = value.get_ref<const std::string&>();
    for (std::size_t i = 0; i < N; ++i)
        if (names[i] == text)
            return static_cast<E>(i);
    throw ModelDecodingError("\"" + text + "\" is not a case of \"" + std::string(key) + "\"");
}

template <class E, std::size_t N>
E defaultedEnum(const Json& object, std::string_view key, const std::array<std::string_view, N>& names, E fallback)
{
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return fallback;
    return enumNamed<E>(*found, key, names);
}

} // namespace json

} // namespace tarnel::ui
