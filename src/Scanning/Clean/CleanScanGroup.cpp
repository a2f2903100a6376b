#include "Scanning/Clean/CleanScanGroup.h"

#include <algorithm>

namespace tarnel {

namespace {

struct GroupTexts {
    std::string_view raw;
    LocalizedText title;
    LocalizedText description;
    std::string_view icon;
};

constexpr std::array<GroupTexts, 9> texts{{
    {"downloads",
     {"clean_downloads", "Downloads"},
     {"clean_downloads_description",
      "Most of the data stored on your computer is likely to have been downloaded from the internet at some point. "
      "This category allows you to easily review and delete the contents of your Downloads folder."},
     "downloads-icon"},
    {"userCache",
     {"clean_user_cache", "User Cache"},
     {"clean_user_cache_description",
      "Applications on your computer will often store temporary data in order to slightly improve their "
      "performance. Over time these caches can grow in size, and take up an unreasonable amount of space on your "
      "disk. You can safely delete them to reclaim disk space."},
     "caches-icon"},
    {"systemLogs",
     {"clean_system_logs", "System Logs"},
     {"clean_system_logs_description",
      "Your computer will occasionally log its behaviour on a system level to assist future troubleshooting. Over "
      "time these logs grow in size and become old and irrelevant. You can safely delete them to reclaim disk "
      "space."},
     "system-logs-icon"},
    {"userLogs",
     {"clean_user_logs", "User Logs"},
     {"clean_user_logs_description",
      "Applications on your computer may occasionally log their behaviour to assist future troubleshooting. Over "
      "time these logs grow in size and become old and irrelevant. You can safely delete them to reclaim disk "
      "space."},
     "user-logs-icon"},
    {"developer",
     {"clean_developer", "Developer"},
     {"clean_developer_description",
      "If you are using your computer to develop software, a large portion of your storage space will be storing "
      "build caches, downloaded dependencies and toolchains for your projects. This category allows you to easily "
      "review and delete the files you no longer need."},
     "developer-icon"},
    {"packages",
     {"clean_installer_packages", "Installer Packages"},
     {"clean_installer_packages_description",
      "Some software is installed using packages, which may be left over after the installation is complete. You "
      "can safely delete these if you no longer need them."},
     "package-icon"},
    {"diskImages",
     {"clean_disk_images", "Disk Images"},
     {"clean_disk_images_description",
      "Software is commonly distributed using disk images, which may be left over after the installation is "
      "complete. You can safely delete these if you no longer need them."},
     "disk-image-icon"},
    {"largeFiles",
     {"clean_large_files", "Large Files"},
     {"clean_large_files_description",
      "Over time, your computer will accumulate various kinds of large files residing in every corner of your "
      "storage. This category allows you to easily review and delete the files you no longer need."},
     "large-files-icon"},
    {"mailAttachments",
     {"clean_mail_attachments", "Mail Attachments"},
     {"clean_mail_attachments_description",
      "When your mail client connects to your inbox, it downloads large amounts of email attachments that are "
      "stored locally on your computer. This category allows you to safely delete recoverable attachments."},
     "email-attachments-icon"},
}};

const GroupTexts& of(CleanScanGroup group)
{
    return texts[static_cast<std::size_t>(group)];
}

} // namespace

std::string_view rawValue(CleanScanGroup group)
{
    return of(group).raw;
}

std::optional<CleanScanGroup> cleanScanGroup(std::string_view raw)
{
    auto found = std::find_if(texts.begin(), texts.end(), [raw](const GroupTexts& entry) { return entry.raw == raw; });
    if (found == texts.end())
        return std::nullopt;
    return static_cast<CleanScanGroup>(found - texts.begin());
}

LocalizedText title(CleanScanGroup group)
{
    return of(group).title;
}

LocalizedText description(CleanScanGroup group)
{
    return of(group).description;
}

std::string_view iconName(CleanScanGroup group)
{
    return of(group).icon;
}

} // namespace tarnel
