#include "QuendalFoundation/Runtime/Task.h"

#include "QuendalFoundation/Runtime/Cancellation.h"

#include <asio/dispatch.hpp>
#include <asio/post.hpp>

namespace quendal {

Task& Task::operator=(Task&& other) noexcept
{
    if (this != &other) {
        cancel();
        state_ = std::move(other.state_);
    }
    return *this;
}

Task::~Task() { cancel(); }

void Task::cancel()
{
    auto state = state_;
    if (!state || state->finished.load() || state->cancelRequested.exchange(true))
        return;
    // A cancellation signal is not thread-safe: emit it where the coroutine runs.
    asio::post(state->executor, [state] {
        if (!state->finished.load())
            state->signal.emit(asio::cancellation_type::terminal);
    });
}

std::exception_ptr Task::error() const
{
    if (!state_)
        return nullptr;
    std::lock_guard lock(state_->mutex);
    return state_->error;
}

Task spawn(Executor executor, asio::awaitable<void> work)
{
    Task task;
    task.state_ = std::make_shared<detail::TaskState>(executor);
    auto state = task.state_;
    asio::co_spawn(executor, std::move(work),
                   asio::bind_cancellation_slot(state->signal.slot(), [state](std::exception_ptr error) {
                       if (error && !isCancellation(error)) {
                           std::lock_guard lock(state->mutex);
                           state->error = error;
                       }
                       state->finished = true;
                   }));
    return task;
}

} // namespace quendal
