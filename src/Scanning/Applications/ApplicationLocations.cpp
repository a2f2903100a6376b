#include "Scanning/Applications/ApplicationLocations.h"

#include <fstream>

namespace tarnel {

std::string xdgUserDirectory(const SupportLocations& locations, const std::string& key, const std::string& fallback)
{
    std::ifstream in(locations.configHome + "/user-dirs.dirs");
    for (std::string line; std::getline(in, line);) {
        if (!line.starts_with(key + "="))
            continue;
        auto value = line.substr(key.size() + 1);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        if (value.starts_with("$HOME/"))
            value = locations.home + value.substr(5);
        // "$HOME/" alone means the directory is switched off; other forms are not allowed.
        if (value.starts_with("/") && normalizedDirectoryPath(value) != locations.home)
            return normalizedDirectoryPath(value);
    }
    return locations.home + "/" + fallback;
}

ApplicationLocations ApplicationLocations::from(const SupportLocations& locations)
{
    ApplicationLocations result;
    result.systemRoot = locations.systemRoot;
    result.systemFlatpakApps = {locations.system("/var/lib/flatpak/app")};
    result.snaps = {locations.system("/snap")};
    result.systemEntryFolders = {locations.system("/usr/share/applications"),
                                 locations.system("/usr/local/share/applications")};
    result.optFolder = locations.system("/opt");
    result.userFlatpakApps = {locations.dataHome + "/flatpak/app"};
    result.userEntryFolders = {locations.dataHome + "/applications"};
    result.userImageFolders = {xdgUserDirectory(locations, "XDG_DOWNLOAD_DIR", "Downloads"),
                               xdgUserDirectory(locations, "XDG_DESKTOP_DIR", "Desktop"),
                               xdgUserDirectory(locations, "XDG_DOCUMENTS_DIR", "Documents"),
                               locations.home + "/Applications"};
    result.iconDataDirs = {locations.dataHome, locations.system("/usr/local/share"), locations.system("/usr/share")};
    return result;
}

} // namespace tarnel
