#include "Scanning/Walker/OperationQueue.h"

namespace tarnel {

OperationQueue::OperationQueue(int maxConcurrentOperationCount) : width_(maxConcurrentOperationCount) {}

OperationQueue::~OperationQueue()
{
    cancelAllOperations();
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (auto& thread : threads_)
        thread.join();
}

void OperationQueue::addOperation(quendal::UniqueFunction<void()> operation)
{
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(operation));
    if (static_cast<int>(pending_.size()) <= idle_) {
        wake_.notify_one();
        return;
    }
    if (width_ <= 0 || static_cast<int>(threads_.size()) < width_)
        threads_.emplace_back([this] { work(); });
    else
        wake_.notify_one();
}

void OperationQueue::cancelAllOperations()
{
    std::deque<quendal::UniqueFunction<void()>> dropped;
    {
        std::lock_guard lock(mutex_);
        dropped.swap(pending_);
        if (running_ == 0)
            drained_.notify_all();
    }
    // Destroyed outside the lock: an operation's destructor may add work of its own.
}

void OperationQueue::waitUntilAllOperationsAreFinished()
{
    std::unique_lock lock(mutex_);
    drained_.wait(lock, [this] { return pending_.empty() && running_ == 0; });
}

void OperationQueue::work()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        if (pending_.empty()) {
            if (stopping_)
                return;
            ++idle_;
            wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
            --idle_;
            continue;
        }
        auto operation = std::move(pending_.front());
        pending_.pop_front();
        ++running_;
        lock.unlock();
        operation();
        operation = nullptr;
        lock.lock();
        --running_;
        if (running_ == 0 && pending_.empty())
            drained_.notify_all();
    }
}

} // namespace tarnel
