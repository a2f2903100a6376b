#include "Scanning/Procedures/Procedure.h"

namespace tarnel {

ProcedureStatus Procedure::status() const
{
    std::lock_guard lock(mutex_);
    return status_;
}

bool Procedure::isCancelled() const
{
    std::lock_guard lock(mutex_);
    return cancelled_;
}

bool Procedure::isExecuting() const { return status() == ProcedureStatus::executing; }

bool Procedure::isFinished() const
{
    auto current = status();
    return current != ProcedureStatus::pending && current != ProcedureStatus::executing;
}

Procedure::Error Procedure::error() const
{
    std::lock_guard lock(mutex_);
    return error_;
}

QualityOfService Procedure::qualityOfService() const
{
    std::lock_guard lock(mutex_);
    return quality_;
}

void Procedure::setQualityOfService(QualityOfService quality)
{
    std::lock_guard lock(mutex_);
    quality_ = quality;
}

std::string Procedure::name() const
{
    std::lock_guard lock(mutex_);
    return name_;
}

void Procedure::setName(std::string name)
{
    std::lock_guard lock(mutex_);
    name_ = std::move(name);
}

void Procedure::addDependency(std::shared_ptr<Procedure> dependency)
{
    if (!dependency || dependency.get() == this)
        return;
    std::lock_guard lock(mutex_);
    dependencies_.push_back(std::move(dependency));
}

void Procedure::addDependencies(const std::vector<std::shared_ptr<Procedure>>& dependencies)
{
    for (const auto& dependency : dependencies)
        addDependency(dependency);
}

std::vector<std::shared_ptr<Procedure>> Procedure::dependencies() const
{
    std::lock_guard lock(mutex_);
    return dependencies_;
}

void Procedure::finish(Error error)
{
    std::vector<ErrorObserver> willFinish;
    {
        std::lock_guard lock(mutex_);
        if (finishing_)
            return;
        finishing_ = true;
        if (error)
            error_ = error;
        willFinish = willFinish_;
    }
    auto finalError = this->error();
    // Will-finish observers may still set an output; the unit counts as running until they return.
    for (auto& observer : willFinish)
        observer(*this, finalError);

    std::vector<ErrorObserver> didFinish;
    std::vector<std::function<void()>> listeners;
    {
        std::lock_guard lock(mutex_);
        status_ = cancelled_ ? ProcedureStatus::cancelled
                  : error_   ? ProcedureStatus::failed
                             : ProcedureStatus::finished;
        didFinish.swap(didFinish_);
        listeners.swap(finishListeners_);
        willFinish_.clear();
        willExecute_.clear();
        didCancel_.clear();
        cancelListeners_.clear();
    }
    for (auto& observer : didFinish)
        observer(*this, finalError);
    for (auto& listener : listeners)
        listener();
    std::lock_guard lock(mutex_);
    ended_ = true;
    finishedCondition_.notify_all();
}

void Procedure::cancel() { cancel(nullptr); }

void Procedure::cancel(Error error)
{
    std::vector<ErrorObserver> didCancel;
    std::vector<std::function<void()>> listeners;
    {
        std::lock_guard lock(mutex_);
        if (cancelled_ || finishing_)
            return;
        cancelled_ = true;
        if (error && !error_)
            error_ = error;
        didCancel = didCancel_;
        listeners = cancelListeners_;
    }
    procedureDidCancel(error);
    for (auto& observer : didCancel)
        observer(*this, error);
    for (auto& listener : listeners)
        listener();
}

void Procedure::addWillExecuteBlockObserver(Observer block)
{
    std::lock_guard lock(mutex_);
    willExecute_.push_back(std::move(block));
}

void Procedure::addDidCancelBlockObserver(ErrorObserver block)
{
    std::lock_guard lock(mutex_);
    didCancel_.push_back(std::move(block));
}

void Procedure::addWillFinishBlockObserver(ErrorObserver block)
{
    std::lock_guard lock(mutex_);
    willFinish_.push_back(std::move(block));
}

void Procedure::addDidFinishBlockObserver(ErrorObserver block)
{
    std::lock_guard lock(mutex_);
    didFinish_.push_back(std::move(block));
}

void Procedure::waitUntilFinished() const
{
    std::unique_lock lock(mutex_);
    finishedCondition_.wait(lock, [this] { return ended_; });
}

void Procedure::start()
{
    std::vector<Observer> willExecute;
    bool runs = false;
    {
        std::lock_guard lock(mutex_);
        if (started_ || finishing_)
            return;
        started_ = true;
        runs = !cancelled_;
        if (runs) {
            status_ = ProcedureStatus::executing;
            willExecute = willExecute_;
        }
    }
    if (!runs) {
        finish();
        return;
    }
    for (auto& observer : willExecute)
        observer(*this);
    try {
        execute();
    } catch (...) {
        finish(std::current_exception());
    }
}

bool Procedure::allDependenciesFinished() const
{
    for (const auto& dependency : dependencies())
        if (!dependency->isFinished())
            return false;
    return true;
}

void Procedure::whenFinished(std::function<void()> listener)
{
    {
        std::lock_guard lock(mutex_);
        if (status_ == ProcedureStatus::pending || status_ == ProcedureStatus::executing) {
            finishListeners_.push_back(std::move(listener));
            return;
        }
    }
    listener();
}

void Procedure::whenCancelled(std::function<void()> listener)
{
    {
        std::lock_guard lock(mutex_);
        if (!cancelled_) {
            cancelListeners_.push_back(std::move(listener));
            return;
        }
    }
    listener();
}

bool Procedure::claimForQueue()
{
    std::lock_guard lock(mutex_);
    if (enqueued_)
        return false;
    enqueued_ = true;
    return true;
}

} // namespace tarnel
