#pragma once

#include "Scanning/Procedures/ProcedureStatus.h"

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tarnel {

class GroupProcedure;
class ProcedureQueue;

// Tag of the initialisers whose units finish only through an explicit finish().
struct DisableAutomaticFinishing {};

// One asynchronous unit of work. It runs execute() once on a worker thread of its queue after
// every dependency has finished, and stays executing until finish() is called. Units are
// always held by std::shared_ptr; each scan builds new ones.
class Procedure : public std::enable_shared_from_this<Procedure> {
public:
    using Error = std::exception_ptr;
    using Observer = std::function<void(Procedure&)>;
    using ErrorObserver = std::function<void(Procedure&, Error)>;

    Procedure() = default;
    explicit Procedure(DisableAutomaticFinishing) : automaticFinishingDisabled_(true) {}
    virtual ~Procedure() = default;
    Procedure(const Procedure&) = delete;
    Procedure& operator=(const Procedure&) = delete;

    ProcedureStatus status() const;
    bool isCancelled() const;
    bool isExecuting() const;
    // True once the unit ended in any way: finished, failed or cancelled.
    bool isFinished() const;
    Error error() const;

    QualityOfService qualityOfService() const;
    void setQualityOfService(QualityOfService quality);
    bool isAutomaticFinishingDisabled() const { return automaticFinishingDisabled_; }

    std::string name() const;
    void setName(std::string name);

    // The unit starts only after each dependency ended, however it ended.
    void addDependency(std::shared_ptr<Procedure> dependency);
    void addDependencies(const std::vector<std::shared_ptr<Procedure>>& dependencies);
    std::vector<std::shared_ptr<Procedure>> dependencies() const;

    // Ends the unit; the second and later calls do nothing. Callable from any thread.
    void finish(Error error = nullptr);
    // Marks the unit cancelled and tells it once. A running unit is not stopped: it notices and
    // finishes itself. A unit that has not started never executes and ends as cancelled.
    void cancel();
    void cancel(Error error);

    void addWillExecuteBlockObserver(Observer block);
    void addDidCancelBlockObserver(ErrorObserver block);
    void addWillFinishBlockObserver(ErrorObserver block);
    void addDidFinishBlockObserver(ErrorObserver block);

    // Blocks the calling thread until the unit ended.
    void waitUntilFinished() const;

protected:
    // Runs on a worker thread of the queue, once, only when not cancelled at the start.
    virtual void execute() = 0;
    // Runs once on the thread that cancelled, with the error given to cancel (or null).
    virtual void procedureDidCancel(Error) {}

private:
    friend class ProcedureQueue;
    friend class GroupProcedure;

    // Called by the queue on a worker thread once the unit may start.
    void start();
    bool allDependenciesFinished() const;
    // Engine listeners, called after the observers; run at once when the event already happened.
    void whenFinished(std::function<void()> listener);
    void whenCancelled(std::function<void()> listener);
    // A unit joins at most one queue.
    bool claimForQueue();

    mutable std::mutex mutex_;
    mutable std::condition_variable finishedCondition_;
    ProcedureStatus status_ = ProcedureStatus::pending;
    bool cancelled_ = false;
    bool started_ = false;
    bool finishing_ = false;
    bool enqueued_ = false;
    bool ended_ = false;
    Error error_;
    QualityOfService quality_ = QualityOfService::standard;
    const bool automaticFinishingDisabled_ = false;
    std::string name_;
    std::vector<std::shared_ptr<Procedure>> dependencies_;
    std::vector<Observer> willExecute_;
    std::vector<ErrorObserver> didCancel_;
    std::vector<ErrorObserver> willFinish_;
    std::vector<ErrorObserver> didFinish_;
    std::vector<std::function<void()>> finishListeners_;
    std::vector<std::function<void()>> cancelListeners_;
};

} // namespace tarnel
