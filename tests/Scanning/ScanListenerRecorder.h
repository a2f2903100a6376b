#pragma once

#include "Scanning/ScanProgress.h"

#include <mutex>
#include <string>
#include <vector>

namespace tarnel::testing {

// Records a scanner's listener calls, and whether each arrived on the main actor.
class ScanListenerRecorder : public ScanProgressListener {
public:
    struct Event {
        std::string what; // "start", "finish" or the status text
        double progress = -1;
        bool onMain = false;
    };

    void scanDidStart() override { record({"start", -1, quendal::Runtime::shared().isMainThread()}); }
    void scanDidFinish() override { record({"finish", -1, quendal::Runtime::shared().isMainThread()}); }
    void scanDidUpdate(const std::string& status, double progress) override
    {
        record({status, progress, quendal::Runtime::shared().isMainThread()});
    }

    std::vector<Event> events() const
    {
        std::lock_guard lock(mutex_);
        return events_;
    }
    bool finished() const
    {
        std::lock_guard lock(mutex_);
        return !events_.empty() && events_.back().what == "finish";
    }

private:
    void record(Event event)
    {
        std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
    }

    mutable std::mutex mutex_;
    std::vector<Event> events_;
};

// Always the first word, so status texts are known in advance.
inline ScanStatusText firstWordStatus()
{
    return ScanStatusText([](std::size_t) { return std::size_t{0}; });
}

} // namespace tarnel::testing
