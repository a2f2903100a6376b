#pragma once

#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/ScanLog.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tarnel::testing {

// One support file found for an application: its path is "~/..." in the home, "/..." under the root.
struct SupportFileRow {
    std::string application;
    std::string category;
    std::string path;
    auto operator<=>(const SupportFileRow&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const SupportFileRow& row)
{
    return out << "{" << row.application << ", " << row.category << ", " << row.path << "}";
}

// Captures the engine's log lines for the life of the object.
class CapturedScanLog {
public:
    CapturedScanLog()
    {
        ScanLog::shared().setSink([this](const ScanLogLine& line) {
            std::lock_guard lock(mutex_);
            lines_.push_back(line);
        });
    }
    ~CapturedScanLog() { ScanLog::shared().setSink({}); }

    std::vector<std::string> messages(ScanLogLevel level) const
    {
        std::lock_guard lock(mutex_);
        std::vector<std::string> result;
        for (const auto& line : lines_)
            if (line.level == level)
                result.push_back(line.message);
        return result;
    }

private:
    mutable std::mutex mutex_;
    std::vector<ScanLogLine> lines_;
};

// Units run on real threads: wait for a state they reach, pumping `poll` meanwhile. The bound
// only turns a hang into a failure.
template <class Condition, class Poll>
void waitUntil(Condition condition, Poll poll)
{
    auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            throw std::runtime_error("condition never became true");
        poll();
        std::this_thread::yield();
    }
}

template <class Condition>
void waitUntil(Condition condition)
{
    waitUntil(condition, [] {});
}

// Runs one unit on a queue of its own and returns its value; a unit without one fails the test.
template <class Unit>
auto runToValue(const std::shared_ptr<Unit>& unit)
{
    ProcedureQueue queue;
    queue.addOperation(unit);
    unit->waitUntilFinished();
    auto output = unit->output();
    if (!output.value() || !output.value()->isSuccess())
        throw std::runtime_error("the unit yielded no result");
    return *output.value()->value();
}

} // namespace tarnel::testing
