#include "Scanning/Applications/ApplicationLocations.h"
#include "Scanning/Applications/ApplicationMetadata.h"
#include "Scanning/Applications/ApplicationReader.h"
#include "Scanning/Applications/BundleInfo.h"
#include "Scanning/Applications/DesktopEntry.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

BundleVersion::Version v(std::uint64_t major, std::uint64_t minor, std::uint64_t maintenance)
{
    return {major, minor, maintenance};
}

BundleVersion release(std::string_view text)
{
    BundleVersion version;
    version.release = BundleVersion::Version::parse(text);
    return version;
}

} // namespace

TEST(ApplicationMetadata, VersionTextsParseByComponentAndOrderByReleaseThenBuild)
{
    EXPECT_EQ(BundleVersion::Version::parse("1.2b.3"), v(1, 3, 0)) << "a component that does not parse is dropped";
    EXPECT_EQ(BundleVersion::Version::parse(""), v(0, 0, 0));
    EXPECT_EQ(BundleVersion::Version::parse("beta"), v(0, 0, 0));
    EXPECT_EQ(BundleVersion::Version::parse("+4.-5.6.7"), v(4, 5, 6)) << "a sign is allowed, a fourth value ignored";
    EXPECT_EQ(BundleVersion::Version::parse("7"), v(7, 0, 0));
    EXPECT_EQ(BundleVersion::Version::parse("1..2"), v(1, 2, 0));
    EXPECT_EQ(BundleVersion::Version::parse("99999999999999999999999.1"), v(1, 0, 0)) << "overflow does not parse";

    auto packaged = BundleVersion::fromText("1:2.30.1-3ubuntu1");
    EXPECT_EQ(packaged.release, v(2, 30, 1)) << "the epoch and the revision are not the release";
    EXPECT_EQ(packaged.build, v(3, 0, 0));
    EXPECT_EQ(packaged.shortVersionString, "1:2.30.1-3ubuntu1");
    EXPECT_EQ(BundleVersion::fromText("115.0.2+dfsg").release, v(115, 0, 2));
    EXPECT_EQ(BundleVersion::fromText("2.1~rc1").release, v(2, 1, 0));
    auto unparsable = BundleVersion::fromText("beta");
    EXPECT_EQ(unparsable.release, v(0, 0, 0));
    EXPECT_EQ(unparsable.shortVersionString, "beta") << "the raw text is kept for display";

    EXPECT_TRUE(release("1.9.9") < release("2.0.0"));
    EXPECT_TRUE(release("2.1.0") < release("2.2.0"));
    EXPECT_FALSE(release("2.2.0") < release("2.1.9"));
    // Maintenance alone never orders two versions: they differ, so neither is below.
    EXPECT_FALSE(release("2.2.1") < release("2.2.3"));
    EXPECT_FALSE(release("2.2.3") < release("2.2.1"));
    auto older = release("3.0.0");
    auto newer = release("3.0.0");
    older.build = v(5, 1, 0);
    newer.build = v(5, 2, 0);
    EXPECT_TRUE(older < newer) << "equal releases compare builds";
    EXPECT_FALSE(newer < older);
    EXPECT_FALSE(older < older);

    EXPECT_EQ(BundleInfo::vendorOf("org.example.Zeta"), "example");
    EXPECT_EQ(BundleInfo::vendorOf("org"), "");
    EXPECT_EQ(BundleInfo::vendorOf("quill"), "");
}

TEST(ApplicationMetadata, DesktopEntriesThatAreNoApplicationsAreRefusedWithAReason)
{
    auto entry = [](std::string body) -> std::pair<std::optional<DesktopEntry>, std::string> {
        std::string error;
        auto file = KeyFile::parse(body, "Desktop Entry", &error);
        if (!file)
            return {std::nullopt, error};
        auto result = DesktopEntry::from(*file, &error);
        return {result, error};
    };
    const std::string head = "[Desktop Entry]\nType=Application\nName=Quill\n";
    auto good = entry("# comment\n" + head + "Name[de]=Feder\nExec=/usr/bin/quill %U\nIcon=quill\n[Desktop Action New]\nExec=other\n");
    ASSERT_TRUE(good.first);
    EXPECT_EQ(good.first->name, "Quill") << "a localised key is not the name";
    EXPECT_EQ(good.first->program(), "/usr/bin/quill") << "the Exec of an action is another group";

    EXPECT_EQ(entry(head + "Exec=quill\nNoDisplay=true\n").second, "hidden entry");
    EXPECT_EQ(entry(head + "Exec=quill\nHidden=true\n").second, "hidden entry");
    EXPECT_EQ(entry(head).second, "entry without Exec");
    EXPECT_EQ(entry(head + "Exec=%U\n").second, "entry without Exec") << "field codes alone run nothing";
    EXPECT_EQ(entry("[Desktop Entry]\nType=Link\nName=Site\nURL=x\n").second, "not an application entry");
    EXPECT_EQ(entry("[Desktop Entry\nType=Application\n").second, "malformed group header \"[Desktop Entry\"");
    EXPECT_EQ(entry("[Other]\nType=Application\n").second, "no [Desktop Entry] group");
    EXPECT_TRUE(entry(head + "Exec=quill\nNoDisplay=false\n").first);

    std::string error;
    EXPECT_FALSE(DesktopEntry::read("/nonexistent/x.desktop", &error));
    EXPECT_EQ(error, "cannot read /nonexistent/x.desktop");
}

TEST(ApplicationMetadata, TheProgramOfAnExecLineIsNeverTheLauncher)
{
    auto programOf = [](std::string exec, std::string flatpakId = {}) {
        DesktopEntry entry;
        entry.exec = std::move(exec);
        entry.flatpakId = std::move(flatpakId);
        return entry.program();
    };
    EXPECT_EQ(programOf("/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=zeta org.example.Zeta @@u %U @@"),
              "zeta");
    EXPECT_EQ(programOf("flatpak run org.example.Zeta"), "org.example.Zeta");
    EXPECT_EQ(programOf("env GDK_BACKEND=x11 LANG=C /opt/orbit/bin/orbit --new"), "/opt/orbit/bin/orbit");
    EXPECT_EQ(programOf("\"/opt/My App/bin/app\" %F"), "/opt/My App/bin/app");
    EXPECT_EQ(splitExec("a \"b \\\"c\\\"\" 100%% %f"), (std::vector<std::string>{"a", "b \"c\"", "100%"}));
}

TEST(ApplicationMetadata, MetainfoSnapYamlPackageDatabaseIconsAndUserFolders)
{
    EXPECT_EQ(metainfoVersion("<component><releases>\n<release version=\"3.4.1\" date=\"2026-01-01\"/>"
                              "<release version='3.4.0'/></releases></component>"),
              "3.4.1")
        << "the newest release is listed first, and <releases> is no release";
    EXPECT_EQ(metainfoVersion("<component><releases></releases></component>"), std::nullopt);

    auto snap = SnapYaml::parse("name: lumen\nversion: 'beta'\napps:\n  lumen:\n    name: other\n    command: x\n"
                                "title: \"Lumen Viewer\"\n");
    EXPECT_EQ(snap.name, "lumen") << "an app's own keys are indented and not the snap's";
    EXPECT_EQ(snap.version, "beta");
    EXPECT_EQ(snap.title, "Lumen Viewer");

    TemporaryDirectory temporary;
    auto root = temporary.path();
    writeFile(root / "var/lib/dpkg/status",
              "Package: quill\nStatus: install ok installed\nInstalled-Size: 12x\nVersion: 1:2.5.0-1\n\n"
              "Package: tiny\nStatus: install ok installed\nInstalled-Size: 3\n\n"
              "Package: gone\nStatus: deinstall ok config-files\nVersion: 1.0\n");
    writeFile(root / "var/lib/dpkg/info/quill:amd64.list", "/usr\n/usr/share/applications/quill.desktop\n/usr/bin/quill\n");
    PackageDatabase packages(root.string());
    EXPECT_EQ(packages.owner("/usr/share/applications/quill.desktop"), "quill");
    EXPECT_EQ(packages.owner("/usr/bin/quill"), std::nullopt) << "only desktop entries are indexed";
    EXPECT_EQ(packages.version("quill"), "1:2.5.0-1");
    EXPECT_EQ(packages.version("gone"), std::nullopt) << "removed packages keep only their configuration";
    EXPECT_EQ(packages.installedSize("tiny"), 3 * 1024);
    EXPECT_EQ(packages.installedSize("quill"), std::nullopt) << "a size that does not read is no size";
    PackageDatabase none((root / "missing").string());
    EXPECT_EQ(none.owner("/usr/share/applications/quill.desktop"), std::nullopt);

    writeFile(root / "user/icons/hicolor/48x48/apps/quill.png", "p");
    writeFile(root / "share/icons/hicolor/128x128/apps/quill.png", "p");
    writeFile(root / "share/icons/hicolor/16x16/apps/zeta.svg", "p");
    writeFile(root / "share/pixmaps/nimbus.xpm", "p");
    IconResolver icons({(root / "user").string(), (root / "share").string()});
    EXPECT_EQ(icons.resolve("quill"), (root / "user/icons/hicolor/48x48/apps/quill.png").string())
        << "an earlier data folder wins over a better size in a later one";
    EXPECT_EQ(icons.resolve("zeta"), (root / "share/icons/hicolor/16x16/apps/zeta.svg").string());
    EXPECT_EQ(icons.resolve("nimbus"), (root / "share/pixmaps/nimbus.xpm").string());
    EXPECT_EQ(icons.resolve((root / "share/pixmaps/nimbus.xpm").string()), (root / "share/pixmaps/nimbus.xpm").string());
    EXPECT_EQ(icons.resolve("missing"), std::nullopt);
    writeFile(root / "share/icons/hicolor/scalable/apps/quill.svg", "svg");
    writeFile(root / "share/icons/hicolor/256x256/apps/quill.png", "p");
    IconResolver large({(root / "share").string()}, 256);
    EXPECT_EQ(large.resolve("quill"), (root / "share/icons/hicolor/256x256/apps/quill.png").string());
    fs::remove(root / "share/icons/hicolor/256x256/apps/quill.png");
    EXPECT_EQ(large.resolve("quill"), (root / "share/icons/hicolor/scalable/apps/quill.svg").string())
        << "the scalable icon comes right after the exact size";
    IconResolver small({(root / "share").string()}, 24);
    EXPECT_EQ(small.resolve("zeta"), (root / "share/icons/hicolor/16x16/apps/zeta.svg").string());
    EXPECT_EQ(icons.resolve(""), std::nullopt);

    auto locations = SupportLocations::underHome((root / "home").string());
    writeFile(root / "home/.config/user-dirs.dirs",
              "# written by xdg-user-dirs-update\nXDG_DOWNLOAD_DIR=\"$HOME/Telechargements\"\n"
              "XDG_DESKTOP_DIR=\"$HOME/\"\nXDG_DOCUMENTS_DIR=\"/srv/docs\"\n");
    EXPECT_EQ(xdgUserDirectory(locations, "XDG_DOWNLOAD_DIR", "Downloads"), (root / "home/Telechargements").string());
    EXPECT_EQ(xdgUserDirectory(locations, "XDG_DESKTOP_DIR", "Desktop"), (root / "home/Desktop").string())
        << "a directory set to the home itself is switched off";
    EXPECT_EQ(xdgUserDirectory(locations, "XDG_DOCUMENTS_DIR", "Documents"), "/srv/docs");
    EXPECT_EQ(xdgUserDirectory(locations, "XDG_MUSIC_DIR", "Music"), (root / "home/Music").string());
}

TEST(ApplicationMetadata, ImagesAreNamedByTheirFileAndCopiesMergeByIdentifier)
{
    TemporaryDirectory temporary;
    writeFile(temporary.path() / "Nimbus-2.1-x86_64.AppImage", std::string(100, 'x'));
    writeFile(temporary.path() / "Pixel_Forge-10.4.2.AppImage", "x");
    writeFile(temporary.path() / "tool.AppImage", "x");
    ApplicationReader reader(ApplicationLocations::from(SupportLocations::underHome(temporary.path().string())));

    auto nimbus = reader.readAppImage((temporary.path() / "Nimbus-2.1-x86_64.AppImage").string(), true);
    ASSERT_TRUE(nimbus);
    EXPECT_EQ(nimbus->bundleInfo.name, "Nimbus");
    EXPECT_EQ(nimbus->bundleInfo.version.release, v(2, 1, 0));
    EXPECT_EQ(nimbus->kind, ApplicationKind::appImage);
    ASSERT_EQ(nimbus->binaries.files.size(), 1u);
    EXPECT_EQ(nimbus->binaries.files[0].size, 100);
    auto forge = reader.readAppImage((temporary.path() / "Pixel_Forge-10.4.2.AppImage").string(), true);
    ASSERT_TRUE(forge);
    EXPECT_EQ(forge->bundleInfo.name, "Pixel Forge");
    EXPECT_EQ(forge->bundleInfo.version.release, v(10, 4, 2));
    auto tool = reader.readAppImage((temporary.path() / "tool.AppImage").string(), true);
    ASSERT_TRUE(tool);
    EXPECT_EQ(tool->bundleInfo.name, "tool");
    EXPECT_EQ(tool->bundleInfo.version.shortVersionString, std::nullopt);

    std::string error;
    EXPECT_FALSE(reader.readAppImage((temporary.path() / "Gone-1.0.AppImage").string(), true, &error));
    EXPECT_NE(error.find("no such file"), std::string::npos) << error;
    EXPECT_FALSE(reader.readAppImage((temporary.path() / ".AppImage").string(), true));

    auto first = std::make_shared<ApplicationItem>(*nimbus);
    auto copy = std::make_shared<ApplicationItem>(*nimbus);
    copy->binaries.files[0].url = "file:///elsewhere/Nimbus-2.1-x86_64.AppImage";
    auto other = std::make_shared<ApplicationItem>(*forge);
    std::vector<std::shared_ptr<ApplicationItem>> merged;
    mergeByIdentifier(merged, {first, other, copy, first});
    ASSERT_EQ(merged.size(), 2u);
    EXPECT_EQ(merged[0], first) << "the first item found stays";
    EXPECT_EQ(merged[0]->binaries.files.size(), 2u) << "a copy adds its binary; the same file is not added twice";
    EXPECT_EQ(merged[0]->size(), 200);
}
