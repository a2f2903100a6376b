#pragma once

#include "Scanning/Walker/FileNode.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tarnel {

// A named filter shown every node of a walk; it keeps the nodes it accepts. The base class
// accepts every node. Walker threads call collect() in parallel; the collector's lock
// serialises them.
class FileCollector {
public:
    using Files = std::vector<std::shared_ptr<FileNode>>;
    using Callback = std::function<void(const Files&)>;

    FileCollector() = default;
    virtual ~FileCollector() = default;
    FileCollector(const FileCollector&) = delete;
    FileCollector& operator=(const FileCollector&) = delete;

    virtual std::string name() const { return "filesAndDirectories"; }

    // Evaluates the node and keeps it when accepted, then hands the callback all kept nodes,
    // still inside the lock.
    void collect(const std::shared_ptr<FileNode>& node);

    // Read after the walk, or through the callback.
    Files files() const;
    void setDidCollectFileCallback(Callback callback);

    bool operator==(const FileCollector& other) const { return name() == other.name(); }
    std::size_t hash() const { return std::hash<std::string>{}(name()); }

protected:
    // Runs inside the collector's lock.
    virtual bool evaluator(const FileNode&) { return true; }

private:
    mutable std::mutex mutex_;
    Files files_;
    Callback didCollectFileCallback_;
};

} // namespace tarnel
