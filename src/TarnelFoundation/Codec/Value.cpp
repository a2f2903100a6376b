#include "TarnelFoundation/Codec/Value.h"

#include <cstdio>

namespace tarnel {

const Value* Value::find(std::string_view key) const
{
    const auto* entries = asDictionary();
    if (entries == nullptr)
        return nullptr;
    for (const auto& [name, value] : *entries)
        if (name == key)
            return &value;
    return nullptr;
}

Value& Value::set(std::string key, Value value)
{
    if (isNull())
        storage_ = Dictionary{};
    auto& entries = std::get<Dictionary>(storage_);
    for (auto& [name, existing] : entries) {
        if (name == key) {
            existing = std::move(value);
            return *this;
        }
    }
    entries.emplace_back(std::move(key), std::move(value));
    return *this;
}

const char* kindName(Value::Kind kind)
{
    switch (kind) {
    case Value::Kind::Null: return "null";
    case Value::Kind::Bool: return "bool";
    case Value::Kind::Int64: return "int64";
    case Value::Kind::UInt64: return "uint64";
    case Value::Kind::Double: return "double";
    case Value::Kind::String: return "string";
    case Value::Kind::Data: return "data";
    case Value::Kind::Array: return "array";
    case Value::Kind::Dictionary: return "dictionary";
    }
    return "unknown";
}

static void describeInto(const Value& value, std::string& out)
{
    switch (value.kind()) {
    case Value::Kind::Null: out += "null"; break;
    case Value::Kind::Bool: out += *value.asBool() ? "true" : "false"; break;
    case Value::Kind::Int64: out += std::to_string(*value.asInt64()); break;
    case Value::Kind::UInt64: out += std::to_string(*value.asUInt64()) + "u"; break;
    case Value::Kind::Double: {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%.17g", *value.asDouble());
        out += buffer;
        break;
    }
    case Value::Kind::String: out += '"' + *value.asString() + '"'; break;
    case Value::Kind::Data: out += "<" + std::to_string(value.asBytes()->size()) + " bytes>"; break;
    case Value::Kind::Array: {
        out += '[';
        bool first = true;
        for (const auto& element : *value.asArray()) {
            if (!first)
                out += ", ";
            first = false;
            describeInto(element, out);
        }
        out += ']';
        break;
    }
    case Value::Kind::Dictionary: {
        out += '{';
        bool first = true;
        for (const auto& [key, element] : *value.asDictionary()) {
            if (!first)
                out += ", ";
            first = false;
            out += key + ": ";
            describeInto(element, out);
        }
        out += '}';
        break;
    }
    }
}

std::string describe(const Value& value)
{
    std::string out;
    describeInto(value, out);
    return out;
}

} // namespace tarnel
