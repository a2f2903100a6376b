#pragma once

#include "TarnelFoundation/Codec/Value.h"
#include "TarnelXPC/XPCError.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnel::xpc {

// How a message, reply or element type crosses the wire, and its printed name in route
// descriptors ("String", "Array<Bool>"). Records plug in through `RecordWireCodec.h`.
template <class T, class Enable = void>
struct WireCodec;

// Throws the decodingError of a value of the wrong kind ("Expected Int, found String").
[[noreturn]] void throwUnexpectedKind(const std::string& expected, Value::Kind found);

template <>
struct WireCodec<std::string> {
    static std::string typeName() { return "String"; }
    static Value encode(const std::string& v) { return Value(v); }
    static std::string decode(const Value& v)
    {
        if (const auto* s = v.asString())
            return *s;
        throwUnexpectedKind("String", v.kind());
    }
};

template <>
struct WireCodec<bool> {
    static std::string typeName() { return "Bool"; }
    static Value encode(bool v) { return Value(v); }
    static bool decode(const Value& v)
    {
        if (const auto* b = v.asBool())
            return *b;
        throwUnexpectedKind("Bool", v.kind());
    }
};

template <>
struct WireCodec<std::int64_t> {
    static std::string typeName() { return "Int"; }
    static Value encode(std::int64_t v) { return Value(v); }
    static std::int64_t decode(const Value& v)
    {
        if (const auto* i = v.asInt64())
            return *i;
        throwUnexpectedKind("Int", v.kind());
    }
};

template <class T>
struct WireCodec<std::vector<T>> {
    static std::string typeName() { return "Array<" + WireCodec<T>::typeName() + ">"; }
    static Value encode(const std::vector<T>& items)
    {
        Value::Array array;
        array.reserve(items.size());
        for (const auto& item : items)
            array.push_back(WireCodec<T>::encode(item));
        return Value(std::move(array));
    }
    static std::vector<T> decode(const Value& v)
    {
        const auto* array = v.asArray();
        if (!array)
            throwUnexpectedKind(typeName(), v.kind());
        std::vector<T> items;
        items.reserve(array->size());
        for (const auto& item : *array)
            items.push_back(WireCodec<T>::decode(item));
        return items;
    }
};

} // namespace tarnel::xpc
