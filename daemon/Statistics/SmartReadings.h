#pragma once

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tarnel::daemon {

// The drives' S.M.A.R.T. reports, read away from the tick loop: smartctl wakes and queries every
// drive, which can take seconds, and a tick must not wait for it. A reading lasts `lifetime`;
// while the next one is under way, the last is served.
class SmartReadings {
public:
    using Reports = std::vector<StatsStorageSmartReportSnapshot>;
    using Read = std::function<Reports()>;
    using Now = std::function<std::chrono::steady_clock::time_point()>;
    // Runs a read somewhere else; by default on a thread of its own.
    using Launch = std::function<void(std::function<void()>)>;

    SmartReadings(Read read, Now now, std::chrono::steady_clock::duration lifetime, Launch launch = {});
    ~SmartReadings();
    SmartReadings(const SmartReadings&) = delete;
    SmartReadings& operator=(const SmartReadings&) = delete;

    // The last reports; starts a read when they are missing or aged and none is under way.
    Reports current();
    bool reading() const;

private:
    void readNow();

    Read read_;
    Now now_;
    std::chrono::steady_clock::duration lifetime_;
    Launch launch_;
    mutable std::mutex mutex_;
    Reports reports_;
    std::optional<std::chrono::steady_clock::time_point> startedAt_;
    bool reading_ = false;
    std::jthread worker_; // last: joined before the rest goes
};

} // namespace tarnel::daemon
