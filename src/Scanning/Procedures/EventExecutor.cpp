#include "Scanning/Procedures/EventExecutor.h"

#include <stdexcept>

namespace tarnel {

quendal::Executor engineEventExecutor()
{
    try {
        return quendal::Runtime::shared().mainExecutor();
    } catch (const std::logic_error&) {
        return quendal::Runtime::shared().backgroundExecutor();
    }
}

} // namespace tarnel
