#pragma once

#include "Scanning/Procedures/Pending.h"

#include <mutex>

namespace tarnel {

// The typed output of a unit that yields a value: pending until the unit sets it, which it does
// before it finishes. Mixed into a Procedure subclass.
template <class T>
class ProcedureOutput {
public:
    using OutputType = T;
    using Output = Pending<ProcedureResult<T>>;

    Output output() const
    {
        std::lock_guard lock(outputMutex_);
        return output_;
    }
    void setOutput(Output output)
    {
        std::lock_guard lock(outputMutex_);
        output_ = std::move(output);
    }
    void setOutputValue(T value) { setOutput(Output::ready(ProcedureResult<T>::success(std::move(value)))); }

protected:
    ~ProcedureOutput() = default;

private:
    mutable std::mutex outputMutex_;
    Output output_;
};

} // namespace tarnel
