#include "Scanning/Walker/DiskScanner.h"

#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/Procedures/EventExecutor.h"
#include "Scanning/ScanLog.h"
#include "Scanning/Walker/BundleRule.h"
#include "Scanning/Walker/DirectoryListing.h"
#include "Scanning/Walker/EntryAttributes.h"
#include "Scanning/Walker/NodeArena.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace tarnel {

// One directory handed to an operation of its own; it holds one unit of the thread budget
// until it has run or was dropped by a cancel.
struct ScanOperation {
    ScanOperation(DiskScanner* owner, DiskScanner::Visit where, std::unique_ptr<DirectoryListing> open)
        : scanner(owner), visit(std::move(where)), listing(std::move(open))
    {
    }
    ScanOperation(ScanOperation&& other) noexcept
        : scanner(std::exchange(other.scanner, nullptr)), visit(std::move(other.visit)),
          listing(std::move(other.listing))
    {
    }
    ScanOperation& operator=(ScanOperation&&) = delete;
    ~ScanOperation()
    {
        if (scanner)
            scanner->returnThread();
    }

    void operator()() { std::exchange(scanner, nullptr)->traverse(visit, true, std::move(listing)); }

    DiskScanner* scanner;
    DiskScanner::Visit visit;
    std::unique_ptr<DirectoryListing> listing;
};

DiskScanner::DiskScanner(ProgressHandler progressHandler, bool tree)
    : buildTree(tree), progressHandler_(std::move(progressHandler))
{
}

DiskScanner::~DiskScanner()
{
    cancel();
    operationQueue_.waitUntilAllOperationsAreFinished();
}

DiskScanResult DiskScanner::walk(const std::shared_ptr<FileNode>& root)
{
    filesScanned_ = 0;
    if (progressHandler_) {
        progressTimer_ = std::make_unique<quendal::RepeatingTimer>(engineEventExecutor(), progressInterval);
        std::weak_ptr<bool> alive = alive_;
        progressTimer_->setEventHandler([alive, handler = progressHandler_] {
            if (alive.lock())
                handler(0.0, false);
        });
        progressTimer_->resume();
    }
    auto& clock = quendal::Runtime::shared().clock();
    auto start = clock.now();
    if (!isCancelled()) {
        ++activeThreads_;
        auto path = root->path();
        auto components = pathComponentCount(path);
        auto folder = std::make_shared<const Folder>(Folder{std::move(path), root.get(), nullptr});
        enqueue(Visit{root, std::move(folder), components, true}, nullptr);
    }
    operationQueue_.waitUntilAllOperationsAreFinished();
    if (progressTimer_)
        progressTimer_->suspend();
    return DiskScanResult{root, quendal::Clock::toSeconds(clock.now() - start), filesScanned()};
}

void DiskScanner::cancel()
{
    cancelled_ = true;
    operationQueue_.cancelAllOperations();
}

void DiskScanner::enqueue(Visit visit, std::unique_ptr<DirectoryListing> listing)
{
    ++operationsEnqueued_;
    operationQueue_.addOperation(ScanOperation(this, std::move(visit), std::move(listing)));
}

// An operation holds its unit of the budget for its whole subtree, so the budget bounds the
// threads really walking; a directory walked on the thread that found it takes none.
bool DiskScanner::takeThread()
{
    int active = activeThreads_.load(std::memory_order_relaxed);
    while (active < threadBudget)
        if (activeThreads_.compare_exchange_weak(active, active + 1))
            return true;
    return false;
}

void DiskScanner::returnThread() { activeThreads_.fetch_sub(1); }

void DiskScanner::traverse(const Visit& visit, bool ownOperation, std::unique_ptr<DirectoryListing> listing)
{
    bool haveBatch = listing != nullptr;
    if (!listing) {
        // A cancelled walk goes below no further directory.
        if (!isCancelled())
            listing = DirectoryListing::open(visit.folder->path, visit.isRoot);
        if (!listing) {
            if (ownOperation)
                returnThread();
            return;
        }
        haveBatch = listing->readBatch();
        // The entry count is known once the first batch is read: a big directory found by a
        // traversal on this thread moves, still open, to an operation of its own.
        if (!ownOperation && haveBatch && listing->entryCount() >= splitEntryCount && takeThread()) {
            if (isCancelled())
                returnThread();
            else
                enqueue(visit, std::move(listing));
            return;
        }
    }

    std::vector<Visit> below;
    while (haveBatch) {
        list(visit, *listing, below);
        haveBatch = listing->readBatch();
    }
    listing.reset();
    for (const auto& next : below)
        traverse(next, false, nullptr);
    if (ownOperation)
        returnThread();
}

// Reads slices of a huge batch beside the thread that lists it; holds a unit of the budget
// until it has run or was dropped by a cancel.
struct AttributeHelper {
    AttributeHelper(DiskScanner* owner, std::shared_ptr<EntryAttributes> batch)
        : scanner(owner), attributes(std::move(batch))
    {
    }
    AttributeHelper(AttributeHelper&& other) noexcept
        : scanner(std::exchange(other.scanner, nullptr)), attributes(std::move(other.attributes))
    {
    }
    AttributeHelper& operator=(AttributeHelper&&) = delete;
    ~AttributeHelper()
    {
        if (scanner)
            scanner->returnThread();
    }

    void operator()() { attributes->readSlices(); }

    DiskScanner* scanner;
    std::shared_ptr<EntryAttributes> attributes;
};

void DiskScanner::list(const Visit& visit, DirectoryListing& listing, std::vector<Visit>& below)
{
    FileNode& parent = *visit.node;
    const std::string& parentPath = visit.folder->path;
    const std::shared_ptr<const std::string> folderPath(visit.folder, &visit.folder->path);
    const int childComponents = visit.components + 1;
    const bool depthAllows = !settings.maxDepth || childComponents < *settings.maxDepth;
    const bool showCollectors = !collectors.empty();
    std::int64_t batchBytes = 0;
    std::int64_t batchNodes = 0;

    std::vector<DirectoryListing::Entry> entries;
    entries.reserve(listing.entryCount());
    listing.forEachEntry([&entries](const DirectoryListing::Entry& entry) { entries.push_back(entry); });
    auto batch = std::make_shared<EntryAttributes>(listing.descriptor(), std::move(entries));
    // A huge batch is shared with a spare thread of the budget, if there is one.
    if (batch->pending() >= sharedBatchSize && takeThread())
        operationQueue_.addOperation(AttributeHelper(this, batch));
    batch->finish();
    if (buildTree)
        parent.reserveChildren(batch->size());

    for (std::size_t i = 0; i < batch->size(); ++i) {
        const auto& entry = batch->entry(i);
        const auto& attributes = batch->attributes(i);
        if (entry.name.empty()) {
            ScanLog::shared().log(ScanLogLevel::info, "Encountered an unknown file");
            continue;
        }
        if (attributes.gone)
            continue;
        // A symbolic link's own size counts for its ancestors although it gets no node.
        batchBytes += attributes.size;
        if (attributes.type != DT_REG && attributes.type != DT_DIR)
            continue;

        const bool directory = attributes.type == DT_DIR;
        const auto nodeType = directory ? FileNode::NodeType::directory : FileNode::NodeType::file;
        // A tree's nodes die together and share chunks; a collected node may live on alone.
        auto node = buildTree ? std::allocate_shared<FileNode>(NodeArenaAllocator<FileNode>(), folderPath, entry.name,
                                                               visit.node, attributes.size, nodeType)
                              : std::make_shared<FileNode>(folderPath, entry.name, visit.node, attributes.size,
                                                           nodeType);
        if (buildTree)
            parent.appendChild(node);
        if (showCollectors)
            for (const auto& collector : collectors)
                collector->collect(node);
        ++batchNodes;

        if (directory && depthAllows && (settings.searchBundles || !BundleRule::isBundle(parentPath, entry.name))) {
            std::string path;
            path.reserve(parentPath.size() + 1 + entry.name.size());
            path.append(parentPath);
            if (path.back() != '/')
                path += '/';
            path.append(entry.name);
            auto folder = std::make_shared<const Folder>(Folder{std::move(path), node.get(), visit.folder});
            below.push_back(Visit{std::move(node), std::move(folder), childComponents, false});
        }
    }

    // Every folder up to the root holds the sum of everything below it, current as the walk goes.
    if (buildTree && batchBytes != 0)
        for (const Folder* folder = visit.folder.get(); folder; folder = folder->up.get())
            folder->node->addSize(batchBytes);
    filesScanned_.fetch_add(batchNodes, std::memory_order_relaxed);
}

} // namespace tarnel
