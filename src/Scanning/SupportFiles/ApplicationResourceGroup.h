#pragma once

#include "Scanning/Walker/FileNode.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// A file or folder that belongs to an application and goes with it.
struct ApplicationResource {
    std::string name; // last path component
    std::string url;
    std::int64_t size = 0; // folders are measured later
    FileNode::NodeType type = FileNode::NodeType::file;

    static ApplicationResource from(const FileNode& node);
    bool operator==(const ApplicationResource& other) const { return url == other.url; }
};

// An application's resources of one kind.
struct ApplicationResourceGroup {
    enum class Category {
        binaries,
        caches,
        containers,
        groupContainers,
        supportFiles,
        preferences,
        helperTools,
        loginItems,
        scripts,
        plugins,
        logs,
        other,
    };
    struct Title {
        std::string_view key;
        std::string_view defaultText;
    };

    Category category;
    std::vector<ApplicationResource> files;

    std::int64_t size() const;

    static std::string_view rawValue(Category category);
    static std::optional<Category> categoryFromRawValue(std::string_view rawValue);
    static Title title(Category category);
};

} // namespace tarnel
