#pragma once

#include "Scanning/Procedures/GroupProcedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"
#include "Scanning/SupportFiles/ApplicationSupportFiles.h"

#include <memory>
#include <vector>

namespace tarnel {

// Reads the support folders once for all applications: a shallow walk of each folder, in
// parallel, each keeping every entry it meets. A folder that can't be read leaves its part
// empty without an error. The output is shared read-only by the matchers.
class SupportFilesScanProcedure : public GroupProcedure,
                                  public ProcedureOutput<std::shared_ptr<const ApplicationSupportFiles>> {
public:
    explicit SupportFilesScanProcedure(const SupportLocations& locations = SupportLocations::current());

private:
    std::vector<SupportFolderScan> scans_;
    // One slot per folder, written only by that folder's link; fields are assembled in folder
    // order at the end, so the result doesn't depend on which walk ended first.
    std::vector<FileCollector::Files> found_;
};

} // namespace tarnel
