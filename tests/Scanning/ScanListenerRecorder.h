#pragma once

#include "Scanning/ScanProgress.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tarnel::testing {

// Records a scanner's listener calls, and whether each arrived on the main actor.
class ScanListenerRecorder : public CleanScannerListener, public ApplicationScannerListener {
public:
    struct Event {
        std::string what; // "start", "finish" or the status text
        double progress = -1;
        bool onMain = false;
    };

    void cleanScannerDidStart() override { started(); }
    void cleanScannerDidFinish() override { finish(); }
    void cleanScannerDidUpdate(const std::string& status, double progress) override { update(status, progress); }
    void applicationScannerDidStart() override { started(); }
    void applicationScannerDidFinish() override { finish(); }
    void applicationScannerDidUpdate(const std::string& status, double progress) override
    {
        update(status, progress);
    }

    std::vector<Event> events() const
    {
        std::lock_guard lock(mutex_);
        return events_;
    }
    // The status updates in order, each a status text and its fraction done. Every call, these
    // and the start and finish, must have arrived on the main actor.
    std::vector<std::pair<std::string, double>> mainActorUpdates() const
    {
        std::vector<std::pair<std::string, double>> updates;
        for (const auto& event : events()) {
            EXPECT_TRUE(event.onMain) << event.what;
            if (event.progress >= 0)
                updates.emplace_back(event.what, event.progress);
        }
        return updates;
    }
    bool finished() const
    {
        std::lock_guard lock(mutex_);
        return !events_.empty() && events_.back().what == "finish";
    }

private:
    void started() { record({"start", -1, quendal::Runtime::shared().isMainThread()}); }
    void finish() { record({"finish", -1, quendal::Runtime::shared().isMainThread()}); }
    void update(const std::string& status, double progress)
    {
        record({status, progress, quendal::Runtime::shared().isMainThread()});
    }
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
