#include "Scanning/Walker/FileScanner.h"

#include "Scanning/Procedures/EventExecutor.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/ScanLog.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

#include <asio/post.hpp>

namespace tarnel {

FileScanner::FileScanner(std::string url, std::vector<SearchFileCollector::Evaluator> evaluators)
    : url_(std::move(url)), evaluators_(std::move(evaluators)), updateTimer_(engineEventExecutor(), std::chrono::milliseconds(100))
{
    queue_.setMaxConcurrentOperationCount(1);
    queue_.setQualityOfService(QualityOfService::userInitiated);
}

void FileScanner::start()
{
    if (running_.exchange(true)) {
        ScanLog::shared().log(ScanLogLevel::error, "File Scanner is already running");
        return;
    }
    auto collector = std::make_shared<SearchFileCollector>(evaluators_);
    std::weak_ptr<FileScanner> weak = weak_from_this();
    updateTimer_.setEventHandler([weak, collector] {
        if (auto self = weak.lock(); self && self->callbacks.scanUpdate)
            self->callbacks.scanUpdate(collector->files(), collector->evaluatedCount());
    });

    auto scan = std::make_shared<FileScanProcedure>(url_, std::vector<std::shared_ptr<FileCollector>>{collector},
                                                    true, std::nullopt);
    auto link = makeChainLink<FileScanProcedure>(
        scan, [weak, collector](const std::shared_ptr<DiskScanResult>& result) {
            auto total = result->totalFilesScanned;
            asio::post(engineEventExecutor(), [weak, collector, total] {
                auto self = weak.lock();
                if (!self)
                    return;
                if (self->callbacks.didFinishScanningFiles)
                    self->callbacks.didFinishScanningFiles(collector->files(), total);
                self->running_ = false;
                self->updateTimer_.suspend();
            });
        });
    updateTimer_.resume();
    queue_.addOperations({scan, link});
}

void FileScanner::stop()
{
    if (!isRunning())
        return;
    ScanLog::shared().log(ScanLogLevel::info, "Stop: Cancel all Filescanner operations");
    queue_.cancelAllOperations();
    updateTimer_.suspend();
}

} // namespace tarnel
