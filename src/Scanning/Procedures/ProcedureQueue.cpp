#include "Scanning/Procedures/ProcedureQueue.h"

#include <algorithm>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

namespace tarnel {

struct ProcedureQueue::State : std::enable_shared_from_this<State> {
    struct Entry {
        std::shared_ptr<Procedure> procedure;
        bool started = false;
        bool holdsSlot = false;
    };

    mutable std::mutex mutex;
    mutable std::condition_variable drained;
    std::list<Entry> entries;
    int running = 0;
    int width = defaultMaxConcurrentOperationCount;
    QualityOfService quality = QualityOfService::standard;

    // Starts every unit that may start now, in the order of adding.
    void schedule()
    {
        std::vector<std::shared_ptr<Procedure>> starting;
        {
            std::lock_guard lock(mutex);
            for (auto& entry : entries) {
                if (entry.started)
                    continue;
                // A cancelled unit ends at once without executing, so it waits for nothing.
                bool cancelled = entry.procedure->isCancelled();
                if (!cancelled && !entry.procedure->allDependenciesFinished())
                    continue;
                if (!cancelled) {
                    if (width > 0 && running >= width)
                        continue;
                    ++running;
                    entry.holdsSlot = true;
                }
                entry.started = true;
                starting.push_back(entry.procedure);
            }
        }
        for (auto& procedure : starting)
            std::thread([procedure] { procedure->start(); }).detach();
    }

    void didFinish(const Procedure* procedure)
    {
        {
            std::lock_guard lock(mutex);
            auto it = std::find_if(entries.begin(), entries.end(),
                                   [&](const Entry& entry) { return entry.procedure.get() == procedure; });
            if (it != entries.end()) {
                if (it->holdsSlot)
                    --running;
                entries.erase(it);
            }
            if (entries.empty())
                drained.notify_all();
        }
        schedule();
    }
};

ProcedureQueue::ProcedureQueue() : state_(std::make_shared<State>()) {}

// Units already handed over keep running; those still waiting are left behind.
ProcedureQueue::~ProcedureQueue() = default;

int ProcedureQueue::maxConcurrentOperationCount() const
{
    std::lock_guard lock(state_->mutex);
    return state_->width;
}

void ProcedureQueue::setMaxConcurrentOperationCount(int count)
{
    {
        std::lock_guard lock(state_->mutex);
        state_->width = count > 0 ? count : defaultMaxConcurrentOperationCount;
    }
    state_->schedule();
}

QualityOfService ProcedureQueue::qualityOfService() const
{
    std::lock_guard lock(state_->mutex);
    return state_->quality;
}

void ProcedureQueue::setQualityOfService(QualityOfService quality)
{
    std::lock_guard lock(state_->mutex);
    state_->quality = quality;
}

void ProcedureQueue::addOperation(std::shared_ptr<Procedure> procedure) { addOperations({std::move(procedure)}); }

void ProcedureQueue::addOperations(const std::vector<std::shared_ptr<Procedure>>& procedures)
{
    std::weak_ptr<State> weak = state_;
    std::vector<std::shared_ptr<Procedure>> added;
    {
        std::lock_guard lock(state_->mutex);
        for (const auto& procedure : procedures) {
            if (!procedure || !procedure->claimForQueue())
                continue;
            state_->entries.push_back({procedure});
            added.push_back(procedure);
        }
    }
    auto reschedule = [weak] {
        if (auto state = weak.lock())
            state->schedule();
    };
    for (const auto& procedure : added) {
        for (const auto& dependency : procedure->dependencies())
            dependency->whenFinished(reschedule);
        procedure->whenCancelled(reschedule);
        procedure->whenFinished([weak, raw = procedure.get()] {
            if (auto state = weak.lock())
                state->didFinish(raw);
        });
    }
    state_->schedule();
}

void ProcedureQueue::cancelAllOperations()
{
    for (const auto& procedure : operations())
        procedure->cancel();
}

std::vector<std::shared_ptr<Procedure>> ProcedureQueue::operations() const
{
    std::lock_guard lock(state_->mutex);
    std::vector<std::shared_ptr<Procedure>> result;
    for (const auto& entry : state_->entries)
        result.push_back(entry.procedure);
    return result;
}

std::size_t ProcedureQueue::operationCount() const
{
    std::lock_guard lock(state_->mutex);
    return state_->entries.size();
}

void ProcedureQueue::waitUntilAllOperationsAreFinished() const
{
    std::unique_lock lock(state_->mutex);
    state_->drained.wait(lock, [this] { return state_->entries.empty(); });
}

} // namespace tarnel
