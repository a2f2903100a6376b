#pragma once

#include "QuendalFoundation/Runtime/AsyncStream.h"

#include <map>
#include <memory>
#include <mutex>

namespace tarnel {

// A broadcast that wakes every waiting subscription once. Each waiter holds a stream of its
// own; ending the stream removes its entry.
class StatsClientRecoverySignal : public std::enable_shared_from_this<StatsClientRecoverySignal> {
public:
    struct Wake {};

    quendal::AsyncStream<Wake> wait();
    void broadcast();
    std::size_t waiterCount() const;

private:
    mutable std::mutex mutex_;
    std::uint64_t nextId_ = 0;
    std::map<std::uint64_t, quendal::AsyncStream<Wake>::Continuation> continuations_;
};

} // namespace tarnel
