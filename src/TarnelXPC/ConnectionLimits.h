#pragma once

#include "QuendalFoundation/Runtime/Clock.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace tarnel::xpc {

// What one peer, one uid and the whole server may hold. docs/security.md gives the reasons
// for each value.
struct ConnectionLimits {
    std::size_t connectionsPerUid = 32;
    // Lowered at start to this server's share of the descriptor limit less `descriptorHeadroom`.
    std::size_t connections = 256;
    std::size_t descriptorHeadroom = 64;
    // Servers of one process that divide its descriptors between them.
    std::size_t serversSharingDescriptors = 1;
    // Bytes of unfinished frames held for one uid, and for everyone.
    std::size_t bufferedBytesPerUid = 32u << 20;
    std::size_t bufferedBytes = 96u << 20;
    // A frame whose bytes have not all arrived this long after its first closes the connection.
    quendal::Clock::Duration unfinishedFrameTimeout = std::chrono::seconds(30);
    // Frames waiting for a peer that does not read; past this the connection is closed.
    std::size_t queuedBytesPerConnection = 20u << 20;
    // Wait after the process ran out of descriptors before accepting again.
    quendal::Clock::Duration acceptBackoff = std::chrono::milliseconds(250);
};

// A count of bytes shared by several connections; safe from any thread.
class ByteBudget {
public:
    explicit ByteBudget(std::size_t limit) : limit_(limit) {}
    // False, taking nothing, when `bytes` more would pass the limit.
    bool take(std::size_t bytes);
    void give(std::size_t bytes) { used_.fetch_sub(bytes); }
    std::size_t used() const { return used_.load(); }
    std::size_t limit() const { return limit_; }

private:
    const std::size_t limit_;
    std::atomic<std::size_t> used_{0};
};

// Passes on at most `burst` lines of one kind per `window`, then one line saying how many
// were left out, so a flood of equal events cannot flood the log.
class LogLimiter {
public:
    using Sink = std::function<void(const std::string&)>;

    LogLimiter(Sink sink, std::size_t burst = 10, quendal::Clock::Duration window = std::chrono::seconds(10));
    void operator()(const std::string& kind, const std::string& line);

private:
    struct Kind {
        quendal::Clock::TimePoint windowStart;
        std::size_t written = 0;
        std::size_t suppressed = 0;
    };
    Sink sink_;
    std::size_t burst_;
    quendal::Clock::Duration window_;
    std::mutex mutex_;
    std::map<std::string, Kind> kinds_;
};

} // namespace tarnel::xpc
