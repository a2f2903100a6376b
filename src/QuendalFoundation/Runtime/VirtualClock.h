#pragma once

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <asio/cancellation_signal.hpp>
#include <asio/io_context.hpp>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace quendal {

// Virtual time for tests: sleeps end only when the test moves time on, instantly and in
// deadline order, and every requested delay is recorded so a test can assert the sequence.
class VirtualClock final : public Clock {
public:
    TimePoint now() const override;
    asio::awaitable<void> sleep(Duration duration) override;

    // Every duration passed to sleep(), in call order.
    std::vector<Duration> requestedSleeps() const;
    std::vector<double> requestedSleepSeconds() const;
    void clearRequestedSleeps();
    std::size_t pendingSleeps() const;
    std::optional<TimePoint> nextDeadline() const;

    // Ends the earliest pending sleep, moving time to its deadline. False when none is pending.
    bool fireNext();

    // Runs `context` until it has nothing ready, moving time to the next deadline whenever
    // all work waits on the clock. Stops when nothing is pending, when `limit` of virtual time
    // has passed, or when `until` returns true.
    void run(asio::io_context& context, std::optional<Duration> limit = std::nullopt);
    template <class Predicate>
    bool runUntil(asio::io_context& context, Predicate until, std::optional<Duration> limit = std::nullopt)
    {
        return runLoop(context, limit, [&] { return static_cast<bool>(until()); });
    }
    void runFor(asio::io_context& context, Duration span) { run(context, span); }

private:
    struct Sleeper {
        UniqueFunction<void(std::error_code)> complete;
        asio::cancellation_slot slot;
    };
    using Key = std::pair<TimePoint, std::uint64_t>;

    bool runLoop(asio::io_context& context, std::optional<Duration> limit, UniqueFunction<bool()> until);
    void cancelSleeper(std::uint64_t sequence);

    mutable std::mutex mutex_;
    TimePoint now_{};
    std::uint64_t nextSequence_ = 0;
    std::map<Key, Sleeper> sleepers_;
    std::vector<Duration> requested_;
};

} // namespace quendal
