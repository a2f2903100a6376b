#pragma once

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <memory>

namespace quendal {

// A timer that calls its event handler on `queue` every `interval` while resumed.
// The first event comes one interval after resume(). resume() and suspend() do nothing when
// the timer is already in that state.
class RepeatingTimer {
public:
    enum class State { suspended, resumed };

    RepeatingTimer(Executor queue, Clock::Duration interval, std::shared_ptr<Clock> clock = Runtime::shared().clockPointer());
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

    void setEventHandler(std::function<void()> handler);
    void resume();
    void suspend();

    State state() const { return state_; }
    Clock::Duration interval() const { return interval_; }

private:
    struct Shared {
        std::function<void()> handler;
    };

    Executor queue_;
    Clock::Duration interval_;
    std::shared_ptr<Clock> clock_;
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    State state_ = State::suspended;
    Task task_;
};

} // namespace quendal
