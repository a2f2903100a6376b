#include "Scanning/Procedures/AsyncProcedure.h"

#include "Scanning/Procedures/ProcedureKitError.h"
#include "Scanning/Procedures/TimeoutObserver.h"
#include "Scanning/ScanLog.h"

#include <fmt/format.h>

#include <atomic>

namespace tarnel {

namespace {

std::atomic<double> classTimeoutInterval{3.0};

// Seconds as a floating-point number always shows its fraction: "3.0", "2.5".
std::string secondsText(double seconds)
{
    auto text = fmt::format("{}", seconds);
    if (text.find_first_of(".einf") == std::string::npos)
        text += ".0";
    return text;
}

} // namespace

double AsyncProcedure::timeoutInterval() { return classTimeoutInterval.load(); }

void AsyncProcedure::setTimeoutInterval(double seconds) { classTimeoutInterval.store(seconds); }

AsyncProcedure::AsyncProcedure(bool timeout, Storage::SelfBlock block) : storage_(Storage::asSelf(std::move(block)))
{
    if (timeout)
        TimeoutObserver::attach(*this, Delay::by(timeoutInterval()));
}

AsyncProcedure::AsyncProcedure(Storage::VoidBlock block) : storage_(Storage::asVoid(std::move(block))) {}

void AsyncProcedure::execute()
{
    if (auto block = storage_.selfBlock()) {
        (*block)(*this);
        return;
    }
    try {
        (*storage_.voidBlock())();
    } catch (...) {
        finish(std::current_exception());
        return;
    }
    finish();
}

void AsyncProcedure::procedureDidCancel(Error error)
{
    if (!error)
        return;
    try {
        std::rethrow_exception(error);
    } catch (const ProcedureKitError& kitError) {
        auto delay = kitError.timedOutDelay();
        if (!delay)
            return;
        auto by = std::get_if<Delay::By>(&delay->value);
        if (by && by->seconds == timeoutInterval())
            ScanLog::shared().log(ScanLogLevel::warning,
                                  fmt::format("Block not finished after {} seconds. This is likely a mistake, check "
                                              "that this block calls .finish() on all code paths.",
                                              secondsText(by->seconds)));
    } catch (...) {
    }
}

} // namespace tarnel
