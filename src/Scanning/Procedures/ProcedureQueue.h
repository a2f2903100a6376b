#pragma once

#include "Scanning/Procedures/Procedure.h"

#include <memory>
#include <vector>

namespace tarnel {

// Runs units once their dependencies ended, at most maxConcurrentOperationCount at a time, and
// among ready units in the order they were added. Each executing unit gets a thread of its
// own, since a scanning unit may block it for the length of a walk.
class ProcedureQueue {
public:
    // No limit on how many units execute at once.
    static constexpr int defaultMaxConcurrentOperationCount = -1;

    ProcedureQueue();
    ~ProcedureQueue();
    ProcedureQueue(const ProcedureQueue&) = delete;
    ProcedureQueue& operator=(const ProcedureQueue&) = delete;

    int maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(int count);
    QualityOfService qualityOfService() const;
    void setQualityOfService(QualityOfService quality);

    // Neither waits. A unit that is already in a queue is not added again.
    void addOperation(std::shared_ptr<Procedure> procedure);
    void addOperations(const std::vector<std::shared_ptr<Procedure>>& procedures);
    void cancelAllOperations();

    // Units added and not yet ended.
    std::vector<std::shared_ptr<Procedure>> operations() const;
    std::size_t operationCount() const;
    void waitUntilAllOperationsAreFinished() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace tarnel
