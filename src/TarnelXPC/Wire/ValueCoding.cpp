#include "TarnelXPC/Wire/ValueCoding.h"

#include "TarnelFoundation/Codec/Codec.h"
#include "TarnelFoundation/Codec/WireReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace tarnel::xpc {

namespace {

enum Tag : std::uint8_t {
    tagNull = 0,
    tagBool = 1,
    tagInt64 = 2,
    tagUInt64 = 3,
    tagDouble = 4,
    tagString = 5,
    tagData = 6,
    tagArray = 7,
    tagDictionary = 8,
};

void appendU32(std::string& out, std::uint32_t v)
{
    char bytes[4] = {char(v & 0xff), char((v >> 8) & 0xff), char((v >> 16) & 0xff), char((v >> 24) & 0xff)};
    out.append(bytes, 4);
}

void appendU64(std::string& out, std::uint64_t v)
{
    char bytes[8];
    for (int i = 0; i < 8; ++i)
        bytes[i] = char((v >> (8 * i)) & 0xff);
    out.append(bytes, 8);
}

std::uint32_t checkedLength(std::size_t size, const char* what)
{
    if (size > maximumFrameSize)
        throw WireFormatError(fmt::format("{} of {} bytes exceeds the frame limit", what, size));
    return static_cast<std::uint32_t>(size);
}

void appendBlob(std::string& out, std::uint8_t tag, const void* data, std::size_t size, const char* what)
{
    out.push_back(char(tag));
    appendU32(out, checkedLength(size, what));
    out.append(static_cast<const char*>(data), size);
}

} // namespace

void appendValue(std::string& out, const Value& value)
{
    switch (value.kind()) {
    case Value::Kind::Null:
        out.push_back(char(tagNull));
        break;
    case Value::Kind::Bool:
        out.push_back(char(tagBool));
        out.push_back(*value.asBool() ? 1 : 0);
        break;
    case Value::Kind::Int64:
        out.push_back(char(tagInt64));
        appendU64(out, static_cast<std::uint64_t>(*value.asInt64()));
        break;
    case Value::Kind::UInt64:
        out.push_back(char(tagUInt64));
        appendU64(out, *value.asUInt64());
        break;
    case Value::Kind::Double:
        out.push_back(char(tagDouble));
        appendU64(out, std::bit_cast<std::uint64_t>(*value.asDouble()));
        break;
    case Value::Kind::String: {
        const auto& s = *value.asString();
        if (!codec::WireReader::isValidText(s))
            throw WireFormatError("a string to encode is not valid UTF-8");
        appendBlob(out, tagString, s.data(), s.size(), "a string");
        break;
    }
    case Value::Kind::Data: {
        const auto& b = *value.asBytes();
        appendBlob(out, tagData, b.data(), b.size(), "a data value");
        break;
    }
    case Value::Kind::Array: {
        const auto& items = *value.asArray();
        out.push_back(char(tagArray));
        appendU32(out, checkedLength(items.size(), "an array"));
        for (const auto& item : items)
            appendValue(out, item);
        break;
    }
    case Value::Kind::Dictionary: {
        const auto& entries = *value.asDictionary();
        out.push_back(char(tagDictionary));
        appendU32(out, checkedLength(entries.size(), "a dictionary"));
        for (const auto& [key, item] : entries) {
            if (!codec::WireReader::isValidText(key))
                throw WireFormatError("a dictionary key to encode is not valid UTF-8");
            appendU32(out, checkedLength(key.size(), "a key"));
            out.append(key);
            appendValue(out, item);
        }
        break;
    }
    }
}

std::string encodeValue(const Value& value)
{
    std::string out;
    appendValue(out, value);
    return out;
}

// The transport reads frames with the codec's reader, so a frame and a record decoded straight
// from bytes obey the same rules; the transport names the failure its own way.
Value decodeValue(std::string_view bytes)
{
    try {
        codec::WireReader reader(bytes);
        auto value = reader.readValue();
        reader.expectEnd();
        return value;
    } catch (const codec::DecodingError& e) {
        throw WireFormatError(e.what());
    }
}

std::string encodeFrame(const Value& value)
{
    std::string out(frameHeaderSize, '\0');
    appendValue(out, value);
    const auto size = out.size() - frameHeaderSize;
    if (size > maximumFrameSize)
        throw WireFormatError(fmt::format("a frame of {} bytes exceeds the limit of {}", size, maximumFrameSize));
    for (std::size_t i = 0; i < 4; ++i)
        out[i] = char((size >> (8 * i)) & 0xff);
    return out;
}

} // namespace tarnel::xpc
