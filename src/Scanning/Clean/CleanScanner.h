#pragma once

#include "Scanning/Applications/ApplicationLocations.h"
#include "Scanning/Clean/CleanScanGroup.h"
#include "Scanning/Clean/CleanScanItem.h"
#include "Scanning/Clean/CleanScanProcedures.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/ScanProgress.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace tarnel {

// Where a Clean scan looks.
struct CleanLocations {
    SupportLocations support;
    std::string systemLogs; // /var/log
    std::string downloads;  // the XDG download folder
    std::string desktop;    // the XDG desktop folder

    static CleanLocations from(const SupportLocations& support);
};

// A step that another part of the scanner provides: its unit, and what it found once it ended.
struct CleanStep {
    std::shared_ptr<Procedure> unit;
    std::function<std::vector<CleanScanItem>()> items;
};
using CleanStepFactory = std::function<CleanStep(const CleanLocations&)>;

// Finds what is safe to delete, in nine groups, by a fixed pipeline of steps that run one at a
// time: the applications (to name caches), user logs, user caches, system logs, Downloads,
// Desktop, the home queries for packages, disk images and large files, the developer and mail
// steps, and at last the sizes of the folders found. Listener calls arrive on the main actor.
class CleanScanner {
public:
    static CleanScanner& shared();

    explicit CleanScanner(CleanLocations locations = CleanLocations::from(SupportLocations::current()),
                          ScanStatusText statusText = ScanStatusText());
    ~CleanScanner();
    CleanScanner(const CleanScanner&) = delete;
    CleanScanner& operator=(const CleanScanner&) = delete;

    // The developer and mail steps; without one, its step finds nothing.
    void setDeveloperStep(CleanStepFactory factory) { developerStep_ = std::move(factory); }
    void setMailStep(CleanStepFactory factory) { mailStep_ = std::move(factory); }

    // A second call while a scan runs logs an error and does nothing. The groups that steps add
    // to keep what an earlier scan found until clear().
    void start();
    void clear();
    bool isRunning() const;

    // A group never stored reads as empty.
    CleanScanItemSet group(CleanScanGroup group) const;
    std::map<CleanScanGroup, CleanScanItemSet> groups() const;
    std::vector<ApplicationBundle> allApplications() const;

    void addListener(const std::shared_ptr<CleanScannerListener>& listener) { listeners_.add(listener); }
    void removeListener(const std::shared_ptr<CleanScannerListener>& listener) { listeners_.remove(listener); }

    static constexpr std::int64_t largeFileThreshold = 100'000'000;

private:
    void report(CleanScanGroup group, double progress);
    void report(const std::string& status, double progress);
    void buildPipeline();
    void sortOutLargeFiles();
    void runSizeStage();
    void store(CleanScanGroup group, const std::vector<CleanScanItem>& items, bool add);

    CleanLocations locations_;
    ScanStatusText statusText_;
    ScanListeners<CleanScannerListener> listeners_;
    CleanStepFactory developerStep_;
    CleanStepFactory mailStep_;
    ProcedureQueue queue_;
    mutable std::mutex mutex_;
    bool isRunning_ = false;
    std::map<CleanScanGroup, CleanScanItemSet> groups_;
    std::vector<ApplicationBundle> allApplications_;
};

} // namespace tarnel
