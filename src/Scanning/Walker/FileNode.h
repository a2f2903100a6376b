#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// One entry of a walk. Identity is the URL: the path plus the directory flag. A node holds its
// parent weakly, so a node kept alone does not keep the tree; it keeps only the path of its
// folder, one string shared by all entries of that folder.
class FileNode {
public:
    // The order of the kernel's vnode types; the walker only creates file and directory nodes.
    enum class NodeType : int { none, file, directory, block, character, link, socket, fifo, bad, string, complex };
    static std::optional<NodeType> nodeType(int rawValue);

    // The keys a node encodes, in order; parent stays out to break the parent/children cycle.
    static constexpr std::string_view codingKeys[] = {"url", "size", "children", "parent", "type",
                                                      "fileExtension", "icon", "kind", "allParents"};

    // `path` is absolute; trailing slashes are dropped.
    FileNode(std::string path, const std::shared_ptr<FileNode>& parent, std::int64_t size, NodeType type);
    // An entry `name` of the folder at `folderPath`, whose node is `parent`.
    FileNode(std::shared_ptr<const std::string> folderPath, std::string_view name,
             const std::shared_ptr<FileNode>& parent, std::int64_t size, NodeType type);

    std::string path() const;
    // "file://" and the percent-encoded path, with a trailing slash for a directory.
    std::string url() const;
    std::string_view name() const { return name_; }
    // The text after the last dot of the name, empty when there is none.
    std::string_view fileExtension() const;

    std::int64_t size() const { return size_.load(std::memory_order_relaxed); }
    void addSize(std::int64_t bytes) { size_.fetch_add(bytes, std::memory_order_relaxed); }

    NodeType type() const { return type_; }
    bool isDirectory() const { return type_ == NodeType::directory; }
    std::shared_ptr<FileNode> parent() const { return parent_.lock(); }
    // Ancestors from the parent up to the root, while they are alive.
    std::vector<std::shared_ptr<FileNode>> allParents() const;

    // Filled in tree mode, in listing order. One writer: the traversal of this directory;
    // read only after the walk.
    const std::vector<std::shared_ptr<FileNode>>& children() const { return children_; }
    void appendChild(std::shared_ptr<FileNode> child) { children_.push_back(std::move(child)); }
    void reserveChildren(std::size_t count) { children_.reserve(children_.size() + count); }

    bool operator==(const FileNode& other) const;
    std::size_t hash() const;

private:
    std::shared_ptr<const std::string> folderPath_; // null when name_ is the whole path
    std::string name_;
    std::weak_ptr<FileNode> parent_;
    std::atomic<std::int64_t> size_;
    NodeType type_;
    std::vector<std::shared_ptr<FileNode>> children_;
};

// A path without trailing slashes ("/" stays "/").
std::string normalizedDirectoryPath(std::string path);
// Path components as a file URL counts them: "/" is one, "/a/b" three.
int pathComponentCount(std::string_view path);

} // namespace tarnel
