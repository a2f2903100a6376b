#include "Scanning/SupportFiles/SupportFileMatcher.h"

#include <algorithm>
#include <unordered_set>

namespace tarnel {

std::string asciiLowercase(std::string_view text)
{
    std::string lowered(text);
    for (auto& c : lowered)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return lowered;
}

SupportFileMatcher::SupportFileMatcher(const std::vector<ApplicationIdentity>& bundles)
{
    for (const auto& bundle : bundles) {
        for (const auto& name : bundle.names())
            names_.push_back(asciiLowercase(name));
        for (const auto& identifier : bundle.identifiers())
            identifiers_.push_back(asciiLowercase(identifier));
    }
}

const std::vector<std::string_view>& SupportFileMatcher::blockedWords()
{
    static const std::vector<std::string_view> words{"crashreporter", "freedesktop", "systemd", "gnome",
                                                     "kde",           "dbus",        "pulse",   "pipewire",
                                                     "gtk",           "dconf",       "fontconfig"};
    return words;
}

bool SupportFileMatcher::passesBlockList(std::string_view name)
{
    const auto& words = blockedWords();
    return std::none_of(words.begin(), words.end(),
                        [name](std::string_view word) { return name.find(word) != std::string_view::npos; });
}

std::vector<ApplicationResource> SupportFileMatcher::match(const FileCollector::Files& entries) const
{
    FileCollector::Files matched;
    for (const auto& entry : entries) {
        if (!passesBlockList(entry->name()))
            continue;
        const auto lowered = asciiLowercase(entry->name());
        bool byName = std::find(names_.begin(), names_.end(), lowered) != names_.end();
        bool byIdentifier = !byName && std::any_of(identifiers_.begin(), identifiers_.end(), [&](const std::string& id) {
            return lowered.find(id) != std::string::npos;
        });
        if (byName || byIdentifier)
            matched.push_back(entry);
    }

    std::unordered_set<const FileNode*> set;
    for (const auto& entry : matched)
        set.insert(entry.get());
    std::vector<ApplicationResource> resources;
    for (const auto& entry : matched) {
        // Parent links are weak: an entry whose parent is gone has no ancestor.
        auto parents = entry->allParents();
        bool inside = std::any_of(parents.begin(), parents.end(), [&set](const std::shared_ptr<FileNode>& parent) {
            return set.contains(parent.get());
        });
        if (!inside)
            resources.push_back(ApplicationResource::from(*entry));
    }
    return resources;
}

} // namespace tarnel
