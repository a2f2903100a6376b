#include "Platform/Applications/DesktopEntryIndex.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace tarnel::platform {

std::vector<std::filesystem::path> DesktopEntryIndex::applicationFolders()
{
    std::vector<std::filesystem::path> folders;
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (dataHome && *dataHome)
        folders.emplace_back(std::filesystem::path(dataHome) / "applications");
    else if (home && *home)
        folders.emplace_back(std::filesystem::path(home) / ".local/share/applications");
    const char* dataDirs = std::getenv("XDG_DATA_DIRS");
    std::stringstream dirs((dataDirs && *dataDirs) ? dataDirs : "/usr/local/share:/usr/share");
    std::string dir;
    while (std::getline(dirs, dir, ':'))
        if (!dir.empty())
            folders.emplace_back(std::filesystem::path(dir) / "applications");
    folders.emplace_back("/var/lib/flatpak/exports/share/applications");
    return folders;
}

DesktopEntryIndex::DesktopEntryIndex(const std::vector<std::filesystem::path>& folders)
{
    for (const auto& folder : folders) {
        std::error_code error;
        for (std::filesystem::recursive_directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
            if (it->path().extension() == ".desktop")
                read(it->path());
    }
}

std::string DesktopEntryIndex::program(const std::string& execLine)
{
    std::string line = execLine;
    const auto start = line.find_first_not_of(" \t");
    if (start == std::string::npos)
        return {};
    line = line.substr(start);
    if (line.front() == '"') {
        const auto close = line.find('"', 1);
        return line.substr(1, close == std::string::npos ? std::string::npos : close - 1);
    }
    return line.substr(0, line.find_first_of(" \t"));
}

void DesktopEntryIndex::read(const std::filesystem::path& entry)
{
    std::ifstream in(entry);
    std::string line, icon, exec, tryExec;
    bool inEntry = false;
    while (std::getline(in, line)) {
        if (!line.empty() && line.front() == '[') {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        if (!inEntry)
            continue;
        if (line.rfind("Icon=", 0) == 0)
            icon = line.substr(5);
        else if (line.rfind("Exec=", 0) == 0)
            exec = line.substr(5);
        else if (line.rfind("TryExec=", 0) == 0)
            tryExec = line.substr(8);
    }
    if (icon.empty())
        return;
    for (const auto& command : {program(tryExec), program(exec)}) {
        if (command.empty())
            continue;
        // Known both by its full path and by its name, the way an Exec line may name it.
        byProgram_.try_emplace(command, icon);
        byProgram_.try_emplace(std::filesystem::path(command).filename().string(), icon);
    }
}

std::optional<std::string> DesktopEntryIndex::icon(const std::filesystem::path& executable) const
{
    if (auto found = byProgram_.find(executable.string()); found != byProgram_.end())
        return found->second;
    if (auto found = byProgram_.find(executable.filename().string()); found != byProgram_.end())
        return found->second;
    return std::nullopt;
}

} // namespace tarnel::platform
