#pragma once

#include "Scanning/Procedures/ProcedureKitError.h"

namespace tarnel {

class Procedure;

// Cancels a unit with ProcedureKitError::timedOut when it has not finished within the delay
// from the moment it starts executing. Time comes from the runtime's clock.
class TimeoutObserver {
public:
    // Adds the observer to `procedure`; it lives as long as the unit's observers do.
    static void attach(Procedure& procedure, Delay delay);
};

} // namespace tarnel
