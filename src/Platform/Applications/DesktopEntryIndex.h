#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

// Which icon the desktop shows for a program: the Icon of the desktop entry whose Exec or TryExec
// runs it, from the applications folders of the XDG data directories. Built once; later
// folders do not override an entry found in an earlier one, as the XDG rules say.
class DesktopEntryIndex {
public:
    // $XDG_DATA_HOME and $XDG_DATA_DIRS, each with "/applications".
    static std::vector<std::filesystem::path> applicationFolders();
    explicit DesktopEntryIndex(const std::vector<std::filesystem::path>& folders = applicationFolders());

    // The icon name or file for an executable, by its full path or its file name.
    std::optional<std::string> icon(const std::filesystem::path& executable) const;
    std::size_t size() const { return byProgram_.size(); }

    // The program of an Exec line: its first word without quotes and arguments.
    static std::string program(const std::string& execLine);

private:
    void read(const std::filesystem::path& entry);
    std::map<std::string, std::string> byProgram_;
};

} // namespace tarnel::platform
