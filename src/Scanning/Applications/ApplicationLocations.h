#pragma once

#include "Scanning/SupportFiles/ApplicationSupportFiles.h"

#include <string>
#include <vector>

namespace tarnel {

// Where applications are installed, for the system and for the user.
struct ApplicationLocations {
    std::vector<std::string> systemFlatpakApps;  // "/var/lib/flatpak/app"
    std::vector<std::string> snaps;              // "/snap"
    std::vector<std::string> systemEntryFolders; // "/usr/share/applications", "/usr/local/share/applications"
    std::string optFolder;                       // "/opt": roots of hand-installed applications
    std::vector<std::string> userFlatpakApps;    // "~/.local/share/flatpak/app"
    std::vector<std::string> userEntryFolders;   // "~/.local/share/applications"
    std::vector<std::string> userImageFolders;   // Downloads, Desktop, Documents, Applications
    std::vector<std::string> iconDataDirs;       // bases of "icons" and "pixmaps", user's first
    std::string systemRoot;                      // stripped from paths asked of the package database

    static ApplicationLocations from(const SupportLocations& locations);
};

// An XDG user directory ("XDG_DOWNLOAD_DIR") from `configHome`/user-dirs.dirs, or `fallback`
// below the home when the file or the key is missing.
std::string xdgUserDirectory(const SupportLocations& locations, const std::string& key, const std::string& fallback);

} // namespace tarnel
