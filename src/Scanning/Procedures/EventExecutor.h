#pragma once

#include "QuendalFoundation/Runtime/Runtime.h"

namespace tarnel {

// Where the engine runs its timers and main-queue hops: the main actor when the process has
// one, the background pool otherwise.
quendal::Executor engineEventExecutor();

} // namespace tarnel
