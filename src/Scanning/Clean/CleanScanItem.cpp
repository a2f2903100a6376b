#include "Scanning/Clean/CleanScanItem.h"

namespace tarnel {

std::optional<CleanScanItem> CleanScanItem::make(std::shared_ptr<FileNode> file, std::vector<CleanScanItem> children,
                                                 std::optional<std::string> name, std::optional<std::string> icon)
{
    CleanScanItem item;
    if (file) {
        if (file->size() < 0)
            return std::nullopt;
        item.size = static_cast<std::uint64_t>(file->size());
    } else {
        for (const auto& child : children)
            item.size += child.size;
    }
    item.file = std::move(file);
    item.children = std::move(children);
    item.nameOverride = std::move(name);
    item.iconOverride = std::move(icon);
    return item;
}

std::optional<std::string> CleanScanItem::name() const
{
    if (nameOverride)
        return nameOverride;
    if (file)
        return std::string(file->name());
    return std::nullopt;
}

bool CleanScanItem::operator==(const CleanScanItem& other) const
{
    return key() == other.key();
}

std::string CleanScanItem::key() const
{
    std::string text = file ? file->url() : std::string("-");
    text += '\x1f';
    text += name().value_or("\x1e");
    if (!children.empty()) {
        text += "\x1d[";
        for (const auto& child : children)
            text += child.key() + "\x1d";
        text += "]";
    }
    return text;
}

bool CleanScanItemSet::insert(CleanScanItem item)
{
    auto [found, added] = index_.emplace(item.key(), items_.size());
    if (added)
        items_.push_back(std::move(item));
    return added;
}

void CleanScanItemSet::insert(const CleanScanItemSet& other)
{
    for (const auto& item : other.items_)
        insert(item);
}

void CleanScanItemSet::subtract(const CleanScanItemSet& other)
{
    auto before = items_.size();
    std::erase_if(items_, [&](const CleanScanItem& item) { return other.contains(item); });
    if (items_.size() != before)
        reindex();
}

void CleanScanItemSet::setSize(const CleanScanItem& item, std::uint64_t size)
{
    auto found = index_.find(item.key());
    if (found != index_.end())
        items_[found->second].size = size;
}

std::uint64_t CleanScanItemSet::totalSize() const
{
    std::uint64_t total = 0;
    for (const auto& item : items_)
        total += item.size;
    return total;
}

void CleanScanItemSet::reindex()
{
    index_.clear();
    for (std::size_t i = 0; i < items_.size(); ++i)
        index_.emplace(items_[i].key(), i);
}

} // namespace tarnel
