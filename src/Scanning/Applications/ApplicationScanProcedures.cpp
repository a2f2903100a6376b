#include "Scanning/Applications/ApplicationScanProcedures.h"

#include "Scanning/Applications/ApplicationMetadata.h"
#include "Scanning/Applications/ApplicationReader.h"
#include "Scanning/Collectors/FileCollectors.h"
#include "Scanning/Collectors/FileProcedures.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/ScanLog.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> subfolders(const std::string& folder)
{
    std::vector<std::string> result;
    std::error_code failure;
    for (fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, failure), end;
         !failure && it != end; it.increment(failure)) {
        std::error_code typeFailure;
        if (it->is_directory(typeFailure))
            result.push_back(it->path().string());
    }
    std::sort(result.begin(), result.end());
    return result;
}

void add(std::vector<std::shared_ptr<ApplicationItem>>& list, std::optional<ApplicationItem> item,
         const std::string& error)
{
    if (item)
        list.push_back(std::make_shared<ApplicationItem>(std::move(*item)));
    else
        ScanLog::shared().log(ScanLogLevel::debug, "Not an application: " + error);
}

// Application images and the desktop entries inside a root; its own entry is told apart later.
class NestedApplicationCollector : public FileCollector {
public:
    std::string name() const override { return "nestedApplications"; }

protected:
    bool evaluator(const FileNode& node) override
    {
        return !node.isDirectory() && hasSuffix(node.name(), {".AppImage", ".desktop"});
    }
};

} // namespace

ApplicationScanProcedure::ApplicationScanProcedure(ApplicationLocations locations) : locations_(std::move(locations))
{
    setQualityOfService(QualityOfService::userInitiated);
}

std::vector<std::shared_ptr<ApplicationItem>> ApplicationScanProcedure::systemApplications(
    const ApplicationLocations& locations, bool keepProtected)
{
    ApplicationReader reader(locations);
    std::vector<std::shared_ptr<ApplicationItem>> found;
    std::string error;
    for (const auto& folder : locations.systemFlatpakApps)
        for (const auto& app : subfolders(folder))
            add(found, reader.readFlatpak(app, false, &error), error);
    for (const auto& folder : locations.snaps)
        for (const auto& snap : subfolders(folder))
            if (fs::path(snap).filename() != "bin")
                add(found, reader.readSnap(snap, &error), error);
    for (const auto& folder : locations.systemEntryFolders)
        for (const auto& [path, id] : desktopEntriesIn(folder))
            add(found, reader.readEntry(path, id, false, &error), error);
    for (const auto& root : subfolders(locations.optFolder))
        add(found, reader.readOptRoot(root, &error), error);
    if (!keepProtected)
        std::erase_if(found, [](const auto& item) { return isProtectedApplication(*item); });
    std::vector<std::shared_ptr<ApplicationItem>> merged;
    mergeByIdentifier(merged, found);
    return merged;
}

void ApplicationScanProcedure::execute()
{
    setOutputValue({systemApplications(locations_, false), {}});
    finish();
}

ApplicationIconsScanProcedure::ApplicationIconsScanProcedure(ApplicationLocations locations)
    : locations_(std::move(locations))
{
    setQualityOfService(QualityOfService::utility);
}

void ApplicationIconsScanProcedure::execute()
{
    IconResolver large(locations_.iconDataDirs, 256);
    std::vector<std::string> offered;
    std::vector<std::string> desktops;
    for (const auto& item : ApplicationScanProcedure::systemApplications(locations_, true)) {
        auto icon = large.resolve(item->iconName);
        if (!icon)
            icon = item->iconPath;
        if (!icon && !item->iconName.empty())
            icon = item->iconName;
        if (icon)
            (isProtectedApplication(*item) ? desktops : offered).push_back(*icon);
    }
    for (const auto& icon : desktops) {
        if (offered.size() >= fillUpTo)
            break;
        offered.push_back(icon);
    }
    setOutputValue(std::move(offered));
    finish();
}

OtherApplicationsScanProcedure::OtherApplicationsScanProcedure(ApplicationLocations locations)
{
    setQualityOfService(QualityOfService::userInitiated);
    auto images = std::make_shared<ApplicationCollector>();
    auto walk = std::make_shared<GroupFileScanProcedure>(
        locations.userImageFolders, std::vector<std::shared_ptr<FileCollector>>{images}, false, depthLimit);
    auto link = makeChainLink<GroupFileScanProcedure>(walk, [this, images, locations](const DiskScanResult&) {
        ScanLog::shared().log(ScanLogLevel::info, "Initiated Other Apps Result Processor");
        ApplicationReader reader(locations);
        std::vector<std::shared_ptr<ApplicationItem>> found;
        std::string error;
        for (const auto& folder : locations.userFlatpakApps)
            for (const auto& app : subfolders(folder))
                add(found, reader.readFlatpak(app, true, &error), error);
        for (const auto& folder : locations.userEntryFolders)
            for (const auto& [path, id] : desktopEntriesIn(folder))
                add(found, reader.readEntry(path, id, true, &error), error);
        for (const auto& node : images->files())
            add(found, reader.readAppImage(node->path(), true, &error), error);
        std::vector<std::shared_ptr<ApplicationItem>> merged;
        mergeByIdentifier(merged, found);
        setOutputValue({std::move(merged), {}});
    });
    addChildren({walk, link});
}

BundleScanProcedure::BundleScanProcedure(std::string url, std::string ownIdentifier, ApplicationLocations locations)
{
    setQualityOfService(QualityOfService::userInitiated);
    struct stat info {};
    if (::stat(url.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        // An image or a desktop entry: nothing nests inside, and a vanished one weighs nothing.
        auto size = ::stat(url.c_str(), &info) == 0 ? static_cast<std::int64_t>(info.st_size) : 0;
        addWillFinishBlockObserver([this, size](Procedure&, Error) { setOutputValue({size, {}}); });
        return;
    }
    auto nested = std::make_shared<NestedApplicationCollector>();
    auto size = std::make_shared<SizeCollector>();
    auto walk = std::make_shared<FileScanProcedure>(
        url, std::vector<std::shared_ptr<FileCollector>>{nested, size}, true, std::nullopt);
    walk->setQualityOfService(QualityOfService::userInitiated);
    auto link = makeChainLink<DiskWalkProcedure>(
        walk, [this, nested, size, ownIdentifier, locations](const std::shared_ptr<DiskScanResult>&) {
            ApplicationReader reader(locations);
            BundleScanOutput output{size->totalSize(), {}};
            auto files = nested->files();
            std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a->path() < b->path(); });
            std::vector<std::string> seen{ownIdentifier};
            for (const auto& node : files) {
                auto child = reader.readNested(node->path());
                if (!child || std::find(seen.begin(), seen.end(), child->bundleInfo.identifier) != seen.end())
                    continue;
                seen.push_back(child->bundleInfo.identifier);
                output.childApplications.push_back(std::make_shared<ApplicationItem>(std::move(*child)));
            }
            setOutputValue(std::move(output));
        });
    addChildren({walk, link});
}

} // namespace tarnel
