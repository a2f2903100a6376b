#include "QuendalFoundation/Runtime/RepeatingTimer.h"

#include <stdexcept>

namespace quendal {

RepeatingTimer::RepeatingTimer(Executor queue, Clock::Duration interval, std::shared_ptr<Clock> clock)
    : queue_(std::move(queue)), interval_(interval), clock_(std::move(clock))
{
    if (interval <= Clock::Duration::zero())
        throw std::invalid_argument("A repeating timer needs a positive interval");
}

RepeatingTimer::~RepeatingTimer() { suspend(); }

void RepeatingTimer::setEventHandler(std::function<void()> handler) { shared_->handler = std::move(handler); }

void RepeatingTimer::resume()
{
    if (state_ == State::resumed)
        return;
    state_ = State::resumed;
    auto loop = [](std::shared_ptr<Clock> clock, std::shared_ptr<Shared> shared,
                   Clock::Duration interval) -> asio::awaitable<void> {
        for (;;) {
            co_await clock->sleep(interval);
            if (shared->handler)
                shared->handler();
        }
    };
    task_ = spawn(queue_, loop(clock_, shared_, interval_));
}

void RepeatingTimer::suspend()
{
    if (state_ == State::suspended)
        return;
    state_ = State::suspended;
    task_.cancel();
    task_ = Task();
}

} // namespace quendal
