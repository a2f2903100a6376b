#include "Scanning/Clean/CleanScanner.h"

#include "Scanning/Collectors/FileCollectors.h"
#include "Scanning/Collectors/FileProcedures.h"
#include "Scanning/Collectors/MetadataQuery.h"
#include "Scanning/Procedures/BlockProcedure.h"
#include "Scanning/ScanLog.h"

#include <asio/post.hpp>

namespace tarnel {

namespace {

// Reads a unit's output when it has one; a step that failed or was cancelled found nothing.
template <class Unit>
typename Unit::OutputType outputOf(const Unit& unit)
{
    auto output = unit.output();
    auto result = output.value();
    if (result && result->isSuccess())
        return *result->value();
    return {};
}

std::vector<CleanScanItem> itemsOf(const FileCollector::Files& nodes)
{
    std::vector<CleanScanItem> items;
    for (const auto& node : nodes)
        if (auto item = CleanScanItem::make(node))
            items.push_back(std::move(*item));
    return items;
}

CleanStep emptyStep(const CleanLocations&)
{
    auto unit = std::make_shared<EmptyCleanStepProcedure>();
    return {unit, [unit] { return outputOf(*unit); }};
}

// Appends a block behind `after` and returns it, so the next unit can follow it.
std::shared_ptr<Procedure> then(std::vector<std::shared_ptr<Procedure>>& units, const std::shared_ptr<Procedure>& after,
                                std::function<void()> block)
{
    auto link = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid(std::move(block)));
    link->setQualityOfService(QualityOfService::userInitiated);
    link->addDependency(after);
    units.push_back(link);
    return link;
}

std::shared_ptr<Procedure> follow(std::vector<std::shared_ptr<Procedure>>& units, const std::shared_ptr<Procedure>& before,
                                  std::shared_ptr<Procedure> unit)
{
    if (before)
        unit->addDependency(before);
    units.push_back(unit);
    return unit;
}

} // namespace

CleanLocations CleanLocations::from(const SupportLocations& support)
{
    return {support, support.system("/var/log"), xdgUserDirectory(support, "XDG_DOWNLOAD_DIR", "Downloads"),
            xdgUserDirectory(support, "XDG_DESKTOP_DIR", "Desktop")};
}

CleanScanner& CleanScanner::shared()
{
    static CleanScanner scanner;
    return scanner;
}

CleanScanner::CleanScanner(CleanLocations locations, ScanStatusText statusText)
    : locations_(std::move(locations)), statusText_(std::move(statusText)), developerStep_(emptyStep),
      mailStep_(emptyStep)
{
    queue_.setMaxConcurrentOperationCount(1);
    queue_.setQualityOfService(QualityOfService::userInitiated);
}

CleanScanner::~CleanScanner()
{
    queue_.cancelAllOperations();
    queue_.waitUntilAllOperationsAreFinished();
}

bool CleanScanner::isRunning() const
{
    std::lock_guard lock(mutex_);
    return isRunning_;
}

void CleanScanner::clear()
{
    std::lock_guard lock(mutex_);
    groups_.clear();
}

CleanScanItemSet CleanScanner::group(CleanScanGroup group) const
{
    std::lock_guard lock(mutex_);
    auto found = groups_.find(group);
    return found == groups_.end() ? CleanScanItemSet() : found->second;
}

std::map<CleanScanGroup, CleanScanItemSet> CleanScanner::groups() const
{
    std::lock_guard lock(mutex_);
    return groups_;
}

std::vector<ApplicationBundle> CleanScanner::allApplications() const
{
    std::lock_guard lock(mutex_);
    return allApplications_;
}

void CleanScanner::report(CleanScanGroup group, double progress)
{
    report(statusText_.about(title(group).defaultText), progress);
}

void CleanScanner::report(const std::string& status, double progress)
{
    listeners_.post([status, progress](CleanScannerListener& listener) { listener.cleanScannerDidUpdate(status, progress); });
}

void CleanScanner::store(CleanScanGroup group, const std::vector<CleanScanItem>& items, bool add)
{
    std::lock_guard lock(mutex_);
    auto& set = groups_[group];
    if (!add)
        set = CleanScanItemSet();
    for (const auto& item : items)
        set.insert(item);
}

void CleanScanner::start()
{
    {
        std::lock_guard lock(mutex_);
        if (isRunning_) {
            ScanLog::shared().log(ScanLogLevel::error, "Clean Scanner is already running");
            return;
        }
        isRunning_ = true;
    }
    listeners_.post([](CleanScannerListener& listener) { listener.cleanScannerDidStart(); });
    auto applications = std::make_shared<ApplicationBundleScanProcedure>(ApplicationLocations::from(locations_.support));
    auto link = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([this, applications] {
        {
            std::lock_guard lock(mutex_);
            allApplications_ = outputOf(*applications);
        }
        asio::post(engineEventExecutor(), [this] { buildPipeline(); });
    }));
    link->addDependency(applications);
    queue_.addOperations({applications, link});
}

void CleanScanner::buildPipeline()
{
    report(CleanScanGroup::userLogs, 0.05);
    auto applications = allApplications();
    std::vector<std::shared_ptr<Procedure>> units;

    auto userLogs = std::make_shared<CleanMatchingScanProcedure>(userLogWalks(locations_.support), applications);
    auto last = follow(units, nullptr, userLogs);
    last = then(units, last, [this, userLogs] {
        store(CleanScanGroup::userLogs, outputOf(*userLogs), false);
        report(CleanScanGroup::userCache, 0.15);
    });
    auto caches = std::make_shared<CleanMatchingScanProcedure>(locations_.support.cacheHome, applications);
    last = then(units, follow(units, last, caches), [this, caches] {
        store(CleanScanGroup::userCache, outputOf(*caches), false);
        report(CleanScanGroup::systemLogs, 0.25);
    });
    auto systemLogs = std::make_shared<CleanMatchingScanProcedure>(locations_.systemLogs, applications);
    last = then(units, follow(units, last, systemLogs), [this, systemLogs] {
        store(CleanScanGroup::systemLogs, outputOf(*systemLogs), false);
        report(CleanScanGroup::downloads, 0.35);
    });

    using Option = FileCollectorOptions;
    auto downloads = std::make_shared<SimpleFileScanProcedure>(
        locations_.downloads, std::vector{Option::files, Option::diskImages, Option::packages}, 1);
    last = then(units, follow(units, last, downloads), [this, downloads] {
        auto found = outputOf(*downloads);
        store(CleanScanGroup::downloads, itemsOf(found[std::string(rawValue(Option::files))]), false);
        // Images and packages only ever gain items during a scan; clear() empties them.
        store(CleanScanGroup::diskImages, itemsOf(found[std::string(rawValue(Option::diskImages))]), true);
        store(CleanScanGroup::packages, itemsOf(found[std::string(rawValue(Option::packages))]), true);
        report(CleanScanGroup::diskImages, 0.45);
    });
    auto desktop = std::make_shared<SimpleFileScanProcedure>(locations_.desktop,
                                                             std::vector{Option::diskImages, Option::packages}, 2);
    last = then(units, follow(units, last, desktop), [this, desktop] {
        auto found = outputOf(*desktop);
        store(CleanScanGroup::diskImages, itemsOf(found[std::string(rawValue(Option::diskImages))]), true);
        store(CleanScanGroup::packages, itemsOf(found[std::string(rawValue(Option::packages))]), true);
    });

    // The three home queries share one walk: all are added before the first asks.
    auto index = std::make_shared<HomeQueryWalk>(locations_.support.home);
    auto packageQuery = std::make_shared<MetadataQueryProcedure>(
        MetadataQuery{[](const FileNode& node) { return PackageCollector::isPackage(node.name()); }}, index);
    auto imageQuery = std::make_shared<MetadataQueryProcedure>(
        MetadataQuery{[](const FileNode& node) { return DiskImageCollector::isDiskImage(node.name()); }}, index);
    auto largeQuery = std::make_shared<MetadataQueryProcedure>(MetadataQuery::sizeGreaterThan(largeFileThreshold), index);
    last = then(units, follow(units, last, packageQuery),
                [this, packageQuery] { store(CleanScanGroup::packages, itemsOf(outputOf(*packageQuery)), true); });
    last = then(units, follow(units, last, imageQuery),
                [this, imageQuery] { store(CleanScanGroup::diskImages, itemsOf(outputOf(*imageQuery)), true); });
    last = then(units, last, [this] {
        {
            std::lock_guard lock(mutex_);
            auto& downloadsGroup = groups_[CleanScanGroup::downloads];
            downloadsGroup.subtract(groups_[CleanScanGroup::diskImages]);
            downloadsGroup.subtract(groups_[CleanScanGroup::packages]);
        }
        report(CleanScanGroup::largeFiles, 0.65);
    });
    last = then(units, follow(units, last, largeQuery),
                [this, largeQuery] { store(CleanScanGroup::largeFiles, itemsOf(outputOf(*largeQuery)), false); });
    last = then(units, last, [this] {
        sortOutLargeFiles();
        report(CleanScanGroup::developer, 0.8);
    });

    auto developer = developerStep_(locations_);
    last = then(units, follow(units, last, developer.unit), [this, developer] {
        store(CleanScanGroup::developer, developer.items(), false);
        report(CleanScanGroup::mailAttachments, 0.8);
    });
    auto mail = mailStep_(locations_);
    last = then(units, follow(units, last, mail.unit), [this, mail] {
        store(CleanScanGroup::mailAttachments, mail.items(), false);
        report("Calculating size\u2026", 1.0);
    });
    then(units, last, [this] { asio::post(engineEventExecutor(), [this] { runSizeStage(); }); });
    queue_.addOperations(units);
}

void CleanScanner::sortOutLargeFiles()
{
    std::lock_guard lock(mutex_);
    auto& large = groups_[CleanScanGroup::largeFiles];
    large.subtract(groups_[CleanScanGroup::diskImages]);
    large.subtract(groups_[CleanScanGroup::packages]);
    auto moveOut = [&large](auto matches, CleanScanItemSet* destination) {
        CleanScanItemSet taken;
        for (const auto& item : large.items())
            if (matches(item.name().value_or("")))
                taken.insert(item);
        if (destination)
            destination->insert(taken);
        large.subtract(taken);
    };
    // An application never shows as a large file.
    moveOut([](const std::string& name) { return hasSuffix(name, {".app", ".AppImage"}); }, nullptr);
    moveOut([](const std::string& name) { return PackageCollector::isPackage(name); },
            &groups_[CleanScanGroup::packages]);
    moveOut([](const std::string& name) { return DiskImageCollector::isDiskImage(name); },
            &groups_[CleanScanGroup::diskImages]);
}

void CleanScanner::runSizeStage()
{
    std::vector<std::shared_ptr<Procedure>> units;
    std::shared_ptr<Procedure> previous;
    for (auto groupName : {CleanScanGroup::userLogs, CleanScanGroup::systemLogs, CleanScanGroup::userCache}) {
        auto sizeGroup = std::make_shared<GroupProcedure>();
        sizeGroup->setQualityOfService(QualityOfService::userInitiated);
        std::vector<std::shared_ptr<Procedure>> children;
        auto items = group(groupName);
        for (const auto& item : items.items()) {
            if (!item.file || !item.file->isDirectory())
                continue;
            auto size = std::make_shared<SizeProcedure>(item.file->path());
            auto link = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([this, size, item, groupName] {
                auto bytes = outputOf(*size);
                std::lock_guard lock(mutex_);
                groups_[groupName].setSize(item, static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0)));
            }));
            link->addDependency(size);
            children.push_back(size);
            children.push_back(link);
        }
        sizeGroup->addChildren(children);
        previous = follow(units, previous, sizeGroup);
    }
    then(units, previous, [this] {
        asio::post(engineEventExecutor(), [this] {
            {
                std::lock_guard lock(mutex_);
                isRunning_ = false;
            }
            listeners_.post([](CleanScannerListener& listener) { listener.cleanScannerDidFinish(); });
        });
    });
    queue_.addOperations(units);
}

} // namespace tarnel
