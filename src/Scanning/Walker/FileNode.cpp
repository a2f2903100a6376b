#include "Scanning/Walker/FileNode.h"

#include <functional>

namespace tarnel {

std::optional<FileNode::NodeType> FileNode::nodeType(int rawValue)
{
    if (rawValue < 0 || rawValue > static_cast<int>(NodeType::complex))
        return std::nullopt;
    return static_cast<NodeType>(rawValue);
}

FileNode::FileNode(std::string path, const std::shared_ptr<FileNode>& parent, std::int64_t size, NodeType type)
    : parent_(parent), size_(size), type_(type)
{
    path = normalizedDirectoryPath(std::move(path));
    auto slash = path.rfind('/');
    if (slash == std::string::npos || path == "/") {
        name_ = std::move(path);
        return;
    }
    folderPath_ = std::make_shared<const std::string>(slash == 0 ? std::string("/") : path.substr(0, slash));
    name_ = path.substr(slash + 1);
}

FileNode::FileNode(std::shared_ptr<const std::string> folderPath, std::string_view name,
                   const std::shared_ptr<FileNode>& parent, std::int64_t size, NodeType type)
    : folderPath_(std::move(folderPath)), name_(name), parent_(parent), size_(size), type_(type)
{
}

std::string FileNode::path() const
{
    if (!folderPath_)
        return name_;
    std::string path;
    path.reserve(folderPath_->size() + 1 + name_.size());
    path.append(*folderPath_);
    if (path.back() != '/')
        path += '/';
    path.append(name_);
    return path;
}

bool FileNode::operator==(const FileNode& other) const
{
    return isDirectory() == other.isDirectory() && name_ == other.name_ && path() == other.path();
}

std::string FileNode::url() const
{
    static constexpr char hex[] = "0123456789ABCDEF";
    const std::string path = this->path();
    std::string url = "file://";
    url.reserve(path.size() + 8);
    for (unsigned char c : path) {
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
                     c == '-' || c == '_' || c == '.' || c == '~';
        if (plain) {
            url += static_cast<char>(c);
        } else {
            url += '%';
            url += hex[c >> 4];
            url += hex[c & 0xF];
        }
    }
    if (isDirectory() && url.back() != '/')
        url += '/';
    return url;
}

std::string_view FileNode::fileExtension() const
{
    auto base = name();
    auto dot = base.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return {};
    return base.substr(dot + 1);
}

std::vector<std::shared_ptr<FileNode>> FileNode::allParents() const
{
    std::vector<std::shared_ptr<FileNode>> result;
    for (auto node = parent(); node; node = node->parent())
        result.push_back(node);
    return result;
}

std::size_t FileNode::hash() const { return std::hash<std::string>{}(path()) ^ (isDirectory() ? 0x9e3779b9u : 0u); }

std::string normalizedDirectoryPath(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

int pathComponentCount(std::string_view path)
{
    int count = path.starts_with('/') ? 1 : 0;
    bool inName = false;
    for (char c : path) {
        if (c == '/') {
            inName = false;
        } else if (!inName) {
            inName = true;
            ++count;
        }
    }
    return count;
}

} // namespace tarnel
