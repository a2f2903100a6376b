#pragma once

#include "Scanning/Procedures/Procedure.h"
#include "Scanning/Procedures/ProcedureQueue.h"

#include <mutex>
#include <vector>

namespace tarnel {

// A unit made of children that run on an inner queue. It finishes when all children have
// ended (at once when it has none); cancelling it cancels every child.
class GroupProcedure : public Procedure {
public:
    explicit GroupProcedure(std::vector<std::shared_ptr<Procedure>> operations = {});
    GroupProcedure(DisableAutomaticFinishing tag, std::vector<std::shared_ptr<Procedure>> operations = {});

    // Children added while the group executes join its inner queue at once.
    void addChildren(const std::vector<std::shared_ptr<Procedure>>& children);
    void addChild(std::shared_ptr<Procedure> child) { addChildren({std::move(child)}); }
    std::vector<std::shared_ptr<Procedure>> children() const;

    int maxConcurrentOperationCount() const { return queue_.maxConcurrentOperationCount(); }
    void setMaxConcurrentOperationCount(int count) { queue_.setMaxConcurrentOperationCount(count); }

protected:
    void execute() override;
    void procedureDidCancel(Error error) override;

private:
    void track(const std::vector<std::shared_ptr<Procedure>>& children);
    void childDidFinish();

    ProcedureQueue queue_;
    mutable std::mutex childrenMutex_;
    std::vector<std::shared_ptr<Procedure>> children_;
    std::size_t unfinished_ = 0;
    bool executing_ = false;
};

} // namespace tarnel
