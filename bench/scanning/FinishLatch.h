#pragma once
// The bench commands run a scanner on its own threads and block main until it reports the end.
#include <condition_variable>
#include <mutex>

namespace tarnel::bench {

class FinishLatch {
public:
    void open()
    {
        std::lock_guard lock(mutex_);
        finished_ = true;
        condition_.notify_all();
    }
    void wait()
    {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [this] { return finished_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool finished_ = false;
};

} // namespace tarnel::bench
