#pragma once

#include "Scanning/Procedures/BlockStorage.h"
#include "Scanning/Procedures/Procedure.h"

namespace tarnel {

// A block unit that can watch for a block which never calls finish(): with `timeout`, the unit
// is cancelled after timeoutInterval() seconds and a warning names the mistake. The warning
// does not finish the unit.
class AsyncProcedure : public Procedure {
public:
    using Storage = BlockStorage<AsyncProcedure>;

    // Class-wide, in seconds; 3.0 unless changed.
    static double timeoutInterval();
    static void setTimeoutInterval(double seconds);

    AsyncProcedure(bool timeout, Storage::SelfBlock block);
    explicit AsyncProcedure(Storage::VoidBlock block);

    const Storage& storage() const { return storage_; }

protected:
    void execute() override;
    void procedureDidCancel(Error error) override;

private:
    Storage storage_;
};

} // namespace tarnel
