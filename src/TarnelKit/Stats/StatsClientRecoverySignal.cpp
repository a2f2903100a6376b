#include "TarnelKit/Stats/StatsClientRecoverySignal.h"

namespace tarnel {

quendal::AsyncStream<StatsClientRecoverySignal::Wake> StatsClientRecoverySignal::wait()
{
    auto [stream, continuation] = quendal::AsyncStream<Wake>::make();
    std::uint64_t id;
    {
        std::lock_guard lock(mutex_);
        id = nextId_++;
        continuations_.emplace(id, continuation);
    }
    std::weak_ptr<StatsClientRecoverySignal> weak = weak_from_this();
    continuation.onTermination([weak, id](quendal::StreamTermination) {
        if (auto self = weak.lock()) {
            std::lock_guard lock(self->mutex_);
            self->continuations_.erase(id);
        }
    });
    return std::move(stream);
}

void StatsClientRecoverySignal::broadcast()
{
    std::map<std::uint64_t, quendal::AsyncStream<Wake>::Continuation> waiting;
    {
        std::lock_guard lock(mutex_);
        waiting = continuations_;
    }
    for (auto& [id, c] : waiting)
        c.yield(Wake{});
}

std::size_t StatsClientRecoverySignal::waiterCount() const
{
    std::lock_guard lock(mutex_);
    return continuations_.size();
}

} // namespace tarnel
