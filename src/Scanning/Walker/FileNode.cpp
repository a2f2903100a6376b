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
    : path_(normalizedDirectoryPath(std::move(path))), parent_(parent), size_(size), type_(type)
{
}

std::string FileNode::url() const
{
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string url = "file://";
    url.reserve(path_.size() + 8);
    for (unsigned char c : path_) {
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

std::string_view FileNode::name() const
{
    std::string_view path = path_;
    if (path == "/")
        return path;
    auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
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

std::size_t FileNode::hash() const { return std::hash<std::string>{}(path_) ^ (isDirectory() ? 0x9e3779b9u : 0u); }

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
