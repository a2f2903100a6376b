#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/thread_pool.hpp>

#include <algorithm>
#include <stdexcept>

namespace quendal {

Runtime& Runtime::shared()
{
    static Runtime runtime;
    return runtime;
}

Runtime::Runtime() : clock_(std::make_shared<SystemClock>()) {}

Runtime::~Runtime()
{
    if (pool_)
        pool_->join();
}

Executor Runtime::mainExecutor() const
{
    std::lock_guard lock(mutex_);
    if (!main_)
        throw std::logic_error("No main executor was set for this process");
    return *main_;
}

void Runtime::setMainExecutor(Executor executor, std::thread::id thread)
{
    std::lock_guard lock(mutex_);
    main_ = std::move(executor);
    mainThread_ = thread;
}

void Runtime::resetMainExecutor()
{
    std::lock_guard lock(mutex_);
    main_.reset();
    mainThread_ = {};
}

bool Runtime::isMainThread() const
{
    std::lock_guard lock(mutex_);
    return main_ && mainThread_ == std::this_thread::get_id();
}

Executor Runtime::backgroundExecutor()
{
    std::lock_guard lock(mutex_);
    if (!pool_) {
        auto threads = std::max(4u, std::thread::hardware_concurrency());
        pool_ = std::make_unique<asio::thread_pool>(threads);
    }
    return pool_->get_executor();
}

Clock& Runtime::clock() const
{
    std::lock_guard lock(mutex_);
    return *clock_;
}

std::shared_ptr<Clock> Runtime::clockPointer() const
{
    std::lock_guard lock(mutex_);
    return clock_;
}

void Runtime::setClock(std::shared_ptr<Clock> clock)
{
    std::lock_guard lock(mutex_);
    clock_ = clock ? std::move(clock) : std::make_shared<SystemClock>();
}

} // namespace quendal
