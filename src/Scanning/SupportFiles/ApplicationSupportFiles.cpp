#include "Scanning/SupportFiles/ApplicationSupportFiles.h"

#include "Scanning/Walker/FileNode.h"

#include <cstdlib>

namespace tarnel {

namespace {

std::string environment(const char* name, const std::string& fallback)
{
    const char* value = std::getenv(name);
    if (value && *value == '/')
        return normalizedDirectoryPath(value);
    return fallback;
}

} // namespace

SupportLocations SupportLocations::underHome(const std::string& home, const std::string& systemRoot)
{
    auto root = normalizedDirectoryPath(home);
    return {normalizedDirectoryPath(systemRoot), root,          root + "/.config",
            root + "/.local/share",               root + "/.local/state", root + "/.cache"};
}

SupportLocations SupportLocations::current()
{
    auto locations = underHome(environment("HOME", "/"));
    locations.configHome = environment("XDG_CONFIG_HOME", locations.configHome);
    locations.dataHome = environment("XDG_DATA_HOME", locations.dataHome);
    locations.stateHome = environment("XDG_STATE_HOME", locations.stateHome);
    locations.cacheHome = environment("XDG_CACHE_HOME", locations.cacheHome);
    return locations;
}

std::string SupportLocations::system(const std::string& path) const
{
    if (systemRoot == "/")
        return path;
    return systemRoot + path;
}

bool SupportFolderScan::keeps(const FileNode& node) const
{
    if (dotEntriesOnly && !node.name().starts_with('.'))
        return false;
    if (skippedFolders.empty())
        return true;
    auto path = node.path();
    for (const auto& skipped : skippedFolders)
        if (path.starts_with(skipped) && (path.size() == skipped.size() || path[skipped.size()] == '/'))
            return path.size() == skipped.size();
    return true;
}

std::vector<SupportFolderScan> supportFolderScans(const SupportLocations& at)
{
    using F = ApplicationSupportFiles;
    // The order in which the units start; several Linux folders may fill one field.
    return {
        {at.system("/etc"), 2, &F::libraryPreferences},
        {at.configHome, 2, &F::userLibraryPreferences, false,
         {at.configHome + "/autostart", at.configHome + "/systemd"}},
        {at.stateHome, 1, &F::userLibrarySavedApplicationState},
        {at.home + "/.var/app", 1, &F::userLibraryContainers},
        {at.system("/var/lib"), 1, &F::libraryApplicationSupport},
        {at.cacheHome, 1, &F::userLibraryCaches},
        {at.dataHome, 1, &F::userLibraryApplicationSupport},
        {at.home + "/snap", 1, &F::userLibraryGroupContainers},
        {at.system("/var/log"), 2, &F::libraryLogs},
        {at.system("/var/crash"), 2, &F::libraryApplicationSupportCrashReporter},
        {at.cacheHome + "/crash", 1, &F::userLibraryApplicationSupportCrashReporter},
        {at.home, 1, &F::userLibrary, true},
        // Services and autostart entries, of the system and of the user.
        {at.system("/etc/systemd/user"), 1, &F::libraryLaunchagents},
        {at.system("/etc/systemd/system"), 1, &F::libraryLaunchagents},
        {at.configHome + "/systemd/user", 1, &F::libraryLaunchagents},
        {at.system("/etc/xdg/autostart"), 1, &F::libraryLaunchagents},
        {at.configHome + "/autostart", 1, &F::libraryLaunchagents},
        {at.system("/usr/local/libexec"), 1, &F::libraryPrivilegedHelperTools},
        {at.system("/usr/local/sbin"), 1, &F::libraryPrivilegedHelperTools},
        // Hand-installed applications and their vendor folders.
        {at.system("/opt"), 1, &F::applications},
    };
}

} // namespace tarnel
