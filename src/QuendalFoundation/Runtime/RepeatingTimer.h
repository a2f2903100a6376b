#pragma once

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <memory>

namespace quendal {

// A timer that calls its event handler on `queue` every `timeInterval` seconds while resumed.
// The first event comes one interval after resume(). resume() and suspend() do nothing when
// the timer is already in that state.
class RepeatingTimer {
public:
    enum class State { suspended, resumed };

    RepeatingTimer(Executor queue, double timeInterval, double leeway = 0,
                   std::shared_ptr<Clock> clock = Runtime::shared().clockPointer());
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

    void setEventHandler(std::function<void()> handler);
    void resume();
    void suspend();

    State state() const { return state_; }
    double timeInterval() const { return timeInterval_; }
    double leeway() const { return leeway_; }

private:
    struct Shared {
        std::function<void()> handler;
    };

    Executor queue_;
    double timeInterval_;
    double leeway_;
    std::shared_ptr<Clock> clock_;
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    State state_ = State::suspended;
    Task task_;
};

} // namespace quendal
