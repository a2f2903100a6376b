#pragma once

#include "App/GroupedResults/GroupedResultNode.h"

#include "Scanning/Clean/CleanScanGroup.h"
#include "Scanning/Clean/CleanScanItem.h"

#include <map>

namespace tarnel {

class CleanScanResultGroup : public GroupedResultsGroup {
public:
    explicit CleanScanResultGroup(CleanScanGroup group) : group_(group) {}
    CleanScanGroup representedObject() const { return group_; }
    std::string name() const override;
    std::string description() const override;
    std::string identifier() const override { return std::string(rawValue(group_)); }
    std::optional<std::string> icon() const override { return std::string(iconName(group_)); }

private:
    CleanScanGroup group_;
};

// A row for a file or folder.
class CleanScanResultItem : public GroupedResultsItem {
public:
    explicit CleanScanResultItem(std::shared_ptr<FileNode> file, std::optional<std::string> icon = std::nullopt)
        : file_(std::move(file)), icon_(std::move(icon)) {}
    const std::shared_ptr<FileNode>& representedObject() const { return file_; }
    std::string title() const override { return std::string(file_->name()); }
    std::optional<std::string> icon() const override { return icon_; }
    std::optional<std::string> path() const override { return file_->path(); }

private:
    std::shared_ptr<FileNode> file_;
    std::optional<std::string> icon_;
};

// A row that gathers other rows and stands for no file.
class CleanScanResultSubGroupItem : public GroupedResultsItem {
public:
    CleanScanResultSubGroupItem(std::string name, std::optional<std::string> icon)
        : name_(std::move(name)), icon_(std::move(icon)) {}
    bool isSubGroup() const override { return true; }
    std::string title() const override { return name_; }
    std::optional<std::string> icon() const override { return icon_; }

private:
    std::string name_;
    std::optional<std::string> icon_;
};

// The groups of a finished scan: every group, also empty ones, with children largest first and
// groups largest first.
std::vector<GroupedResultNodePtr> makeCleanResultGroups(const std::map<CleanScanGroup, CleanScanItemSet>& groups);

} // namespace tarnel
