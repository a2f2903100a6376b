#include "Scanning/SupportFiles/ApplicationResourceGroup.h"

#include <array>

namespace tarnel {

namespace {

using Category = ApplicationResourceGroup::Category;

struct CategoryText {
    Category category;
    std::string_view rawValue;
    std::string_view key;
    std::string_view title;
};

constexpr std::array categoryTexts{
    CategoryText{Category::binaries, "binaries", "application_resource_binaries", "Binaries"},
    CategoryText{Category::caches, "caches", "application_resource_caches", "Caches"},
    CategoryText{Category::containers, "containers", "application_resource_containers", "Containers"},
    CategoryText{Category::groupContainers, "groupContainers", "application_resource_group_containers",
                 "Group Containers"},
    CategoryText{Category::supportFiles, "supportFiles", "application_resource_support_files", "Support Files"},
    CategoryText{Category::preferences, "preferences", "application_resource_preferences", "Preferences"},
    CategoryText{Category::helperTools, "helperTools", "application_resource_helper_tools", "Helper Tools"},
    CategoryText{Category::loginItems, "loginItems", "application_resource_login_items", "Login Items"},
    CategoryText{Category::scripts, "scripts", "application_resource_scripts", "Scripts"},
    CategoryText{Category::plugins, "plugins", "application_resource_plugins", "Plugins"},
    CategoryText{Category::logs, "logs", "application_resource_logs", "Logs"},
    CategoryText{Category::other, "other", "application_resource_other", "Other"},
};

const CategoryText& textOf(Category category) { return categoryTexts[static_cast<std::size_t>(category)]; }

} // namespace

ApplicationResource ApplicationResource::from(const FileNode& node)
{
    return ApplicationResource{std::string(node.name()), node.url(), node.size(), node.type()};
}

std::int64_t ApplicationResourceGroup::size() const
{
    std::int64_t total = 0;
    for (const auto& file : files)
        total += file.size;
    return total;
}

std::string_view ApplicationResourceGroup::rawValue(Category category) { return textOf(category).rawValue; }

std::optional<ApplicationResourceGroup::Category>
ApplicationResourceGroup::categoryFromRawValue(std::string_view rawValue)
{
    for (const auto& text : categoryTexts)
        if (text.rawValue == rawValue)
            return text.category;
    return std::nullopt;
}

ApplicationResourceGroup::Title ApplicationResourceGroup::title(Category category)
{
    return {textOf(category).key, textOf(category).title};
}

} // namespace tarnel
