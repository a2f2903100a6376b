#include "MachineTree.h"
#include "Scanning/Applications/ApplicationScanProcedures.h"
#include "Scanning/Applications/ApplicationScanner.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "ScanListenerRecorder.h"
#include "ScanTestSupport.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

using namespace tarnel;
using tarnel::testing::CapturedScanLog;
using tarnel::testing::ScanListenerRecorder;
using tarnel::testing::MachineTree;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;
using tarnel::testing::waitUntil;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;
using Row = tarnel::testing::SupportFileRow;

namespace {

std::string entry(const std::string& name, const std::string& exec, const std::string& extra = "")
{
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + "\n" + extra;
}

// The machine of the support-file matching test, now with the installations themselves: the
// Flatpak's deployment, the package database, the image and the /opt root, and around them
// applications that must not be offered.
class InstalledMachine : public MachineTree {
public:
    InstalledMachine()
    {
        // Zeta, a Flatpak of the user.
        auto zeta = home / ".local/share/flatpak/app/org.example.Zeta/current/active";
        writeFile(zeta / "metadata", "[Application]\nname=org.example.Zeta\ncommand=zeta\n");
        writeFile(zeta / "export/share/applications/org.example.Zeta.desktop",
                  entry("Zeta Editor", "/usr/bin/flatpak run --command=zeta org.example.Zeta", "Icon=org.example.Zeta\n"));
        writeFile(zeta / "export/share/metainfo/org.example.Zeta.metainfo.xml",
                  "<component><releases><release version=\"3.4.1\"/><release version=\"3.4.0\"/></releases></component>");
        writeFile(zeta / "export/share/icons/hicolor/128x128/apps/org.example.Zeta.png", "png");
        writeFile(zeta / "files/bin/zeta", std::string(1000, 'z'));
        // Its exported entry, which names the launcher: the deployment is read instead.
        writeFile(home / ".local/share/flatpak/exports/share/applications/org.example.Zeta.desktop",
                  entry("Zeta Editor", "/usr/bin/flatpak run org.example.Zeta", "X-Flatpak=org.example.Zeta\n"));
        dir(home / ".var/app/org.example.Zeta/config");
        sized(home / ".cache/org.example.Zeta/cache.bin", 300);
        dir(home / ".local/share/org.example.Zeta");
        file(home / ".local/state/org.example.Zeta.state");
        file(home / ".config/org.example.Zeta/settings.json");
        file(home / ".config/autostart/org.example.Zeta.desktop");
        file(root / "var/crash/org.example.Zeta.1000.crash");

        // Quill, a distribution package.
        writeFile(root / "usr/share/applications/quill.desktop",
                  entry("Quill Writer", "/usr/bin/quill %F", "StartupWMClass=Quill\nIcon=quill\n"));
        writeFile(root / "usr/share/icons/hicolor/48x48/apps/quill.png", "png");
        writeFile(root / "var/lib/dpkg/status", "Package: quill\nStatus: install ok installed\nInstalled-Size: 2048\nVersion: 1:2.5.0-1\n\n"
                                                "Package: nautilus\nStatus: install ok installed\nVersion: 43.2-1\n");
        writeFile(root / "var/lib/dpkg/info/quill.list", "/usr/share/applications/quill.desktop\n/usr/bin/quill\n");
        writeFile(root / "var/lib/dpkg/info/nautilus.list", "/usr/share/applications/org.gnome.Nautilus.desktop\n");
        quillTraces();
        file(home / ".config/systemd/user/quill");

        // Nimbus, an image in ~/Applications and a second copy in ~/Downloads.
        sized(home / "Applications/Nimbus-2.1-x86_64.AppImage", 400);
        sized(home / "Downloads/Nimbus-2.1-x86_64.AppImage", 400);
        dir(home / ".config/NIMBUS");
        dir(home / ".local/share/nimbus");
        dir(home / ".cache/Nimbus");

        // Orbit, hand-installed under /opt, its entry among the system's, with two applications
        // nested in its root.
        sized(root / "opt/orbit/bin/orbit", 500);
        writeFile(root / "opt/orbit/share/applications/orbit-studio.desktop",
                  entry("Orbit", (root / "opt/orbit/bin/orbit").string()));
        writeFile(root / "opt/orbit/tools/orbit-probe.desktop",
                  entry("Orbit Probe", (root / "opt/orbit/bin/probe").string()));
        sized(root / "opt/orbit/extras/Lens-0.9.AppImage", 10);
        writeFile(root / "usr/local/share/applications/orbit-studio.desktop",
                  entry("Orbit", (root / "opt/orbit/bin/orbit").string() + " %U"));
        dir(root / "opt/orbit-studio");
        file(root / "usr/local/sbin/orbit");
        dir(root / "var/lib/orbit");
        dir(root / "var/log/orbit-studio");
        file(root / "etc/systemd/system/orbit-studio.service");

        // Lumen, a snap whose version text does not parse; a runtime snap that is no application.
        writeFile(root / "snap/lumen/current/meta/snap.yaml", "name: lumen\nversion: 'beta'\napps:\n  lumen:\n    command: x\n");
        writeFile(root / "snap/lumen/current/meta/gui/lumen.desktop",
                  entry("Lumen", "/snap/bin/lumen", "Icon=${SNAP}/meta/gui/icon.png\n"));
        writeFile(root / "snap/lumen/current/meta/gui/icon.png", "png");
        writeFile(root / "snap/core22/current/meta/snap.yaml", "name: core22\nversion: '20261101'\n");
        dir(root / "snap/bin");

        // Not applications, or not to be offered.
        writeFile(root / "usr/share/applications/org.gnome.Nautilus.desktop", entry("Files", "nautilus"));
        writeFile(root / "usr/share/applications/hidden.desktop", entry("Hidden", "hidden", "Hidden=true\n"));
        writeFile(root / "usr/share/applications/menu-only.desktop", entry("Menu", "menu", "NoDisplay=true\n"));
        writeFile(root / "usr/share/applications/no-exec.desktop", "[Desktop Entry]\nType=Application\nName=X\n");
        writeFile(root / "usr/share/applications/broken.desktop", "[Desktop Entry\nName=Broken\n");
        writeFile(root / "usr/share/applications/lumen_lumen.desktop",
                  entry("Lumen", "/snap/bin/lumen", "X-SnapInstanceName=lumen\n"));
        sized(home / "Documents/a/b/c/d/e/Deep-1.0.AppImage", 1);     // sixth level: too deep
        sized(home / "Documents/a/b/c/d/Shallow-1.0.AppImage", 1);    // fifth level
        writeFile(home / ".local/share/applications/gnome-tweak.desktop", entry("Tweaks", "tweak"));
        writeFile(home / ".local/share/applications/notes.desktop", entry("Notes", "notes-app"));

        // Decoys of the support-file test.
        dir(home / ".config/qui");
        dir(home / ".config/quill-backup");
        dir(home / ".cache/zeta-old");
        dir(home / ".var/app/org.other.Zeta");
        dir(home / ".config/nimbus-sync");
        dir(root / "opt/orbital");
        file(root / "etc/xdg/autostart/gnome-org.example.Zeta.desktop");
        dir(home / ".local/share/gnome-quill");
    }

    SupportLocations locations() const { return SupportLocations::underHome(home.string(), root.string()); }

private:
    static void sized(const fs::path& path, std::size_t bytes) { writeFile(path, std::string(bytes, 'b')); }
};

void runToEnd(ApplicationScanner& scanner, ScanListenerRecorder& recorder, VirtualTime& time)
{
    scanner.start();
    waitUntil([&] { return recorder.finished(); }, [&] { time.poll(); });
}

} // namespace

TEST(ApplicationScanner, FindsEveryKindWithVersionsChildrenAndSupportFilesAndReportsInOrder)
{
    VirtualTime time;
    InstalledMachine machine;
    CapturedScanLog log;
    ApplicationScanner scanner(machine.locations(), tarnel::testing::firstWordStatus());
    auto recorder = std::make_shared<ScanListenerRecorder>();
    scanner.addListener(recorder);
    runToEnd(scanner, *recorder, time);
    EXPECT_FALSE(scanner.isRunning());

    std::map<std::string, std::shared_ptr<ApplicationItem>> byName;
    for (const auto& application : scanner.applications())
        byName[application->bundleInfo.name] = application;
    std::set<std::string> names;
    for (const auto& [name, item] : byName)
        names.insert(name);
    EXPECT_EQ(names, (std::set<std::string>{"Zeta Editor", "Quill Writer", "Nimbus", "Orbit", "Lumen", "Shallow",
                                            "Notes", "Tweaks"}))
        << "no hidden, Exec-less, malformed or exported entry, no runtime snap, nothing six levels deep, and the "
           "desktop's own application only where the block list is not consulted";

    auto& zeta = *byName.at("Zeta Editor");
    EXPECT_EQ(zeta.kind, ApplicationKind::flatpak);
    EXPECT_TRUE(zeta.userInstalled);
    EXPECT_EQ(zeta.bundleInfo.identifier, "org.example.Zeta");
    EXPECT_EQ(zeta.bundleInfo.vendor, "example");
    EXPECT_EQ(zeta.bundleInfo.version.release, (BundleVersion::Version{3, 4, 1}));
    EXPECT_EQ(zeta.identity.execProgram, "zeta") << "the command inside the sandbox, never the launcher";
    EXPECT_EQ(zeta.identity.sandboxId, "org.example.Zeta");
    EXPECT_EQ(machine.shown(zeta.iconPath.value_or("")),
              "~/.local/share/flatpak/app/org.example.Zeta/current/active/export/share/icons/hicolor/128x128/apps/"
              "org.example.Zeta.png");
    ASSERT_EQ(zeta.binaries.files.size(), 1u);
    EXPECT_GT(zeta.binaries.files[0].size, 1000) << "the deployment was measured whole";

    auto& quill = *byName.at("Quill Writer");
    EXPECT_EQ(quill.kind, ApplicationKind::package);
    EXPECT_EQ(quill.identity.owningPackage, "quill");
    EXPECT_EQ(quill.bundleInfo.identifier, "quill");
    EXPECT_EQ(quill.bundleInfo.version.shortVersionString, "1:2.5.0-1");
    EXPECT_EQ(quill.bundleInfo.version.release, (BundleVersion::Version{2, 5, 0}));
    EXPECT_EQ(machine.shown(quill.iconPath.value_or("")), "/usr/share/icons/hicolor/48x48/apps/quill.png");
    ASSERT_EQ(quill.binaries.files.size(), 1u);
    EXPECT_EQ(quill.binaries.files[0].size, 2048 * 1024) << "the package's installed size, not its entry's";

    auto& nimbus = *byName.at("Nimbus");
    EXPECT_EQ(nimbus.kind, ApplicationKind::appImage);
    ASSERT_EQ(nimbus.binaries.files.size(), 2u) << "two copies are one application";
    EXPECT_EQ(nimbus.binaries.files[0].size + nimbus.binaries.files[1].size, 800);

    auto& orbit = *byName.at("Orbit");
    EXPECT_EQ(orbit.kind, ApplicationKind::handInstalled);
    EXPECT_EQ(machine.shown(orbit.url), "/opt/orbit");
    ASSERT_EQ(orbit.binaries.files.size(), 1u) << "its entry and its root are one application";
    EXPECT_EQ(orbit.binaries.files[0].size, 500 + 10 + static_cast<std::int64_t>(
        fs::file_size(machine.root / "opt/orbit/share/applications/orbit-studio.desktop") +
        fs::file_size(machine.root / "opt/orbit/tools/orbit-probe.desktop")));
    std::set<std::string> children;
    for (const auto& child : orbit.childApplications)
        children.insert(child.name);
    EXPECT_EQ(children, (std::set<std::string>{"Orbit Probe", "Lens"})) << "its own entry is not its child";

    auto& lumen = *byName.at("Lumen");
    EXPECT_EQ(lumen.kind, ApplicationKind::snap);
    EXPECT_EQ(lumen.bundleInfo.version.release, (BundleVersion::Version{0, 0, 0}));
    EXPECT_EQ(lumen.bundleInfo.version.shortVersionString, "beta");
    EXPECT_EQ(machine.shown(lumen.iconPath.value_or("")), "/snap/lumen/current/meta/gui/icon.png");

    std::set<Row> found;
    for (const auto& name : {"Zeta Editor", "Quill Writer", "Nimbus", "Orbit"})
        machine.addRows(found, name, byName.at(name)->resources);
    const std::set<Row> expected{
        {"Zeta Editor", "preferences", "~/.config/org.example.Zeta"},
        {"Zeta Editor", "supportFiles", "~/.local/state/org.example.Zeta.state"},
        {"Zeta Editor", "supportFiles", "~/.local/share/org.example.Zeta"},
        {"Zeta Editor", "logs", "/var/crash/org.example.Zeta.1000.crash"},
        {"Zeta Editor", "caches", "~/.cache/org.example.Zeta"},
        {"Zeta Editor", "containers", "~/.var/app/org.example.Zeta"},
        {"Zeta Editor", "loginItems", "~/.config/autostart/org.example.Zeta.desktop"},
        {"Quill Writer", "preferences", "/etc/quill"},
        {"Quill Writer", "preferences", "/etc/default/quill"},
        {"Quill Writer", "preferences", "~/.config/quill"},
        {"Quill Writer", "preferences", "~/.config/suite/quill"},
        {"Quill Writer", "supportFiles", "/var/lib/quill"},
        {"Quill Writer", "logs", "/var/log/quill"},
        {"Quill Writer", "logs", "~/.cache/crash/quill"},
        {"Quill Writer", "caches", "~/.cache/quill"},
        {"Quill Writer", "groupContainers", "~/snap/quill"},
        {"Quill Writer", "helperTools", "/usr/local/libexec/quill"},
        {"Quill Writer", "loginItems", "~/.config/systemd/user/quill"},
        {"Nimbus", "preferences", "~/.config/NIMBUS"},
        {"Nimbus", "supportFiles", "~/.local/share/nimbus"},
        {"Nimbus", "caches", "~/.cache/Nimbus"},
        {"Orbit", "supportFiles", "/var/lib/orbit"},
        {"Orbit", "logs", "/var/log/orbit-studio"},
        {"Orbit", "helperTools", "/usr/local/sbin/orbit"},
        {"Orbit", "other", "/opt/orbit-studio"},
    };
    EXPECT_EQ(found, expected);

    // Folders among the leftovers are measured in the last stage.
    std::optional<std::int64_t> cacheSize;
    for (const auto& group : zeta.resources)
        for (const auto& resource : group.files)
            if (machine.shown(resource.url) == "~/.cache/org.example.Zeta")
                cacheSize = resource.size;
    EXPECT_EQ(cacheSize, 300);

    auto events = recorder->events();
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events.front().what, "start");
    const auto updates = recorder->mainActorUpdates();
    const std::vector<std::pair<std::string, double>> expectedUpdates{
        {"Digging through Binaries...", 0.05},      {"Digging through Support Files...", 0.15},
        {"Digging through Logs...", 0.25},          {"Digging through Containers...", 0.35},
        {"Digging through Support Files...", 0.55}, {"Digging through Support Files...", 0.85},
    };
    EXPECT_EQ(updates, expectedUpdates);
    EXPECT_TRUE(log.messages(ScanLogLevel::error).empty());
}

TEST(ApplicationScanner, ASecondStartWhileRunningIsRefusedAndAVanishedMachineFindsNothing)
{
    VirtualTime time;
    CapturedScanLog log;
    TemporaryDirectory temporary;
    ApplicationScanner scanner(SupportLocations::underHome((temporary.path() / "nobody").string(),
                                                           (temporary.path() / "no-root").string()));
    auto recorder = std::make_shared<ScanListenerRecorder>();
    scanner.addListener(recorder);
    scanner.start();
    EXPECT_TRUE(scanner.isRunning());
    scanner.start();
    EXPECT_EQ(log.messages(ScanLogLevel::error), std::vector<std::string>{"Application Scanner is already running"});
    waitUntil([&] { return recorder->finished(); }, [&] { time.poll(); });
    EXPECT_TRUE(scanner.applications().empty());
    auto events = recorder->events();
    EXPECT_EQ(std::count_if(events.begin(), events.end(), [](const auto& e) { return e.what == "start"; }), 1)
        << "the refused start told no listener";

    // A listener that went away is skipped; a removed one hears nothing.
    auto removed = std::make_shared<ScanListenerRecorder>();
    scanner.addListener(removed);
    scanner.removeListener(removed);
    {
        auto dying = std::make_shared<ScanListenerRecorder>();
        scanner.addListener(dying);
    }
    auto second = std::make_shared<ScanListenerRecorder>();
    scanner.addListener(second);
    scanner.start();
    waitUntil([&] { return second->finished(); }, [&] { time.poll(); });
    EXPECT_TRUE(removed->events().empty());
    EXPECT_EQ(log.messages(ScanLogLevel::error).size(), 1u);
}

TEST(ApplicationScanner, IntroductionIconsShowOfferedApplicationsFirstAndFillUpWithTheDesktopsOwn)
{
    TemporaryDirectory temporary;
    auto root = temporary.path() / "root";
    auto applications = root / "usr/share/applications";
    for (int i = 0; i < 68; ++i) {
        auto id = "app" + std::to_string(100 + i);
        writeFile(applications / (id + ".desktop"), entry(id, id, "Icon=" + id + "\n"));
        writeFile(root / "usr/share/icons/hicolor/48x48/apps" / (id + ".png"), "png");
    }
    // Both sizes: the larger one is near 256 pixels.
    writeFile(root / "usr/share/icons/hicolor/256x256/apps/app100.png", "png");
    writeFile(applications / "plain.desktop", entry("Plain", "plain"));
    for (int i = 0; i < 5; ++i) {
        auto id = "org.gnome.Tool" + std::to_string(i);
        writeFile(applications / (id + ".desktop"), entry(id, "tool", "Icon=" + id + "\n"));
    }
    auto procedure = std::make_shared<ApplicationIconsScanProcedure>(
        ApplicationLocations::from(SupportLocations::underHome((root / "home").string(), root.string())));
    ProcedureQueue queue;
    queue.addOperation(procedure);
    procedure->waitUntilFinished();
    auto output = procedure->output();
    ASSERT_TRUE(output.value() && output.value()->isSuccess());
    const auto& icons = *output.value()->value();
    ASSERT_EQ(icons.size(), 70u) << "68 offered, 2 of the desktop's own, none for an entry without Icon";
    EXPECT_EQ(icons[0], (root / "usr/share/icons/hicolor/256x256/apps/app100.png").string());
    EXPECT_EQ(icons[67], (root / "usr/share/icons/hicolor/48x48/apps/app167.png").string());
    EXPECT_EQ(icons[68], "org.gnome.Tool0") << "without a file the theme name is handed on";
    EXPECT_EQ(icons[69], "org.gnome.Tool1");
}
