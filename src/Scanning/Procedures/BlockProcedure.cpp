#include "Scanning/Procedures/BlockProcedure.h"

namespace tarnel {

void BlockProcedure::execute()
{
    if (auto block = storage_.selfBlock()) {
        (*block)(*this);
        return;
    }
    try {
        (*storage_.voidBlock())();
    } catch (...) {
        finish(std::current_exception());
        return;
    }
    if (!isAutomaticFinishingDisabled())
        finish();
}

} // namespace tarnel
