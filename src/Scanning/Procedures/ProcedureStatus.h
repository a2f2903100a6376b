#pragma once

namespace tarnel {

enum class ProcedureStatus { pending, executing, cancelled, failed, finished };

// Raw values are the platform's quality-of-service classes; scanning uses userInitiated.
enum class QualityOfService : int {
    background = 9,
    utility = 17,
    standard = 21,
    userInitiated = 25,
    userInteractive = 33,
};

} // namespace tarnel
