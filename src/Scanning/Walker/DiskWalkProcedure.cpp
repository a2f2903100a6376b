#include "Scanning/Walker/DiskWalkProcedure.h"

#include "Scanning/ScanLog.h"

namespace tarnel {

DiskWalkProcedure::DiskWalkProcedure(std::string url, bool searchBundles, std::optional<int> depthLimit,
                                     bool buildTree, std::vector<std::shared_ptr<FileCollector>> collectors)
    : url_(normalizedDirectoryPath(std::move(url))), searchBundles_(searchBundles), depthLimit_(depthLimit),
      buildTree_(buildTree), collectors_(std::move(collectors))
{
    setQualityOfService(QualityOfService::userInitiated);
}

std::shared_ptr<DiskScanner> DiskWalkProcedure::scanner() const
{
    std::lock_guard lock(scannerMutex_);
    return scanner_;
}

void DiskWalkProcedure::execute()
{
    auto scanner = std::make_shared<DiskScanner>(DiskScanner::ProgressHandler{}, buildTree_);
    scanner->collectors = collectors_;
    scanner->settings.searchBundles = searchBundles_;
    auto root = std::make_shared<FileNode>(url_, nullptr, 0, FileNode::NodeType::directory);
    if (depthLimit_)
        scanner->settings.maxDepth = pathComponentCount(root->path()) + *depthLimit_;
    {
        std::lock_guard lock(scannerMutex_);
        scanner_ = scanner;
    }
    // A cancel that came before the scanner was stored found nothing to stop.
    if (isCancelled())
        scanner->cancel();

    auto result = std::make_shared<DiskScanResult>(scanner->walk(root));
    {
        std::lock_guard lock(scannerMutex_);
        scanner_.reset();
    }
    setOutputValue(std::move(result));
    finish();
}

void DiskWalkProcedure::procedureDidCancel(Error)
{
    std::shared_ptr<DiskScanner> scanner;
    {
        std::lock_guard lock(scannerMutex_);
        scanner = std::move(scanner_);
    }
    if (scanner) {
        scanner->cancel();
        ScanLog::shared().log(ScanLogLevel::debug, "DiskScanner Stop");
    }
    logDidCancel();
}

FileScanProcedure::FileScanProcedure(std::string url, std::vector<std::shared_ptr<FileCollector>> collectors,
                                     bool searchBundles, std::optional<int> depthLimit)
    : DiskWalkProcedure(std::move(url), searchBundles, depthLimit, false, collectors),
      collectors_(std::move(collectors))
{
}

void FileScanProcedure::logDidCancel() { ScanLog::shared().log(ScanLogLevel::error, "Procedure Did Cancel"); }

DiskMapProcedure::DiskMapProcedure(std::string url, bool searchBundles, std::optional<int> depthLimit)
    : DiskWalkProcedure(std::move(url), searchBundles, depthLimit, true, {})
{
}

void DiskMapProcedure::logDidCancel() { ScanLog::shared().log(ScanLogLevel::debug, "Did Cancel"); }

} // namespace tarnel
