#pragma once

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "Platform/Hardware/SmartctlReport.h"

#include <string>

namespace tarnel::daemon {

// The daemon's verdict on a drive from what smartctl read: a health percentage, an overall
// status and each value with its own status. The rule is written down in docs/smart-health.md.
StatsStorageSmartReportSnapshot judgeSmartReport(const std::string& identifier, const platform::SmartctlReport& report,
                                                 Date at);

} // namespace tarnel::daemon
