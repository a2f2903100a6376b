#pragma once

#include <asio/awaitable.hpp>

#include <chrono>

namespace quendal {

// Every sleep and timer of the system goes through a Clock, so tests can swap in virtual time.
class Clock {
public:
    using Duration = std::chrono::nanoseconds;
    using TimePoint = std::chrono::time_point<std::chrono::steady_clock, Duration>;

    virtual ~Clock() = default;

    virtual TimePoint now() const = 0;

    // Suspends the calling coroutine; a cancellation of the caller ends the sleep at once
    // with asio::error::operation_aborted.
    virtual asio::awaitable<void> sleep(Duration duration) = 0;

    // Conversions for the places that keep seconds as numbers (dates, reports).
    static constexpr Duration fromSeconds(double seconds)
    {
        return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
    }
    static constexpr double toSeconds(Duration duration)
    {
        return std::chrono::duration<double>(duration).count();
    }
};

// The real monotonic clock.
class SystemClock final : public Clock {
public:
    TimePoint now() const override;
    asio::awaitable<void> sleep(Duration duration) override;
};

} // namespace quendal
