#pragma once

#include "QuendalFoundation/Runtime/Clock.h"

#include <asio/steady_timer.hpp>
#include <asio/this_coro.hpp>
#include <asio/use_awaitable.hpp>

namespace tarnel::testing {

// Real time, sped up: every sleep lasts `1 / speed` of what it asks. For end-to-end tests with
// real processes, where virtual time cannot drive the other side.
class ScaledClock final : public quendal::Clock {
public:
    explicit ScaledClock(double speed) : speed_(speed) {}

    TimePoint now() const override
    {
        return std::chrono::time_point_cast<Duration>(std::chrono::steady_clock::now());
    }
    asio::awaitable<void> sleep(Duration duration) override
    {
        asio::steady_timer timer(co_await asio::this_coro::executor,
                                 std::chrono::duration_cast<Duration>(duration / speed_));
        co_await timer.async_wait(asio::use_awaitable);
    }

private:
    double speed_;
};

} // namespace tarnel::testing
