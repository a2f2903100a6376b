#include "TarnelFoundation/Codec/WireReader.h"

#include "TarnelFoundation/Codec/Codec.h"

#include <algorithm>

namespace tarnel::codec {

bool WireReader::isValidUtf8(std::string_view s)
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

void WireReader::malformed(std::size_t at, const std::string& what) const
{
    throw DecodingError("malformed value at byte " + std::to_string(at) + ": " + what);
}

void WireReader::badTag() const
{
    if (offset_ >= data_.size())
        malformed(offset_, "1 byte wanted, 0 left");
    malformed(offset_, "unknown tag " + std::to_string(static_cast<unsigned>(static_cast<std::uint8_t>(data_[offset_]))));
}

void WireReader::shortOf(std::size_t n) const
{
    malformed(offset_, std::to_string(n) + " bytes wanted, " + std::to_string(data_.size() - offset_) + " left");
}

bool WireReader::readBool()
{
    const auto start = offset_;
    offset_ += 1;
    auto b = static_cast<std::uint8_t>(take(1)[0]);
    if (b > 1)
        malformed(start, "a bool must be 0 or 1");
    return b == 1;
}

std::uint32_t WireReader::beginContainer()
{
    const auto start = offset_;
    if (depth_ >= maximumDepth)
        malformed(start, "nesting deeper than " + std::to_string(maximumDepth));
    offset_ += 1;
    // Every element takes at least one byte, so a count larger than the bytes left is a lie
    // that must not turn into a huge allocation.
    auto n = fixed32();
    if (n > data_.size() - offset_)
        malformed(start, "a count of " + std::to_string(n) + " with " + std::to_string(data_.size() - offset_) +
                             " bytes left");
    ++depth_;
    return n;
}

void WireReader::skip()
{
    switch (kind()) {
    case Value::Kind::Null: readNull(); break;
    case Value::Kind::Bool: readBool(); break;
    case Value::Kind::Int64:
    case Value::Kind::UInt64:
    case Value::Kind::Double: fixed64(); break;
    case Value::Kind::String: readString(); break;
    case Value::Kind::Data: readData(); break;
    case Value::Kind::Array: {
        auto n = beginArray();
        for (std::uint32_t i = 0; i < n; ++i)
            skip();
        endContainer();
        break;
    }
    case Value::Kind::Dictionary: {
        auto n = beginDictionary();
        DictionaryKeys keys(n);
        for (std::uint32_t i = 0; i < n; ++i) {
            readUniqueKey(keys);
            skip();
        }
        endContainer();
        break;
    }
    }
}

Value WireReader::readValue()
{
    switch (kind()) {
    case Value::Kind::Null: readNull(); return Value();
    case Value::Kind::Bool: return Value(readBool());
    case Value::Kind::Int64: return Value(readInt64());
    case Value::Kind::UInt64: return Value(readUInt64());
    case Value::Kind::Double: return Value(readDouble());
    case Value::Kind::String: return Value(std::string(readString()));
    case Value::Kind::Data: {
        auto bytes = readData();
        return Value(Value::Bytes(bytes.begin(), bytes.end()));
    }
    case Value::Kind::Array: {
        auto n = beginArray();
        Value::Array items;
        items.reserve(n);
        for (std::uint32_t i = 0; i < n; ++i)
            items.push_back(readValue());
        endContainer();
        return Value(std::move(items));
    }
    case Value::Kind::Dictionary: {
        auto n = beginDictionary();
        Value::Dictionary entries;
        entries.reserve(n);
        DictionaryKeys keys(n);
        for (std::uint32_t i = 0; i < n; ++i) {
            auto key = readUniqueKey(keys);
            entries.emplace_back(std::string(key), readValue());
        }
        endContainer();
        return Value(std::move(entries));
    }
    }
    return Value();
}

std::string_view WireReader::readUniqueKey(DictionaryKeys& keys)
{
    const auto start = offset_;
    auto key = readKey();
    if (!keys.insert(key))
        malformed(start, "duplicate key \"" + std::string(key) + "\"");
    return key;
}

void WireReader::expectEnd() const
{
    if (!atEnd())
        throw DecodingError("malformed value: " + std::to_string(data_.size() - offset_) +
                            " bytes left over after byte " + std::to_string(offset_));
}

DictionaryKeys::DictionaryKeys(std::size_t count) : hashed_(count > linearLimit)
{
    if (!hashed_)
        few_.reserve(count);
}

bool DictionaryKeys::insert(std::string_view key)
{
    if (hashed_)
        return many_.insert(key).second;
    if (std::find(few_.begin(), few_.end(), key) != few_.end())
        return false;
    few_.push_back(key);
    return true;
}

} // namespace tarnel::codec
