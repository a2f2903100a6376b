#include "Scanning/SupportFiles/SupportFilesScanProcedure.h"

#include "Scanning/Collectors/SearchFileCollector.h"
#include "Scanning/Procedures/BlockProcedure.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

namespace tarnel {

SupportFilesScanProcedure::SupportFilesScanProcedure(const SupportLocations& locations)
    : scans_(supportFolderScans(locations)), found_(scans_.size())
{
    setQualityOfService(QualityOfService::userInitiated);
    std::vector<std::shared_ptr<Procedure>> children;
    std::vector<std::shared_ptr<Procedure>> links;
    for (std::size_t i = 0; i < scans_.size(); ++i) {
        const auto& scan = scans_[i];
        std::shared_ptr<FileCollector> collector;
        if (scan.dotEntriesOnly || !scan.skippedFolders.empty())
            collector = std::make_shared<SearchFileCollector>(std::vector<SearchFileCollector::Evaluator>{
                [scan](const FileNode& node) { return scan.keeps(node); }});
        else
            collector = std::make_shared<FileCollector>();
        auto walk = std::make_shared<FileScanProcedure>(scan.folder, std::vector{collector}, false, scan.depth);
        auto link = makeChainLink<DiskWalkProcedure>(
            walk, [this, i, collector](const std::shared_ptr<DiskScanResult>&) { found_[i] = collector->files(); });
        children.push_back(walk);
        children.push_back(link);
        links.push_back(link);
    }
    auto assemble = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([this] {
        auto files = std::make_shared<ApplicationSupportFiles>();
        for (std::size_t i = 0; i < scans_.size(); ++i) {
            auto& field = (*files).*(scans_[i].field);
            field.insert(field.end(), found_[i].begin(), found_[i].end());
        }
        setOutputValue(std::move(files));
    }));
    assemble->addDependencies(links);
    children.push_back(assemble);
    addChildren(children);
}

} // namespace tarnel
