#pragma once

#include "Scanning/Walker/FileNode.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tarnel {

// One thing the Clean screens offer: a file or folder, or a grouping of sub-items.
struct CleanScanItem {
    std::shared_ptr<FileNode> file;
    std::optional<std::string> nameOverride;
    std::optional<std::string> iconOverride; // an icon file or theme name
    std::uint64_t size = 0;
    std::vector<CleanScanItem> children;

    // The file's size, or the children's sum without a file. A node of negative (unknown) size
    // gives no item.
    static std::optional<CleanScanItem> make(std::shared_ptr<FileNode> file, std::vector<CleanScanItem> children = {},
                                             std::optional<std::string> name = std::nullopt,
                                             std::optional<std::string> icon = std::nullopt);

    // The override, else the file's last path component, else absent.
    std::optional<std::string> name() const;
    // The override only: the platform's icon for a path is the view's to find.
    std::optional<std::string> icon() const { return iconOverride; }
    std::string path() const { return file ? file->path() : std::string(); }

    // Equal file URLs, names and children; the size is not part of it.
    bool operator==(const CleanScanItem& other) const;
    // Text that equal items share and unequal ones don't.
    std::string key() const;
};

// A set of items in insertion order.
class CleanScanItemSet {
public:
    // False when an equal item is already in.
    bool insert(CleanScanItem item);
    void insert(const CleanScanItemSet& other);
    void subtract(const CleanScanItemSet& other);
    bool contains(const CleanScanItem& item) const { return index_.contains(item.key()); }
    // Sets the size of the item equal to `item`, if it is in.
    void setSize(const CleanScanItem& item, std::uint64_t size);

    const std::vector<CleanScanItem>& items() const { return items_; }
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    std::uint64_t totalSize() const;

private:
    void reindex();

    std::vector<CleanScanItem> items_;
    std::unordered_map<std::string, std::size_t> index_;
};

} // namespace tarnel
