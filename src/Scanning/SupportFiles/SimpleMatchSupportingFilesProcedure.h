#pragma once

#include "Scanning/Procedures/Procedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"
#include "Scanning/SupportFiles/ApplicationIdentity.h"
#include "Scanning/SupportFiles/ApplicationResourceGroup.h"
#include "Scanning/SupportFiles/ApplicationSupportFiles.h"

#include <memory>
#include <vector>

namespace tarnel {

// The leftovers of one application (and its children) among the shared support files: eleven
// groups, one per category in a fixed order, empty ones included. Binaries are not its part.
class SimpleMatchSupportingFilesProcedure : public Procedure,
                                            public ProcedureOutput<std::vector<ApplicationResourceGroup>> {
public:
    SimpleMatchSupportingFilesProcedure(std::vector<ApplicationIdentity> bundles,
                                        std::shared_ptr<const ApplicationSupportFiles> supportFiles);

    // The same eleven groups, computed on the calling thread.
    static std::vector<ApplicationResourceGroup> matchAll(const std::vector<ApplicationIdentity>& bundles,
                                                          const ApplicationSupportFiles& supportFiles);

protected:
    void execute() override;

private:
    std::vector<ApplicationIdentity> bundles_;
    std::shared_ptr<const ApplicationSupportFiles> supportFiles_;
};

} // namespace tarnel
