#pragma once

#include "Scanning/Applications/ApplicationItem.h"
#include "Scanning/Applications/ApplicationLocations.h"
#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/Procedures/GroupProcedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace tarnel {

struct ApplicationScanOutput {
    std::vector<std::shared_ptr<ApplicationItem>> applications; // merged by identifier, in finding order
    FileCollector::Files userData;                              // stays empty: nothing reads it
};

// The applications of the system: Flatpak deployments, snaps, the packaged and hand-made
// desktop entries and the roots under /opt. The desktop's own applications are left out.
class ApplicationScanProcedure : public Procedure, public ProcedureOutput<ApplicationScanOutput> {
public:
    explicit ApplicationScanProcedure(ApplicationLocations locations);

    // Every application of the system places, protected ones included, merged by identifier.
    static std::vector<std::shared_ptr<ApplicationItem>> systemApplications(const ApplicationLocations& locations,
                                                                            bool keepProtected);

protected:
    void execute() override;

private:
    ApplicationLocations locations_;
};

// The user's applications: Flatpaks installed per user, the user's desktop entries, and
// application images up to five levels below Downloads, Desktop, Documents and ~/Applications.
// The desktop's block list is not consulted here.
class OtherApplicationsScanProcedure : public GroupProcedure, public ProcedureOutput<ApplicationScanOutput> {
public:
    explicit OtherApplicationsScanProcedure(ApplicationLocations locations);

    static constexpr int depthLimit = 5;
};

// Icons for the introduction of the uninstaller: the system's applications that are offered,
// then the desktop's own up to 70 in all. Each is an icon file near 256 pixels, else the theme
// name for the view to find; an application without an icon gives none.
class ApplicationIconsScanProcedure : public Procedure, public ProcedureOutput<std::vector<std::string>> {
public:
    static constexpr std::size_t fillUpTo = 70;

    explicit ApplicationIconsScanProcedure(ApplicationLocations locations);

protected:
    void execute() override;

private:
    ApplicationLocations locations_;
};

struct BundleScanOutput {
    std::int64_t size = 0;
    std::vector<std::shared_ptr<ApplicationItem>> childApplications;
};

// The size of an application's root and the applications nested in it (desktop entries and
// images below it other than its own). A root that is one file is its own size.
class BundleScanProcedure : public GroupProcedure, public ProcedureOutput<BundleScanOutput> {
public:
    BundleScanProcedure(std::string url, std::string ownIdentifier, ApplicationLocations locations);
};

} // namespace tarnel
