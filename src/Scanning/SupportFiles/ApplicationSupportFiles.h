#pragma once

#include "Scanning/Collectors/FileCollector.h"

#include <string>
#include <vector>

namespace tarnel {

// The entries of the folders where applications leave their traces, read once per scan and
// shared read-only by the matchers of every application. Named after the roles the folders
// play; the Linux folders behind each role are in supportFolderScans().
struct ApplicationSupportFiles {
    FileCollector::Files applications;
    FileCollector::Files applicationsUtilities; // no Linux counterpart: stays empty
    FileCollector::Files libraryPreferences;
    FileCollector::Files libraryApplicationSupport;
    FileCollector::Files libraryLogs;
    FileCollector::Files libraryApplicationSupportCrashReporter;
    FileCollector::Files libraryLaunchagents;
    FileCollector::Files librarySecuritySecurityAgentsPlugins; // no Linux counterpart: stays empty
    FileCollector::Files libraryInternetPlugins;               // no Linux counterpart: stays empty
    FileCollector::Files libraryPrivilegedHelperTools;
    FileCollector::Files privateVarFolders; // no scan fills it
    FileCollector::Files userLibraryApplicationSupportCrashReporter;
    FileCollector::Files userLibrary;
    FileCollector::Files userLibraryApplicationScripts; // no Linux counterpart: stays empty
    FileCollector::Files userLibraryContainers;
    FileCollector::Files userLibraryGroupContainers;
    FileCollector::Files userLibraryPreferences;
    FileCollector::Files userLibrarySavedApplicationState;
    FileCollector::Files userLibraryCaches;
    FileCollector::Files userLibraryCookies; // no Linux counterpart: stays empty
    FileCollector::Files userLibraryApplicationSupport;
};

// Where the folders are: the home, its XDG base directories, and the root that system folders
// are found under ("/" but for fixtures).
struct SupportLocations {
    std::string systemRoot = "/";
    std::string home;
    std::string configHome;
    std::string dataHome;
    std::string stateHome;
    std::string cacheHome;

    // From $HOME and $XDG_CONFIG_HOME, $XDG_DATA_HOME, $XDG_STATE_HOME, $XDG_CACHE_HOME, with
    // the XDG defaults where a variable is unset, empty or not absolute.
    static SupportLocations current();
    // All from one home, with the XDG defaults below it.
    static SupportLocations underHome(const std::string& home, const std::string& systemRoot = "/");
    // `path` ("/etc") under systemRoot.
    std::string system(const std::string& path) const;
};

// One folder read for one field, in the order the scan starts them.
struct SupportFolderScan {
    std::string folder;
    int depth;
    FileCollector::Files ApplicationSupportFiles::*field;
    // Only the dot entries of the home stand for the per-user library folder.
    bool dotEntriesOnly = false;
    // Folders read for another field: their entries are not kept here a second time.
    std::vector<std::string> skippedFolders = {};

    // Whether an entry met by this folder's walk is kept.
    bool keeps(const FileNode& node) const;
};

std::vector<SupportFolderScan> supportFolderScans(const SupportLocations& locations);

} // namespace tarnel
