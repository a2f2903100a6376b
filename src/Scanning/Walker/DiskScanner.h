#pragma once

#include "QuendalFoundation/Runtime/RepeatingTimer.h"
#include "Scanning/Walker/DiskScanResult.h"
#include "Scanning/Walker/FileNode.h"
#include "Scanning/Walker/OperationQueue.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

class DirectoryListing;
class FileCollector;

// The state of one parallel walk of a directory tree. Each directory is listed with one buffer
// and one descriptor, both released before the walk goes below it. A directory of 17 entries
// or more gets an operation of its own while fewer than 16 run; smaller ones are walked on the
// thread that found them. In tree mode nodes form a tree whose directory sizes are summed up
// the parents as the walk goes; in collector mode each node is only shown to the collectors.
class DiskScanner {
public:
    struct Settings {
        // Whether the walk goes into application roots (BundleRule).
        bool searchBundles = false;
        // Absolute limit in path components of a directory: no walk below one that reaches it.
        std::optional<int> maxDepth;
    };
    using ProgressHandler = std::function<void(double, bool)>;

    static constexpr int threadBudget = 16;
    static constexpr std::size_t splitEntryCount = 17;
    // Entries to stat in one batch from which a spare thread of the budget helps.
    static constexpr std::size_t sharedBatchSize = 512;
    static constexpr quendal::Clock::Duration progressInterval = quendal::Clock::fromSeconds(1.0 / 15.0);

    explicit DiskScanner(ProgressHandler progressHandler = {}, bool buildTree = false);
    ~DiskScanner();
    DiskScanner(const DiskScanner&) = delete;
    DiskScanner& operator=(const DiskScanner&) = delete;

    std::vector<std::shared_ptr<FileCollector>> collectors;
    Settings settings;
    bool buildTree;

    // Walks below `root` and blocks until the walk has drained. Call once per scanner.
    DiskScanResult walk(const std::shared_ptr<FileNode>& root);
    // Stops queued work and the creation of new operations; callable from any thread.
    void cancel();

    bool isCancelled() const { return cancelled_.load(); }
    std::int64_t filesScanned() const { return filesScanned_.load(); }
    // Operations enqueued by this walk, the root's included.
    std::int64_t operationsEnqueued() const { return operationsEnqueued_.load(); }
    // Units of the thread budget held by operations queued or running.
    int activeThreads() const { return activeThreads_.load(); }

private:
    // A directory being walked: its path, shared as the folder path of its entries, and in tree
    // mode the chain of folders up to the root that its bytes are added to. The tree keeps
    // those nodes alive for the whole walk.
    struct Folder {
        std::string path;
        FileNode* node;
        std::shared_ptr<const Folder> up;
    };
    struct Visit {
        std::shared_ptr<FileNode> node;
        std::shared_ptr<const Folder> folder;
        int components;
        bool isRoot = false;
    };
    friend struct ScanOperation;
    friend struct AttributeHelper;

    void enqueue(Visit visit, std::unique_ptr<DirectoryListing> listing);
    void traverse(const Visit& visit, bool ownOperation, std::unique_ptr<DirectoryListing> listing);
    void list(const Visit& visit, DirectoryListing& listing, std::vector<Visit>& below);
    bool takeThread();
    void returnThread();

    std::atomic<int> activeThreads_{0};
    ProgressHandler progressHandler_;
    std::unique_ptr<quendal::RepeatingTimer> progressTimer_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    std::atomic<std::int64_t> filesScanned_{0};
    std::atomic<std::int64_t> operationsEnqueued_{0};
    std::atomic<bool> cancelled_{false};
    OperationQueue operationQueue_;
};

} // namespace tarnel
