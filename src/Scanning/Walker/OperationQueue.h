#pragma once

#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace tarnel {

// A plain work queue for the walker's directory operations: each operation runs once on one
// of the queue's threads, which are made as work arrives. Operations dropped by
// cancelAllOperations() never run; their destructors still do.
class OperationQueue {
public:
    // No limit on the number of threads.
    explicit OperationQueue(int maxConcurrentOperationCount = -1);
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    void addOperation(quendal::UniqueFunction<void()> operation);
    void cancelAllOperations();
    // Blocks until nothing is queued or running.
    void waitUntilAllOperationsAreFinished();

private:
    void work();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable drained_;
    std::deque<quendal::UniqueFunction<void()>> pending_;
    std::vector<std::thread> threads_;
    int width_;
    int idle_ = 0;
    int running_ = 0;
    bool stopping_ = false;
};

} // namespace tarnel
