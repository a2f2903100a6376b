#include "TarnelXPC/ConnectionLimits.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <fmt/format.h>

namespace tarnel::xpc {

bool ByteBudget::take(std::size_t bytes)
{
    auto used = used_.load();
    do {
        if (bytes > limit_ || used > limit_ - bytes)
            return false;
    } while (!used_.compare_exchange_weak(used, used + bytes));
    return true;
}

LogLimiter::LogLimiter(Sink sink, std::size_t burst, quendal::Clock::Duration window)
    : sink_(std::move(sink)), burst_(burst), window_(window)
{
}

void LogLimiter::operator()(const std::string& kind, const std::string& line)
{
    if (!sink_)
        return;
    const auto now = quendal::Runtime::shared().clock().now();
    std::string summary;
    bool write = false;
    {
        std::lock_guard lock(mutex_);
        auto& k = kinds_[kind];
        if (k.written == 0 || now - k.windowStart >= window_) {
            if (k.suppressed > 0)
                summary = fmt::format("{} similar lines about {} left out", k.suppressed, kind);
            k.windowStart = now;
            k.written = 0;
            k.suppressed = 0;
        }
        if (k.written < burst_) {
            ++k.written;
            write = true;
        } else {
            ++k.suppressed;
        }
    }
    if (!summary.empty())
        sink_(summary);
    if (write)
        sink_(line);
}

} // namespace tarnel::xpc
