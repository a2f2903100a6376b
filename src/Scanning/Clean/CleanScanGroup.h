#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace tarnel {

enum class CleanScanGroup {
    downloads,
    userCache,
    systemLogs,
    userLogs,
    developer,
    packages,
    diskImages,
    largeFiles,
    mailAttachments,
};

inline constexpr std::array allCleanScanGroups{
    CleanScanGroup::downloads,  CleanScanGroup::userCache, CleanScanGroup::systemLogs,
    CleanScanGroup::userLogs,   CleanScanGroup::developer, CleanScanGroup::packages,
    CleanScanGroup::diskImages, CleanScanGroup::largeFiles, CleanScanGroup::mailAttachments,
};

struct LocalizedText {
    std::string_view key;
    std::string_view defaultText;
};

std::string_view rawValue(CleanScanGroup group);
std::optional<CleanScanGroup> cleanScanGroup(std::string_view rawValue);
LocalizedText title(CleanScanGroup group);
// Keyed by the title key plus "_description"; worded for a Linux desktop.
LocalizedText description(CleanScanGroup group);
std::string_view iconName(CleanScanGroup group);

} // namespace tarnel
