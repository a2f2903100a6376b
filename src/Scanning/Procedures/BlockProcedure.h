#pragma once

#include "Scanning/Procedures/BlockStorage.h"
#include "Scanning/Procedures/Procedure.h"

namespace tarnel {

// Runs a stored block. An asSelf block must call finish() on every path; an asVoid block's unit
// finishes when the block returns (with the error it threw), unless automatic finishing is off.
class BlockProcedure : public Procedure {
public:
    using Storage = BlockStorage<BlockProcedure>;

    explicit BlockProcedure(Storage storage) : storage_(std::move(storage)) {}
    BlockProcedure(DisableAutomaticFinishing tag, Storage storage)
        : Procedure(tag), storage_(std::move(storage))
    {
    }

protected:
    void execute() override;

private:
    Storage storage_;
};

} // namespace tarnel
