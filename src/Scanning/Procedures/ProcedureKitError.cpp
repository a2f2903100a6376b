#include "Scanning/Procedures/ProcedureKitError.h"

#include <fmt/format.h>

#include <algorithm>

namespace tarnel {

double Delay::interval(quendal::Clock::TimePoint now) const
{
    if (auto by = std::get_if<By>(&value))
        return std::max(0.0, by->seconds);
    auto until = std::get<Until>(value).date;
    return std::max(0.0, quendal::Clock::toSeconds(until - now));
}

ProcedureKitError ProcedureKitError::timedOut(Delay delay)
{
    return ProcedureKitError(TimedOut{delay}, "The procedure timed out");
}

ProcedureKitError ProcedureKitError::unknown() { return ProcedureKitError(Unknown{}, "Unknown error"); }

ProcedureKitError::ProcedureKitError(Context context, std::string text, std::exception_ptr underlying)
    : std::runtime_error(std::move(text)), context_(std::move(context)), underlying_(std::move(underlying))
{
}

const Delay* ProcedureKitError::timedOutDelay() const
{
    auto timedOut = std::get_if<TimedOut>(&context_);
    return timedOut ? &timedOut->delay : nullptr;
}

std::string describeError(const std::exception_ptr& error)
{
    if (!error)
        return {};
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "Unknown error";
    }
}

} // namespace tarnel
