#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tarnel {

// The value tree that crosses the wire between the application and the daemon:
// nine kinds, dictionaries keep the order their entries were written in.
class Value {
public:
    enum class Kind : std::uint8_t { Null, Bool, Int64, UInt64, Double, String, Data, Array, Dictionary };

    struct Null {
        friend bool operator==(Null, Null) { return true; }
    };
    using Bytes = std::vector<std::uint8_t>;
    using Array = std::vector<Value>;
    using Entry = std::pair<std::string, Value>;
    using Dictionary = std::vector<Entry>;

    Value() = default;
    Value(Null) {}
    Value(bool v) : storage_(v) {}
    Value(std::int64_t v) : storage_(v) {}
    Value(std::uint64_t v) : storage_(v) {}
    Value(double v) : storage_(v) {}
    Value(std::string v) : storage_(std::move(v)) {}
    Value(const char* v) : storage_(std::string(v)) {}
    Value(Bytes v) : storage_(std::move(v)) {}
    Value(Array v) : storage_(std::move(v)) {}
    Value(Dictionary v) : storage_(std::move(v)) {}
    // Other integer widths must choose a kind explicitly.
    Value(int) = delete;
    Value(unsigned) = delete;

    static Value dictionary() { return Value(Dictionary{}); }
    static Value array() { return Value(Array{}); }

    Kind kind() const { return static_cast<Kind>(storage_.index()); }
    bool isNull() const { return kind() == Kind::Null; }

    const bool* asBool() const { return std::get_if<bool>(&storage_); }
    const std::int64_t* asInt64() const { return std::get_if<std::int64_t>(&storage_); }
    const std::uint64_t* asUInt64() const { return std::get_if<std::uint64_t>(&storage_); }
    const double* asDouble() const { return std::get_if<double>(&storage_); }
    const std::string* asString() const { return std::get_if<std::string>(&storage_); }
    const Bytes* asBytes() const { return std::get_if<Bytes>(&storage_); }
    const Array* asArray() const { return std::get_if<Array>(&storage_); }
    const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&storage_); }
    Array* asArray() { return std::get_if<Array>(&storage_); }
    Dictionary* asDictionary() { return std::get_if<Dictionary>(&storage_); }

    // Dictionary access; nullptr when this is no dictionary or the key is absent.
    const Value* find(std::string_view key) const;
    Value* find(std::string_view key) { return const_cast<Value*>(std::as_const(*this).find(key)); }
    // Appends or replaces an entry; turns a null value into a dictionary first.
    Value& set(std::string key, Value value);

    friend bool operator==(const Value&, const Value&) = default;

private:
    std::variant<Null, bool, std::int64_t, std::uint64_t, double, std::string, Bytes, Array, Dictionary> storage_;
};

const char* kindName(Value::Kind kind);

// A readable rendering for logs and test failures; not a wire format.
std::string describe(const Value& value);

} // namespace tarnel
