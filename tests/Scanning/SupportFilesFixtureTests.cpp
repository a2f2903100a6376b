#include "MachineTree.h"
#include "ScanTestSupport.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/SupportFiles/SimpleMatchSupportingFilesProcedure.h"
#include "Scanning/SupportFiles/SupportFilesScanProcedure.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <tuple>

using namespace tarnel;
using tarnel::testing::MachineTree;
using tarnel::testing::runToValue;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;
using Row = tarnel::testing::SupportFileRow;

namespace {

// A machine with four applications of four kinds, their traces, and entries that must not match.
class FixtureMachine : public MachineTree {
public:
    FixtureMachine()
    {
        fs::create_directories(home);
        // Zeta, a Flatpak.
        dir(home / ".local/share/flatpak/app/org.example.Zeta/current");
        dir(home / ".var/app/org.example.Zeta/config");
        dir(home / ".cache/org.example.Zeta");
        dir(home / ".local/share/org.example.Zeta");
        file(home / ".local/state/org.example.Zeta.state");
        file(home / ".config/org.example.Zeta/settings.json");
        file(home / ".config/autostart/org.example.Zeta.desktop");
        file(root / "var/crash/org.example.Zeta.1000.crash");
        // Quill, a distribution package.
        quillTraces();
        // Nimbus, an AppImage.
        file(home / "Applications/Nimbus-2.1-x86_64.AppImage");
        dir(home / ".config/NIMBUS");
        dir(home / ".local/share/nimbus");
        dir(home / ".cache/Nimbus");
        // Orbit, hand-installed under /opt.
        file(root / "opt/orbit/bin/orbit");
        dir(root / "opt/orbit-studio");
        file(root / "usr/local/sbin/orbit");
        dir(root / "var/lib/orbit");
        dir(root / "var/log/orbit-studio");
        file(root / "etc/systemd/system/orbit-studio.service");
        file(home / ".config/systemd/user/quill");

        // Decoys: a shorter or longer name, another vendor's folder of the same short name, the
        // desktop's own files, and traces deeper than their folder is read.
        dir(home / ".config/qui");
        dir(home / ".config/quill-backup");
        dir(home / ".cache/zeta-old");
        dir(home / ".var/app/org.other.Zeta");
        dir(home / ".config/nimbus-sync");
        dir(root / "opt/orbital");
        file(root / "etc/xdg/autostart/gnome-org.example.Zeta.desktop");
        dir(home / ".local/share/gnome-quill");
        file(home / ".config/suite/tools/quill");
        file(home / ".cache/tools/quill");
    }

    std::vector<std::pair<std::string, ApplicationIdentity>> applications() const
    {
        ApplicationIdentity zeta;
        zeta.displayName = "Zeta Editor";
        zeta.desktopFileId = "org.example.Zeta.desktop";
        zeta.execProgram = "zeta";
        zeta.sandboxId = "org.example.Zeta";
        zeta.applicationRoot = (home / ".local/share/flatpak/app/org.example.Zeta").string();
        ApplicationIdentity quill;
        quill.displayName = "Quill Writer";
        quill.desktopFileId = "quill.desktop";
        quill.execProgram = "/usr/bin/quill";
        quill.startupWMClass = "Quill";
        quill.owningPackage = "quill";
        ApplicationIdentity nimbus;
        nimbus.displayName = "Nimbus";
        nimbus.desktopFileId = "appimagekit_1a2b-nimbus.desktop";
        nimbus.execProgram = (home / "Applications/Nimbus-2.1-x86_64.AppImage").string();
        nimbus.startupWMClass = "nimbus";
        nimbus.applicationRoot = nimbus.execProgram;
        ApplicationIdentity orbit;
        orbit.displayName = "Orbit";
        orbit.desktopFileId = "orbit-studio.desktop";
        orbit.execProgram = (root / "opt/orbit/bin/orbit").string();
        orbit.applicationRoot = (root / "opt/orbit").string();
        return {{"Zeta", zeta}, {"Quill", quill}, {"Nimbus", nimbus}, {"Orbit", orbit}};
    }
};

} // namespace

TEST(SupportFiles, FourApplicationsOfFourKindsFindTheirTracesAndNoDecoy)
{
    FixtureMachine machine;
    auto supportFiles = runToValue(std::make_shared<SupportFilesScanProcedure>(
        SupportLocations::underHome(machine.home.string(), machine.root.string())));

    std::set<Row> found;
    for (const auto& [name, identity] : machine.applications()) {
        auto matcher = std::make_shared<SimpleMatchSupportingFilesProcedure>(std::vector{identity}, supportFiles);
        auto groups = runToValue(matcher);
        ASSERT_EQ(groups.size(), 11u);
        machine.addRows(found, name, groups);
    }

    const std::set<Row> expected{
        {"Zeta", "preferences", "~/.config/org.example.Zeta"},
        {"Zeta", "supportFiles", "~/.local/state/org.example.Zeta.state"},
        {"Zeta", "supportFiles", "~/.local/share/org.example.Zeta"},
        {"Zeta", "logs", "/var/crash/org.example.Zeta.1000.crash"},
        {"Zeta", "caches", "~/.cache/org.example.Zeta"},
        {"Zeta", "containers", "~/.var/app/org.example.Zeta"},
        {"Zeta", "loginItems", "~/.config/autostart/org.example.Zeta.desktop"},
        {"Quill", "preferences", "/etc/quill"},
        {"Quill", "preferences", "/etc/default/quill"},
        {"Quill", "preferences", "~/.config/quill"},
        {"Quill", "preferences", "~/.config/suite/quill"},
        {"Quill", "supportFiles", "/var/lib/quill"},
        {"Quill", "logs", "/var/log/quill"},
        {"Quill", "logs", "~/.cache/crash/quill"},
        {"Quill", "caches", "~/.cache/quill"},
        {"Quill", "groupContainers", "~/snap/quill"},
        {"Quill", "helperTools", "/usr/local/libexec/quill"},
        // A user unit, not also a preference although it lies in the configuration folder.
        {"Quill", "loginItems", "~/.config/systemd/user/quill"},
        {"Nimbus", "preferences", "~/.config/NIMBUS"},
        {"Nimbus", "supportFiles", "~/.local/share/nimbus"},
        {"Nimbus", "caches", "~/.cache/Nimbus"},
        {"Orbit", "supportFiles", "/var/lib/orbit"},
        {"Orbit", "logs", "/var/log/orbit-studio"},
        {"Orbit", "helperTools", "/usr/local/sbin/orbit"},
        {"Orbit", "other", "/opt/orbit-studio"},
    };
    EXPECT_EQ(found, expected);

    // Each folder was read to its own depth: one level of the caches, two of the configuration.
    auto depthOf = [&](const FileCollector::Files& files, const fs::path& folder) {
        std::size_t deepest = 0;
        for (const auto& node : files) {
            auto below = fs::path(node->path()).lexically_relative(folder);
            deepest = std::max<std::size_t>(deepest, std::distance(below.begin(), below.end()));
        }
        return deepest;
    };
    EXPECT_EQ(depthOf(supportFiles->userLibraryCaches, machine.home / ".cache"), 1u);
    EXPECT_EQ(depthOf(supportFiles->userLibraryPreferences, machine.home / ".config"), 2u);
    EXPECT_EQ(depthOf(supportFiles->libraryLogs, machine.root / "var/log"), 2u);
    // Only the dot entries of the home stand for its library.
    for (const auto& node : supportFiles->userLibrary)
        EXPECT_TRUE(node->name().starts_with('.')) << node->path();
    EXPECT_EQ(supportFiles->userLibrary.size(), 4u);
    // Folders with no Linux counterpart stay empty.
    EXPECT_TRUE(supportFiles->applicationsUtilities.empty());
    EXPECT_TRUE(supportFiles->userLibraryCookies.empty());
    EXPECT_TRUE(supportFiles->privateVarFolders.empty());
}

TEST(SupportFiles, LocationsFollowTheXdgVariablesOnlyWhenAbsolute)
{
    struct Environment {
        std::vector<std::pair<std::string, std::optional<std::string>>> saved;
        void set(const std::string& name, const char* value)
        {
            const char* old = std::getenv(name.c_str());
            saved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
            if (value)
                ::setenv(name.c_str(), value, 1);
            else
                ::unsetenv(name.c_str());
        }
        ~Environment()
        {
            for (auto it = saved.rbegin(); it != saved.rend(); ++it)
                if (it->second)
                    ::setenv(it->first.c_str(), it->second->c_str(), 1);
                else
                    ::unsetenv(it->first.c_str());
        }
    } environment;
    environment.set("HOME", "/home/someone/");
    environment.set("XDG_CONFIG_HOME", "/elsewhere/config");
    environment.set("XDG_DATA_HOME", "relative/data");
    environment.set("XDG_STATE_HOME", "");
    environment.set("XDG_CACHE_HOME", nullptr);

    auto locations = SupportLocations::current();
    EXPECT_EQ(locations.home, "/home/someone");
    EXPECT_EQ(locations.configHome, "/elsewhere/config");
    EXPECT_EQ(locations.dataHome, "/home/someone/.local/share");
    EXPECT_EQ(locations.stateHome, "/home/someone/.local/state");
    EXPECT_EQ(locations.cacheHome, "/home/someone/.cache");
    EXPECT_EQ(locations.system("/etc"), "/etc");
    EXPECT_EQ(SupportLocations::underHome("/h", "/fixture/").system("/etc"), "/fixture/etc");

    // The walk of the configuration folder leaves the unit and autostart folders to login items.
    auto scans = supportFolderScans(locations);
    auto preferences = std::find_if(scans.begin(), scans.end(), [](const SupportFolderScan& scan) {
        return scan.field == &ApplicationSupportFiles::userLibraryPreferences;
    });
    ASSERT_NE(preferences, scans.end());
    auto node = [](const std::string& path) { return FileNode(path, nullptr, 0, FileNode::NodeType::file); };
    EXPECT_TRUE(preferences->keeps(node("/elsewhere/config/autostart")));
    EXPECT_FALSE(preferences->keeps(node("/elsewhere/config/autostart/a.desktop")));
    EXPECT_FALSE(preferences->keeps(node("/elsewhere/config/systemd/user")));
    EXPECT_TRUE(preferences->keeps(node("/elsewhere/config/autostarter")));
    EXPECT_TRUE(preferences->keeps(node("/elsewhere/config/quill/autostart")));
}
