#include "Scanning/Procedures/TimeoutObserver.h"

#include "QuendalFoundation/Runtime/Task.h"
#include "Scanning/Procedures/EventExecutor.h"
#include "Scanning/Procedures/Procedure.h"

#include <memory>
#include <mutex>

namespace tarnel {

namespace {

struct TimerState {
    std::mutex mutex;
    quendal::Task timer;
    bool finished = false;
};

asio::awaitable<void> cancelWhenDue(std::shared_ptr<quendal::Clock> clock, double seconds,
                                    std::weak_ptr<Procedure> weak, Delay delay)
{
    co_await clock->sleep(quendal::Clock::fromSeconds(seconds));
    if (auto procedure = weak.lock(); procedure && !procedure->isFinished())
        procedure->cancel(std::make_exception_ptr(ProcedureKitError::timedOut(delay)));
}

} // namespace

void TimeoutObserver::attach(Procedure& procedure, Delay delay)
{
    auto state = std::make_shared<TimerState>();
    procedure.addWillExecuteBlockObserver([state, delay](Procedure& unit) {
        auto clock = quendal::Runtime::shared().clockPointer();
        auto seconds = delay.interval(clock->now());
        auto task = quendal::spawn(engineEventExecutor(),
                                   cancelWhenDue(clock, seconds, unit.weak_from_this(), delay));
        std::lock_guard lock(state->mutex);
        if (state->finished)
            task.cancel();
        else
            state->timer = std::move(task);
    });
    procedure.addDidFinishBlockObserver([state](Procedure&, Procedure::Error) {
        quendal::Task timer;
        {
            std::lock_guard lock(state->mutex);
            state->finished = true;
            timer = std::move(state->timer);
        }
        timer.cancel();
    });
}

} // namespace tarnel
