#include "QuendalFoundation/Runtime/VirtualClock.h"

#include <asio/associated_cancellation_slot.hpp>
#include "QuendalFoundation/Runtime/PostBack.h"

#include <asio/async_result.hpp>
#include <asio/error.hpp>
#include <asio/use_awaitable.hpp>

namespace quendal {

Clock::TimePoint VirtualClock::now() const
{
    std::lock_guard lock(mutex_);
    return now_;
}

asio::awaitable<void> VirtualClock::sleep(Duration duration)
{
    auto initiation = [this, duration](auto handler) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        UniqueFunction<void(std::error_code)> complete = postBack(std::move(handler));
        std::uint64_t sequence;
        {
            std::lock_guard lock(mutex_);
            requested_.push_back(duration);
            sequence = nextSequence_++;
            auto deadline = now_ + (duration > Duration::zero() ? duration : Duration::zero());
            sleepers_.emplace(Key{deadline, sequence}, Sleeper{std::move(complete), slot});
        }
        if (slot.is_connected())
            slot.assign([this, sequence](asio::cancellation_type) { cancelSleeper(sequence); });
    };
    co_await asio::async_initiate<const asio::use_awaitable_t<>&, void(std::error_code)>(
        initiation, asio::use_awaitable);
}

void VirtualClock::cancelSleeper(std::uint64_t sequence)
{
    UniqueFunction<void(std::error_code)> complete;
    {
        std::lock_guard lock(mutex_);
        for (auto it = sleepers_.begin(); it != sleepers_.end(); ++it) {
            if (it->first.second == sequence) {
                complete = std::move(it->second.complete);
                sleepers_.erase(it);
                break;
            }
        }
    }
    if (complete)
        complete(asio::error::operation_aborted);
}

std::vector<Clock::Duration> VirtualClock::requestedSleeps() const
{
    std::lock_guard lock(mutex_);
    return requested_;
}

std::vector<double> VirtualClock::requestedSleepSeconds() const
{
    std::vector<double> seconds;
    for (auto d : requestedSleeps())
        seconds.push_back(toSeconds(d));
    return seconds;
}

void VirtualClock::clearRequestedSleeps()
{
    std::lock_guard lock(mutex_);
    requested_.clear();
}

std::size_t VirtualClock::pendingSleeps() const
{
    std::lock_guard lock(mutex_);
    return sleepers_.size();
}

std::optional<Clock::TimePoint> VirtualClock::nextDeadline() const
{
    std::lock_guard lock(mutex_);
    if (sleepers_.empty())
        return std::nullopt;
    return sleepers_.begin()->first.first;
}

bool VirtualClock::fireNext()
{
    UniqueFunction<void(std::error_code)> complete;
    asio::cancellation_slot slot;
    {
        std::lock_guard lock(mutex_);
        if (sleepers_.empty())
            return false;
        auto it = sleepers_.begin();
        now_ = std::max(now_, it->first.first);
        complete = std::move(it->second.complete);
        slot = it->second.slot;
        sleepers_.erase(it);
    }
    if (slot.is_connected())
        slot.clear();
    complete(std::error_code{});
    return true;
}

void VirtualClock::run(asio::io_context& context, std::optional<Duration> limit)
{
    runLoop(context, limit, [] { return false; });
}

bool VirtualClock::runLoop(asio::io_context& context, std::optional<Duration> limit, UniqueFunction<bool()> until)
{
    const auto end = limit ? std::optional<TimePoint>(now() + *limit) : std::nullopt;
    for (;;) {
        context.restart();
        context.poll();
        if (until())
            return true;
        auto next = nextDeadline();
        if (!next)
            return false;
        if (end && *next > *end) {
            std::lock_guard lock(mutex_);
            now_ = *end;
            return false;
        }
        fireNext();
    }
}

} // namespace quendal
