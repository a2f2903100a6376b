#include "Statistics/SmartReadings.h"

namespace tarnel::daemon {

SmartReadings::SmartReadings(Read read, Now now, std::chrono::steady_clock::duration lifetime, Launch launch)
    : read_(std::move(read)), now_(std::move(now)), lifetime_(lifetime), launch_(std::move(launch))
{
    if (!launch_) {
        launch_ = [this](std::function<void()> job) {
            // The former worker has finished: a new read starts only after it cleared `reading_`.
            if (worker_.joinable())
                worker_.join();
            worker_ = std::jthread(std::move(job));
        };
    }
}

SmartReadings::~SmartReadings()
{
    if (worker_.joinable())
        worker_.join();
}

bool SmartReadings::reading() const
{
    std::lock_guard lock(mutex_);
    return reading_;
}

SmartReadings::Reports SmartReadings::current()
{
    bool start = false;
    Reports reports;
    {
        std::lock_guard lock(mutex_);
        const auto now = now_();
        if (!reading_ && (!startedAt_ || now - *startedAt_ >= lifetime_)) {
            // The age counts from the start of a read, so a drive that fails is not asked every tick.
            startedAt_ = now;
            reading_ = true;
            start = true;
        }
        reports = reports_;
    }
    if (start)
        launch_([this] { readNow(); });
    return reports;
}

void SmartReadings::readNow()
{
    Reports fresh;
    try {
        fresh = read_();
    } catch (const std::exception&) {
        // A failed read keeps the last reports; the next is due after the lifetime.
        std::lock_guard lock(mutex_);
        reading_ = false;
        return;
    }
    std::lock_guard lock(mutex_);
    reports_ = std::move(fresh);
    reading_ = false;
}

} // namespace tarnel::daemon
