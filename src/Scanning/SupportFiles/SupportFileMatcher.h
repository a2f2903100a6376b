#pragma once

#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/SupportFiles/ApplicationIdentity.h"
#include "Scanning/SupportFiles/ApplicationResourceGroup.h"

#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// Decides which entries of the support folders belong to an application and its children, by
// the last path component alone: equal to one of its names, or containing one of its
// reverse-domain ids, both without regard to ASCII case.
class SupportFileMatcher {
public:
    explicit SupportFileMatcher(const std::vector<ApplicationIdentity>& bundles);

    // False for the desktop's own files and crash reporters, whatever application asks:
    // a case-sensitive test for any of these words in the name.
    static bool passesBlockList(std::string_view name);
    static const std::vector<std::string_view>& blockedWords();

    // The entries that pass the block list and match, less those inside another match (a
    // matched folder stands for its contents), in the order given.
    std::vector<ApplicationResource> match(const FileCollector::Files& entries) const;

private:
    std::vector<std::string> names_;
    std::vector<std::string> identifiers_;
};

std::string asciiLowercase(std::string_view text);

} // namespace tarnel
