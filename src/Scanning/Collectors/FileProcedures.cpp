#include "Scanning/Collectors/FileProcedures.h"

#include "QuendalFoundation/Runtime/Runtime.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

namespace tarnel {

SimpleFileScanProcedure::SimpleFileScanProcedure(std::string url, std::vector<FileCollectorOptions> options, int depth)
{
    std::vector<std::shared_ptr<FileCollector>> collectors;
    collectors.reserve(options.size());
    for (auto option : options)
        collectors.push_back(makeCollector(option));
    auto walk = std::make_shared<FileScanProcedure>(std::move(url), collectors, false, depth);
    walk->setQualityOfService(QualityOfService::userInitiated);
    auto link = makeChainLink<DiskWalkProcedure>(walk, [this, collectors](const std::shared_ptr<DiskScanResult>&) {
        std::map<std::string, FileCollector::Files> dictionary;
        // A later collector of the same name replaces an earlier one.
        for (const auto& collector : collectors)
            dictionary[collector->name()] = collector->files();
        setOutputValue(std::move(dictionary));
    });
    addChildren({walk, link});
}

GroupFileScanProcedure::GroupFileScanProcedure(std::vector<std::string> urls,
                                               std::vector<std::shared_ptr<FileCollector>> collectors,
                                               bool searchBundles, std::optional<int> depthLimit)
{
    setQualityOfService(QualityOfService::userInitiated);
    setMaxConcurrentOperationCount(1);
    std::vector<std::shared_ptr<Procedure>> children;
    for (auto& url : urls) {
        auto walk = std::make_shared<FileScanProcedure>(std::move(url), collectors, searchBundles, depthLimit);
        auto link = makeChainLink<DiskWalkProcedure>(walk, [this](const std::shared_ptr<DiskScanResult>& result) {
            std::lock_guard lock(mutex_);
            scanResults_.push_back(*result);
        });
        children.push_back(walk);
        children.push_back(link);
    }
    addChildren(children);
    addWillExecuteBlockObserver([this](Procedure&) {
        std::lock_guard lock(mutex_);
        startDate_ = quendal::Runtime::shared().clock().now();
    });
    addWillFinishBlockObserver([this](Procedure&, Error) {
        DiskScanResult total;
        std::lock_guard lock(mutex_);
        if (startDate_)
            total.elapsed = quendal::Clock::toSeconds(quendal::Runtime::shared().clock().now() - *startDate_);
        for (const auto& result : scanResults_)
            total.totalFilesScanned += result.totalFilesScanned;
        setOutputValue(std::move(total));
    });
}

std::vector<DiskScanResult> GroupFileScanProcedure::scanResults() const
{
    std::lock_guard lock(mutex_);
    return scanResults_;
}

SizeProcedure::SizeProcedure(std::string url)
{
    setQualityOfService(QualityOfService::userInitiated);
    auto collector = std::make_shared<SizeCollector>();
    std::vector<std::shared_ptr<FileCollector>> collectors{collector};
    auto walk = std::make_shared<FileScanProcedure>(std::move(url), collectors, true, std::nullopt);
    auto link = makeChainLink<DiskWalkProcedure>(
        walk, [this, collector](const std::shared_ptr<DiskScanResult>&) { setOutputValue(collector->totalSize()); });
    addChildren({walk, link});
}

} // namespace tarnel
