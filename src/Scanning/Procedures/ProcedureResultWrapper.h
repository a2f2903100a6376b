#pragma once

#include "Scanning/Procedures/Procedure.h"
#include "Scanning/Procedures/ProcedureKitError.h"

#include <exception>
#include <functional>
#include <variant>

namespace tarnel {

// The three-way outcome of a unit that yields a value, read once it has ended.
template <class T>
class ProcedureResultWrapper {
public:
    struct Succeeded {
        T value;
    };
    struct Failed {
        std::exception_ptr error;
    };
    struct Cancelled {};

    template <class Unit>
    static ProcedureResultWrapper from(const Unit& unit)
    {
        if (unit.isCancelled())
            return ProcedureResultWrapper(Cancelled{});
        if (auto error = unit.error())
            return ProcedureResultWrapper(Failed{error});
        auto output = unit.output();
        if (auto result = output.value(); result && result->isSuccess())
            return ProcedureResultWrapper(Succeeded{*result->value()});
        return ProcedureResultWrapper(Failed{std::make_exception_ptr(ProcedureKitError::unknown())});
    }

    bool isSuccess() const { return std::holds_alternative<Succeeded>(outcome_); }
    bool isCancelled() const { return std::holds_alternative<Cancelled>(outcome_); }
    const T* value() const
    {
        auto succeeded = std::get_if<Succeeded>(&outcome_);
        return succeeded ? &succeeded->value : nullptr;
    }
    std::exception_ptr error() const
    {
        auto failed = std::get_if<Failed>(&outcome_);
        return failed ? failed->error : nullptr;
    }

    void dispatch(const std::function<void(const T&)>& onSuccess,
                  const std::function<void(std::exception_ptr)>& onFailure = {},
                  const std::function<void()>& onCancel = {}) const
    {
        if (auto succeeded = std::get_if<Succeeded>(&outcome_)) {
            if (onSuccess)
                onSuccess(succeeded->value);
        } else if (auto failed = std::get_if<Failed>(&outcome_)) {
            if (onFailure)
                onFailure(failed->error);
        } else if (onCancel) {
            onCancel();
        }
    }

private:
    explicit ProcedureResultWrapper(std::variant<Succeeded, Failed, Cancelled> outcome) : outcome_(std::move(outcome))
    {
    }
    std::variant<Succeeded, Failed, Cancelled> outcome_;
};

} // namespace tarnel
