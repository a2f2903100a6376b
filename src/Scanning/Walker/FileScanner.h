#pragma once

#include "QuendalFoundation/Runtime/RepeatingTimer.h"
#include "Scanning/Collectors/SearchFileCollector.h"
#include "Scanning/Procedures/ProcedureQueue.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnel {

// A live search below one folder: every node the evaluators accept, reported on the main actor
// every 0.1 seconds while the walk runs and once at its end. Make it with std::make_shared.
class FileScanner : public std::enable_shared_from_this<FileScanner> {
public:
    using Update = std::function<void(const FileCollector::Files&, std::int64_t)>;
    struct Callbacks {
        Update scanUpdate;
        Update didFinishScanningFiles;
    };

    FileScanner(std::string url, std::vector<SearchFileCollector::Evaluator> evaluators);

    Callbacks callbacks;

    // Call start() and stop() on the main actor.
    void start();
    void stop();
    bool isRunning() const { return running_.load(); }
    const std::string& url() const { return url_; }

private:
    std::string url_;
    std::vector<SearchFileCollector::Evaluator> evaluators_;
    std::atomic<bool> running_{false};
    quendal::RepeatingTimer updateTimer_;
    ProcedureQueue queue_;
};

} // namespace tarnel
