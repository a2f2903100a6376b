#pragma once

#include "QuendalFoundation/Runtime/Clock.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <variant>

namespace tarnel {

// How long a unit may run: for a number of seconds from its start, or until a point in time.
struct Delay {
    struct By {
        double seconds;
        bool operator==(const By&) const = default;
    };
    struct Until {
        quendal::Clock::TimePoint date;
        bool operator==(const Until&) const = default;
    };

    static Delay by(double seconds) { return Delay{By{seconds}}; }
    static Delay until(quendal::Clock::TimePoint date) { return Delay{Until{date}}; }

    // Seconds from now, never negative.
    double interval(quendal::Clock::TimePoint now) const;
    bool operator==(const Delay&) const = default;

    std::variant<By, Until> value;
};

// The engine's own error.
class ProcedureKitError : public std::runtime_error {
public:
    struct TimedOut {
        Delay delay;
    };
    struct Unknown {};
    using Context = std::variant<TimedOut, Unknown>;

    static ProcedureKitError timedOut(Delay delay);
    static ProcedureKitError unknown();

    ProcedureKitError(Context context, std::string text, std::exception_ptr underlying = nullptr);

    const Context& context() const { return context_; }
    std::exception_ptr underlyingError() const { return underlying_; }

    // The delay when this is a time-out, null otherwise.
    const Delay* timedOutDelay() const;

private:
    Context context_;
    std::exception_ptr underlying_;
};

// The text of an error held by a unit.
std::string describeError(const std::exception_ptr& error);

} // namespace tarnel
