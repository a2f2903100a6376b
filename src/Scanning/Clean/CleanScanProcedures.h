#pragma once

#include "Scanning/Applications/ApplicationLocations.h"
#include "Scanning/Applications/BundleInfo.h"
#include "Scanning/Clean/CleanScanItem.h"
#include "Scanning/Procedures/GroupProcedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// An installed application as far as naming caches and logs goes.
struct ApplicationBundle {
    std::string url;
    BundleInfo bundleInfo;
    std::optional<std::string> icon; // icon file, or the theme name when no file was found

    bool operator==(const ApplicationBundle& other) const { return url == other.url; }
};

// The system's applications, the desktop's own included: their names label cache folders.
class ApplicationBundleScanProcedure : public Procedure, public ProcedureOutput<std::vector<ApplicationBundle>> {
public:
    explicit ApplicationBundleScanProcedure(ApplicationLocations locations);

protected:
    void execute() override;

private:
    ApplicationLocations locations_;
};

// Entries of folders, each labelled with the application it belongs to: the first whose
// identifier, else the first whose name, is contained in the entry's name (case-sensitive).
// A folder counts as one item; an entry inside another kept entry is not kept again.
class CleanMatchingScanProcedure : public GroupProcedure, public ProcedureOutput<std::vector<CleanScanItem>> {
public:
    struct Walk {
        std::string url;
        int depth = 1;
        // Which entries count; all of them when empty.
        std::function<bool(const FileNode&)> keeps = {};
    };

    CleanMatchingScanProcedure(std::string url, std::vector<ApplicationBundle> applications);
    CleanMatchingScanProcedure(std::vector<Walk> walks, std::vector<ApplicationBundle> applications);

    // "<name> Caches" and the application's icon for an entry that belongs to one.
    static CleanScanItem label(const std::shared_ptr<FileNode>& node, const std::vector<ApplicationBundle>& applications);
};

// Log files and log folders of the user's applications: entries named "*.log", "log" or
// "logs" at most three levels below the state and cache folders, and ~/.xsession-errors*.
std::vector<CleanMatchingScanProcedure::Walk> userLogWalks(const SupportLocations& locations);

// A step whose group another part of the scanner fills: until then it finds nothing.
class EmptyCleanStepProcedure : public Procedure, public ProcedureOutput<std::vector<CleanScanItem>> {
protected:
    void execute() override
    {
        setOutputValue({});
        finish();
    }
};

} // namespace tarnel
