#pragma once

// The state of one decoding: the format's rules and the path that errors name.

#include "TarnelFoundation/Codec/WireReader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::codec {

struct DecodingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Finds a case by name in one hashed probe instead of comparing with every name.
class NameIndex {
public:
    explicit NameIndex(std::span<const std::string_view> names);
    std::optional<std::size_t> find(std::string_view name) const;

private:
    static std::size_t hash(std::string_view name);
    std::span<const std::string_view> names_;
    std::vector<std::uint16_t> slots_; // index + 1 into names_, 0 when empty
};

// Carries the path for error messages and the rules of the format being read. The wire is
// strict by kind; JSON documents accept any number where a number is wanted and take the
// default for a missing field.
class Decoder {
public:
    enum class Format { wire, json };
    explicit Decoder(Format format = Format::wire) : format_(format) {}

    bool isJson() const { return format_ == Format::json; }
    [[noreturn]] void fail(const std::string& what) const;
    // Segments are kept unformatted: the path is only spelled out when decoding fails.
    void push(const char* key) { push(Segment{key, 0}); }
    void push(std::size_t index) { push(Segment{nullptr, index}); }
    void pop() { --depth_; }
    std::string path() const;

private:
    struct Segment {
        const char* key;
        std::size_t index;
    };
    // Pushed for every field and element decoded, so kept inline: the wire nests at most 64
    // deep, a key and an index a level; a deeper JSON document's path ends in "…".
    static constexpr std::size_t pathCapacity = 2 * WireReader::maximumDepth + 2;
    void push(Segment segment)
    {
        if (depth_ < pathCapacity)
            path_[depth_] = segment;
        ++depth_;
    }

    Format format_;
    std::size_t depth_ = 0;
    std::array<Segment, pathCapacity> path_;
};

class PathScope {
public:
    PathScope(Decoder& d, const char* key) : d_(d) { d_.push(key); }
    PathScope(Decoder& d, std::size_t index) : d_(d) { d_.push(index); }
    ~PathScope() { d_.pop(); }
    PathScope(const PathScope&) = delete;
    PathScope& operator=(const PathScope&) = delete;

private:
    Decoder& d_;
};

} // namespace tarnel::codec
