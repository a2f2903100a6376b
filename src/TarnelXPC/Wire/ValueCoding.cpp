#include "TarnelXPC/Wire/ValueCoding.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <unordered_set>

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

bool isValidUtf8(std::string_view s)
{
    std::size_t i = 0;
    // Most text is ASCII: skip it eight bytes at a time.
    while (i + 8 <= s.size()) {
        std::uint64_t chunk;
        std::memcpy(&chunk, s.data() + i, 8);
        if (chunk & 0x8080808080808080ULL)
            break;
        i += 8;
    }
    while (i < s.size()) {
        auto c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t extra;
        std::uint32_t cp;
        if ((c & 0xe0) == 0xc0) {
            extra = 1;
            cp = c & 0x1f;
        } else if ((c & 0xf0) == 0xe0) {
            extra = 2;
            cp = c & 0x0f;
        } else if ((c & 0xf8) == 0xf0) {
            extra = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (i + extra >= s.size())
            return false;
        for (std::size_t k = 1; k <= extra; ++k) {
            auto cc = static_cast<unsigned char>(s[i + k]);
            if ((cc & 0xc0) != 0x80)
                return false;
            cp = (cp << 6) | (cc & 0x3f);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
        if ((extra == 1 && cp < 0x80) || (extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000) ||
            cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff))
            return false;
        i += extra + 1;
    }
    return true;
}

class Reader {
public:
    explicit Reader(std::string_view bytes) : data_(bytes) {}

    Value value(std::size_t depth)
    {
        const auto start = offset_;
        switch (byte()) {
        case tagNull:
            return Value();
        case tagBool: {
            auto b = byte();
            if (b > 1)
                fail(start, "a bool must be 0 or 1");
            return Value(b == 1);
        }
        case tagInt64:
            return Value(static_cast<std::int64_t>(u64()));
        case tagUInt64:
            return Value(u64());
        case tagDouble:
            return Value(std::bit_cast<double>(u64()));
        case tagString:
            return Value(string(start));
        case tagData: {
            auto n = u32();
            auto bytes = take(n);
            return Value(Value::Bytes(bytes.begin(), bytes.end()));
        }
        case tagArray: {
            nest(depth, start);
            auto n = count(start);
            Value::Array items;
            items.reserve(n);
            for (std::uint32_t i = 0; i < n; ++i)
                items.push_back(value(depth + 1));
            return Value(std::move(items));
        }
        case tagDictionary: {
            nest(depth, start);
            auto n = count(start);
            Value::Dictionary entries;
            entries.reserve(n);
            // Records have a few dozen keys at most: a linear check beats hashing them.
            std::unordered_set<std::string_view> manyKeys;
            for (std::uint32_t i = 0; i < n; ++i) {
                auto keyStart = offset_;
                auto key = string(keyStart);
                bool duplicate = false;
                if (n <= 32) {
                    for (const auto& entry : entries)
                        duplicate = duplicate || entry.first == key;
                } else {
                    duplicate = !manyKeys.insert(data_.substr(keyStart + 4, key.size())).second;
                }
                if (duplicate)
                    fail(keyStart, fmt::format("duplicate key \"{}\"", key));
                entries.emplace_back(std::move(key), value(depth + 1));
            }
            return Value(std::move(entries));
        }
        default:
            fail(start, fmt::format("unknown tag {}", static_cast<int>(static_cast<unsigned char>(data_[start]))));
        }
    }

    bool atEnd() const { return offset_ == data_.size(); }
    std::size_t offset() const { return offset_; }

private:
    [[noreturn]] void fail(std::size_t at, const std::string& what) const
    {
        throw WireFormatError(fmt::format("malformed value at byte {}: {}", at, what));
    }

    std::string_view take(std::size_t n)
    {
        if (n > data_.size() - offset_)
            fail(offset_, fmt::format("{} bytes wanted, {} left", n, data_.size() - offset_));
        auto part = data_.substr(offset_, n);
        offset_ += n;
        return part;
    }

    std::uint8_t byte() { return static_cast<std::uint8_t>(take(1)[0]); }

    std::uint32_t u32()
    {
        auto b = take(4);
        std::uint32_t v = 0;
        for (int i = 3; i >= 0; --i)
            v = (v << 8) | static_cast<unsigned char>(b[i]);
        return v;
    }

    std::uint64_t u64()
    {
        auto b = take(8);
        std::uint64_t v = 0;
        for (int i = 7; i >= 0; --i)
            v = (v << 8) | static_cast<unsigned char>(b[i]);
        return v;
    }

    std::string string(std::size_t start)
    {
        auto n = u32();
        auto s = take(n);
        if (!isValidUtf8(s))
            fail(start, "a string is not valid UTF-8");
        return std::string(s);
    }

    // Every element takes at least one byte, so a count larger than the bytes left is a lie
    // that must not turn into a huge allocation.
    std::uint32_t count(std::size_t start)
    {
        auto n = u32();
        if (n > data_.size() - offset_)
            fail(start, fmt::format("a count of {} with {} bytes left", n, data_.size() - offset_));
        return n;
    }

    void nest(std::size_t depth, std::size_t start) const
    {
        if (depth >= maximumDepth)
            fail(start, fmt::format("nesting deeper than {}", maximumDepth));
    }

    std::string_view data_;
    std::size_t offset_ = 0;
};

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
        if (!isValidUtf8(s))
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
            if (!isValidUtf8(key))
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

Value decodeValue(std::string_view bytes)
{
    Reader reader(bytes);
    auto value = reader.value(0);
    if (!reader.atEnd())
        throw WireFormatError(fmt::format("malformed value: {} bytes left over after byte {}",
                                          bytes.size() - reader.offset(), reader.offset()));
    return value;
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
