#pragma once

#include "Scanning/Applications/ApplicationItem.h"
#include "Scanning/Applications/ApplicationLocations.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/ScanProgress.h"
#include "Scanning/SupportFiles/ApplicationSupportFiles.h"

#include <memory>
#include <mutex>
#include <vector>

namespace tarnel {

// Finds every application and what belongs to it: the system's and the user's applications,
// the support folders, then per application its root's size and nested applications, its
// leftovers, and the sizes of the folders among them. One step at a time on a serial queue;
// the stage builders and listener calls run on the main actor.
class ApplicationScanner {
public:
    static ApplicationScanner& shared();

    explicit ApplicationScanner(SupportLocations locations = SupportLocations::current(),
                                ScanStatusText statusText = ScanStatusText());
    ~ApplicationScanner();
    ApplicationScanner(const ApplicationScanner&) = delete;
    ApplicationScanner& operator=(const ApplicationScanner&) = delete;

    // A second call while a scan runs logs an error and does nothing.
    void start();
    bool isRunning() const;

    // The result, in finding order; stays until the next scan.
    std::vector<std::shared_ptr<ApplicationItem>> applications() const;
    std::shared_ptr<const ApplicationSupportFiles> supportFiles() const;

    void addListener(const std::shared_ptr<ApplicationScannerListener>& listener) { listeners_.add(listener); }
    void removeListener(const std::shared_ptr<ApplicationScannerListener>& listener) { listeners_.remove(listener); }

private:
    void report(ApplicationResourceGroup::Category category, double progress);
    void runStageA();
    void runStageB();
    void runStageC();
    // Adds `units` with a last unit behind them that runs `next` on the main actor.
    void addStage(std::vector<std::shared_ptr<Procedure>> units, std::function<void()> next);

    SupportLocations locations_;
    ApplicationLocations applicationLocations_;
    ScanStatusText statusText_;
    ScanListeners<ApplicationScannerListener> listeners_;
    ProcedureQueue queue_;
    mutable std::mutex mutex_;
    bool isRunning_ = false;
    std::vector<std::shared_ptr<ApplicationItem>> applications_;
    std::shared_ptr<const ApplicationSupportFiles> supportFiles_;
};

} // namespace tarnel
