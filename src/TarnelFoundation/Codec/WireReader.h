#pragma once

#include "TarnelFoundation/Codec/Value.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tarnel::codec {

class DictionaryKeys;

// Reads the byte form of a value tree (docs/wire.md) one value at a time, so that a record can
// be decoded straight from a frame without building the tree first. The bytes are checked as
// strictly as the tree decoder checks them: a bad tag, a length past the end, invalid UTF-8,
// a duplicate key, nesting deeper than 64 or bytes left over fail with DecodingError.
//
// Callers look at `kind()` before reading a value of that kind; the read functions assume it.
class WireReader {
public:
    static constexpr std::size_t maximumDepth = 64;

    explicit WireReader(std::string_view bytes) : data_(bytes) {}

    // The kind of the next value; fails on an unknown tag or at the end of the bytes.
    Value::Kind kind() const
    {
        // The tags are numbered in the order of Value::Kind.
        if (offset_ < data_.size() && static_cast<std::uint8_t>(data_[offset_]) <= lastTag)
            return static_cast<Value::Kind>(data_[offset_]);
        badTag();
    }

    void readNull() { offset_ += 1; }
    bool readBool();
    std::int64_t readInt64() { return static_cast<std::int64_t>(fixed64()); }
    std::uint64_t readUInt64() { return fixed64(); }
    double readDouble() { return std::bit_cast<double>(fixed64()); }
    // Views into the bytes, valid while they are.
    std::string_view readString()
    {
        const auto start = offset_;
        offset_ += 1;
        return text(start, "a string");
    }
    std::string_view readData()
    {
        offset_ += 1;
        auto n = fixed32();
        return take(n);
    }

    // Open a container and return its element count; `endContainer` closes it.
    std::uint32_t beginArray() { return beginContainer(); }
    std::uint32_t beginDictionary() { return beginContainer(); }
    std::string_view readKey() { return text(offset_, "a key"); }
    // A string or key whose UTF-8 is not checked yet, for callers that compare it with known
    // names first: a match is valid text, anything else goes through `checkString`/`checkKey`.
    std::string_view readStringUnchecked()
    {
        offset_ += 1;
        return readKeyUnchecked();
    }
    std::string_view readKeyUnchecked()
    {
        const auto n = fixed32();
        return take(n);
    }
    void checkString(std::string_view text) const { check(text, 1 + 4, "a string"); }
    void checkKey(std::string_view key) const { check(key, 4, "a key"); }
    void endContainer() { --depth_; }

    // Checks and passes over the next value, nested ones included.
    void skip();
    // Builds the next value as a tree, for fields that hold any value.
    Value readValue();

    bool atEnd() const { return offset_ == data_.size(); }
    // Fails when bytes are left after the top-level value.
    void expectEnd() const;

    std::size_t offset() const { return offset_; }
    // Whether `text` may stand in the bytes as a string or key.
    static bool isValidText(std::string_view text) { return isAscii(text) || isValidUtf8(text); }
    [[noreturn]] void malformed(std::size_t at, const std::string& what) const;

private:
    static constexpr std::uint8_t lastTag = 8;

    [[noreturn]] void badTag() const;
    // The next key of a dictionary, failing when the dictionary had it before.
    std::string_view readUniqueKey(DictionaryKeys& keys);
    [[noreturn]] void shortOf(std::size_t n) const;

    std::string_view take(std::size_t n)
    {
        if (n > data_.size() - offset_)
            shortOf(n);
        auto part = data_.substr(offset_, n);
        offset_ += n;
        return part;
    }
    std::uint32_t fixed32()
    {
        std::uint32_t v;
        std::memcpy(&v, take(4).data(), 4);
        if constexpr (std::endian::native == std::endian::big)
            v = __builtin_bswap32(v);
        return v;
    }
    // The payload of an int64, uint64 or double whose tag is next.
    std::uint64_t fixed64()
    {
        offset_ += 1;
        std::uint64_t v;
        std::memcpy(&v, take(8).data(), 8);
        if constexpr (std::endian::native == std::endian::big)
            v = __builtin_bswap64(v);
        return v;
    }
    std::string_view text(std::size_t start, const char* what)
    {
        const auto n = fixed32();
        auto s = take(n);
        if (!isAscii(s) && !isValidUtf8(s))
            malformed(start, std::string(what) + " is not valid UTF-8");
        return s;
    }
    // `header`: the bytes of tag and length before the text.
    void check(std::string_view text, std::size_t header, const char* what) const
    {
        if (!isAscii(text) && !isValidUtf8(text))
            malformed(static_cast<std::size_t>(text.data() - data_.data()) - header, std::string(what) + " is not valid UTF-8");
    }
    static bool isAscii(std::string_view s)
    {
        std::uint64_t high = 0;
        std::size_t i = 0;
        for (; i + 8 <= s.size(); i += 8) {
            std::uint64_t chunk;
            std::memcpy(&chunk, s.data() + i, 8);
            high |= chunk;
        }
        for (; i < s.size(); ++i)
            high |= static_cast<std::uint8_t>(s[i]);
        return (high & 0x8080808080808080ULL) == 0;
    }
    static bool isValidUtf8(std::string_view s);
    std::uint32_t beginContainer();

    std::string_view data_;
    std::size_t offset_ = 0;
    std::size_t depth_ = 0;
};

// The keys of one dictionary seen so far; the wire forbids duplicates. A record has a few dozen
// keys at most, where a linear check beats hashing; a large dictionary is hashed.
class DictionaryKeys {
public:
    explicit DictionaryKeys(std::size_t count);
    // False when the key was seen before.
    bool insert(std::string_view key);

private:
    static constexpr std::size_t linearLimit = 32;
    std::vector<std::string_view> few_;
    std::unordered_set<std::string_view> many_;
    bool hashed_;
};

} // namespace tarnel::codec
