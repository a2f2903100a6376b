#include "Scanning/Applications/ApplicationScanner.h"

#include "Scanning/Applications/ApplicationReader.h"
#include "Scanning/Applications/ApplicationScanProcedures.h"
#include "Scanning/Collectors/FileProcedures.h"
#include "Scanning/Procedures/BlockProcedure.h"
#include "Scanning/Procedures/ProcedureChain.h"
#include "Scanning/ScanLog.h"
#include "Scanning/SupportFiles/SimpleMatchSupportingFilesProcedure.h"
#include "Scanning/SupportFiles/SupportFilesScanProcedure.h"

#include <asio/post.hpp>

namespace tarnel {

using Category = ApplicationResourceGroup::Category;

ApplicationScanner& ApplicationScanner::shared()
{
    static ApplicationScanner scanner;
    return scanner;
}

ApplicationScanner::ApplicationScanner(SupportLocations locations, ScanStatusText statusText)
    : locations_(std::move(locations)), applicationLocations_(ApplicationLocations::from(locations_)),
      statusText_(std::move(statusText))
{
    queue_.setMaxConcurrentOperationCount(1);
    queue_.setQualityOfService(QualityOfService::userInitiated);
}

ApplicationScanner::~ApplicationScanner()
{
    queue_.cancelAllOperations();
    queue_.waitUntilAllOperationsAreFinished();
}

bool ApplicationScanner::isRunning() const
{
    std::lock_guard lock(mutex_);
    return isRunning_;
}

std::vector<std::shared_ptr<ApplicationItem>> ApplicationScanner::applications() const
{
    std::lock_guard lock(mutex_);
    return applications_;
}

std::shared_ptr<const ApplicationSupportFiles> ApplicationScanner::supportFiles() const
{
    std::lock_guard lock(mutex_);
    return supportFiles_;
}

void ApplicationScanner::report(Category category, double progress)
{
    auto status = statusText_.about(ApplicationResourceGroup::title(category).defaultText);
    listeners_.post([status, progress](ApplicationScannerListener& listener) { listener.applicationScannerDidUpdate(status, progress); });
}

void ApplicationScanner::start()
{
    {
        std::lock_guard lock(mutex_);
        if (isRunning_) {
            ScanLog::shared().log(ScanLogLevel::error, "Application Scanner is already running");
            return;
        }
        isRunning_ = true;
    }
    listeners_.post([](ApplicationScannerListener& listener) { listener.applicationScannerDidStart(); });

    auto system = std::make_shared<ApplicationScanProcedure>(applicationLocations_);
    auto systemLink = makeChainLink<ApplicationScanProcedure>(system, [this](const ApplicationScanOutput& output) {
        {
            std::lock_guard lock(mutex_);
            applications_ = output.applications;
        }
        report(Category::binaries, 0.05);
    });
    auto user = std::make_shared<OtherApplicationsScanProcedure>(applicationLocations_);
    user->addDependency(systemLink);
    auto userLink = makeChainLink<OtherApplicationsScanProcedure>(user, [this](const ApplicationScanOutput& output) {
        {
            std::lock_guard lock(mutex_);
            mergeByIdentifier(applications_, output.applications);
        }
        report(Category::supportFiles, 0.15);
    });
    auto support = std::make_shared<SupportFilesScanProcedure>(locations_);
    support->addDependency(userLink);
    auto supportLink = makeChainLink<SupportFilesScanProcedure>(
        support, [this](const std::shared_ptr<const ApplicationSupportFiles>& files) {
            {
                std::lock_guard lock(mutex_);
                supportFiles_ = files;
            }
            report(Category::logs, 0.25);
        });
    auto toStageA = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid([this] {
        asio::post(engineEventExecutor(), [this] { runStageA(); });
    }));
    toStageA->addDependency(supportLink);
    queue_.addOperations({system, systemLink, user, userLink, support, supportLink, toStageA});
}

void ApplicationScanner::addStage(std::vector<std::shared_ptr<Procedure>> units, std::function<void()> next)
{
    auto last = std::make_shared<BlockProcedure>(BlockProcedure::Storage::asVoid(
        [next = std::move(next)] { asio::post(engineEventExecutor(), next); }));
    last->addDependencies(units);
    units.push_back(last);
    queue_.addOperations(units);
}

void ApplicationScanner::runStageA()
{
    report(Category::containers, 0.35);
    std::vector<std::shared_ptr<Procedure>> units;
    for (const auto& application : applications()) {
        if (application->binaries.files.empty())
            continue;
        auto path = application->binaries.files.front().url.substr(std::string_view("file://").size());
        if (path.size() > 1 && path.ends_with('/'))
            path.pop_back();
        auto bundle =
            std::make_shared<BundleScanProcedure>(path, application->bundleInfo.identifier, applicationLocations_);
        auto link = makeChainLink<BundleScanProcedure>(bundle, [application](const BundleScanOutput& output) {
            application->binaries.files.front().size = application->installedSize.value_or(output.size);
            application->childApplications.clear();
            application->childIdentities.clear();
            for (const auto& child : output.childApplications) {
                application->childApplications.push_back(child->bundleInfo);
                application->childIdentities.push_back(child->identity);
            }
        });
        units.push_back(bundle);
        units.push_back(link);
    }
    addStage(std::move(units), [this] {
        report(Category::supportFiles, 0.55);
        runStageB();
    });
}

void ApplicationScanner::runStageB()
{
    std::vector<std::shared_ptr<Procedure>> units;
    auto files = supportFiles();
    if (!files)
        files = std::make_shared<ApplicationSupportFiles>();
    for (const auto& application : applications()) {
        std::vector<ApplicationIdentity> identities{application->identity};
        identities.insert(identities.end(), application->childIdentities.begin(), application->childIdentities.end());
        auto match = std::make_shared<SimpleMatchSupportingFilesProcedure>(std::move(identities), files);
        auto link = makeChainLink<SimpleMatchSupportingFilesProcedure>(
            match, [application](const std::vector<ApplicationResourceGroup>& groups) { application->resources = groups; });
        units.push_back(match);
        units.push_back(link);
    }
    addStage(std::move(units), [this] { runStageC(); });
}

void ApplicationScanner::runStageC()
{
    std::vector<std::shared_ptr<Procedure>> units;
    auto measure = [&units](ApplicationResource& resource) {
        auto path = resource.url.substr(std::string_view("file://").size());
        if (path.size() > 1 && path.ends_with('/'))
            path.pop_back();
        auto size = std::make_shared<SizeProcedure>(path);
        auto* target = &resource;
        units.push_back(size);
        units.push_back(makeChainLink<SizeProcedure>(size, [target](const std::int64_t& bytes) { target->size = bytes; }));
    };
    // Resources live in their applications, which the scanner keeps until the next scan.
    for (const auto& application : applications()) {
        for (auto& group : application->resources)
            for (auto& resource : group.files)
                if (resource.type == FileNode::NodeType::directory)
                    measure(resource);
        for (auto& resource : application->binaries.files)
            if (resource.size == 0)
                measure(resource);
    }
    report(Category::supportFiles, 0.85);
    addStage(std::move(units), [this] {
        {
            std::lock_guard lock(mutex_);
            isRunning_ = false;
        }
        listeners_.post([](ApplicationScannerListener& listener) { listener.applicationScannerDidFinish(); });
    });
}

} // namespace tarnel
