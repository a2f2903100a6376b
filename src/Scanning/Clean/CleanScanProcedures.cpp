#include "Scanning/Clean/CleanScanProcedures.h"

#include "Scanning/Applications/ApplicationScanProcedures.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

#include <algorithm>

namespace tarnel {

namespace {

class FilterCollector : public FileCollector {
public:
    explicit FilterCollector(std::function<bool(const FileNode&)> keeps) : keeps_(std::move(keeps)) {}

protected:
    bool evaluator(const FileNode& node) override { return !keeps_ || keeps_(node); }

private:
    std::function<bool(const FileNode&)> keeps_;
};

} // namespace

ApplicationBundleScanProcedure::ApplicationBundleScanProcedure(ApplicationLocations locations)
    : locations_(std::move(locations))
{
    setQualityOfService(QualityOfService::userInitiated);
}

void ApplicationBundleScanProcedure::execute()
{
    std::vector<ApplicationBundle> bundles;
    for (const auto& item : ApplicationScanProcedure::systemApplications(locations_, true)) {
        ApplicationBundle bundle{item->url, item->bundleInfo, item->iconPath};
        if (!bundle.icon && !item->iconName.empty())
            bundle.icon = item->iconName;
        bundles.push_back(std::move(bundle));
    }
    setOutputValue(std::move(bundles));
    finish();
}

CleanMatchingScanProcedure::CleanMatchingScanProcedure(std::string url, std::vector<ApplicationBundle> applications)
    : CleanMatchingScanProcedure(std::vector<Walk>{{std::move(url), 1, {}}}, std::move(applications))
{
}

CleanMatchingScanProcedure::CleanMatchingScanProcedure(std::vector<Walk> walks,
                                                       std::vector<ApplicationBundle> applications)
{
    setQualityOfService(QualityOfService::userInitiated);
    setMaxConcurrentOperationCount(1);
    std::vector<std::shared_ptr<FileCollector>> collectors;
    std::vector<std::shared_ptr<Procedure>> children;
    for (auto& walk : walks) {
        auto collector = std::make_shared<FilterCollector>(walk.keeps);
        collectors.push_back(collector);
        children.push_back(std::make_shared<FileScanProcedure>(
            std::move(walk.url), std::vector<std::shared_ptr<FileCollector>>{collector}, false, walk.depth));
    }
    auto link = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([this, collectors, applications] {
        FileCollector::Files kept;
        for (const auto& collector : collectors) {
            auto files = collector->files();
            // Walker threads deliver in any order; the screens want a stable one.
            std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a->path() < b->path(); });
            kept.insert(kept.end(), files.begin(), files.end());
        }
        std::vector<std::string> folders;
        std::vector<CleanScanItem> items;
        for (const auto& node : kept) {
            auto path = node->path();
            bool inside = std::any_of(folders.begin(), folders.end(), [&path](const std::string& folder) {
                return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
            });
            if (inside)
                continue;
            if (node->isDirectory())
                folders.push_back(path);
            if (node->size() >= 0)
                items.push_back(label(node, applications));
        }
        setOutputValue(std::move(items));
    }));
    for (const auto& child : children)
        link->addDependency(child);
    children.push_back(link);
    addChildren(children);
}

CleanScanItem CleanMatchingScanProcedure::label(const std::shared_ptr<FileNode>& node,
                                                const std::vector<ApplicationBundle>& applications)
{
    std::string_view name = node->name();
    auto owner = std::find_if(applications.begin(), applications.end(), [name](const ApplicationBundle& bundle) {
        return !bundle.bundleInfo.identifier.empty() && name.find(bundle.bundleInfo.identifier) != std::string_view::npos;
    });
    if (owner == applications.end())
        owner = std::find_if(applications.begin(), applications.end(), [name](const ApplicationBundle& bundle) {
            return !bundle.bundleInfo.name.empty() && name.find(bundle.bundleInfo.name) != std::string_view::npos;
        });
    std::optional<std::string> label;
    std::optional<std::string> icon;
    if (owner != applications.end()) {
        label = owner->bundleInfo.name + " Caches";
        icon = owner->icon;
    }
    return *CleanScanItem::make(node, {}, std::move(label), std::move(icon));
}

std::vector<CleanMatchingScanProcedure::Walk> userLogWalks(const SupportLocations& locations)
{
    auto isLog = [](const FileNode& node) {
        auto name = node.name();
        return name == "log" || name == "logs" || name.ends_with(".log");
    };
    auto isSessionLog = [](const FileNode& node) { return node.name().starts_with(".xsession-errors"); };
    return {{locations.stateHome, 3, isLog}, {locations.cacheHome, 3, isLog}, {locations.home, 1, isSessionLog}};
}

} // namespace tarnel
