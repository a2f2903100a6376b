#pragma once

#include <exception>
#include <optional>
#include <utility>
#include <variant>

namespace tarnel {

// A value that is either still pending or ready.
template <class T>
class Pending {
public:
    Pending() = default;
    static Pending ready(T value)
    {
        Pending pending;
        pending.value_.emplace(std::move(value));
        return pending;
    }

    bool isPending() const { return !value_.has_value(); }
    bool isReady() const { return value_.has_value(); }
    // Null while pending.
    const T* value() const { return value_ ? &*value_ : nullptr; }

private:
    std::optional<T> value_;
};

// The outcome a unit hands on: its value or the error it failed with.
template <class T>
class ProcedureResult {
public:
    static ProcedureResult success(T value) { return ProcedureResult(std::in_place_index<0>, std::move(value)); }
    static ProcedureResult failure(std::exception_ptr error) { return ProcedureResult(std::in_place_index<1>, error); }

    bool isSuccess() const { return result_.index() == 0; }
    // Null for a failure.
    const T* value() const { return std::get_if<0>(&result_); }
    std::exception_ptr error() const { return isSuccess() ? nullptr : std::get<1>(result_); }

private:
    template <std::size_t I, class V>
    ProcedureResult(std::in_place_index_t<I> index, V&& value) : result_(index, std::forward<V>(value))
    {
    }
    std::variant<T, std::exception_ptr> result_;
};

} // namespace tarnel
