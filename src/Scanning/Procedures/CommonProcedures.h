#pragma once

#include "Scanning/Procedures/BlockProcedure.h"
#include "Scanning/Procedures/GroupProcedure.h"

#include <functional>
#include <memory>
#include <vector>

namespace tarnel {

// A unit that finishes on the main actor, so that everything queued there before it has run
// when its dependents start. Cancelled, it finishes at once.
std::shared_ptr<BlockProcedure> makeNoOpProcedure();

// Runs a block on the main actor and finishes after the block returned.
class RunOnMainProcedure : public Procedure {
public:
    explicit RunOnMainProcedure(std::function<void()> block) : block_(std::move(block)) {}

protected:
    void execute() override;

private:
    std::function<void()> block_;
};

// A group that runs `procedures` one at a time in list order. A child that is cancelled or
// fails cancels the group with its error.
std::shared_ptr<GroupProcedure> makeSequentialGroup(const std::vector<std::shared_ptr<Procedure>>& procedures);

} // namespace tarnel
