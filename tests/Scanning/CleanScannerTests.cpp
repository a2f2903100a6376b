#include "MachineTree.h"
#include "Scanning/Clean/CleanScanner.h"
#include "ScanListenerRecorder.h"
#include "ScanTestSupport.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

using namespace tarnel;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t MB = 1'000'000;

// A home and a system root with known contents for every group.
class CleanMachine : public MachineTree {
public:
    CleanMachine()
    {
        // Downloads: a file, a disk image, a package, a folder (shown nowhere).
        sized(home / "Downloads/notes.txt", 10);
        sized(home / "Downloads/distro.iso", 20);
        sized(home / "Downloads/tool.deb", 30);
        sized(home / "Downloads/unpacked/readme", 5);
        // Desktop: an image at the first level, a package at the second, an image at the third
        // that only the home query finds.
        sized(home / "Desktop/card.img", 40);
        sized(home / "Desktop/setup/app.rpm", 50);
        sized(home / "Desktop/setup/old/backup.iso", 60);
        // Caches: one named after an application, one not; their sizes come from the size stage.
        sized(home / ".cache/org.example.Zeta/blob", 100);
        sized(home / ".cache/org.example.Zeta/more/blob", 23);
        sized(home / ".cache/thumbnails/a.png", 7);
        sized(home / ".cache/fontlist", 9);
        // User logs: a log folder and a log file below the state and cache folders, the session
        // logs of the home, and one too deep to count.
        sized(home / ".local/state/editor/logs/today.log", 11);
        sized(home / ".local/state/editor/logs/yesterday.log", 12);
        sized(home / ".local/state/shell.log", 13);
        sized(home / ".local/state/a/b/c/deep.log", 14);
        sized(home / ".cache/thumbnails/log", 15);
        sized(home / ".xsession-errors", 16);
        sized(home / ".xsession-errors.old", 17);
        // System logs.
        sized(root / "var/log/syslog", 18);
        sized(root / "var/log/apt/history.log", 19);
        sized(root / "var/log/apt/term.log", 20);
        // Large files: over, at and below the limit, an image, an application, a synchronised one.
        sparse(home / "Videos/film.mkv", 150 * MB);
        sparse(home / "Videos/exact.bin", 100 * MB);
        sparse(home / "Videos/ripped.iso", 200 * MB);
        sparse(home / "Apps/Huge-1.0.AppImage", 200 * MB);
        sparse(home / "Dropbox/archive.bin", 300 * MB);
        sparse(home / "Documents/OneDrive/old.deb", 120 * MB);
        // The application that names the cache folder.
        auto zeta = root / "var/lib/flatpak/app/org.example.Zeta/current/active";
        writeFile(zeta / "metadata", "[Application]\nname=org.example.Zeta\ncommand=zeta\n");
        writeFile(zeta / "export/share/applications/org.example.Zeta.desktop",
                  "[Desktop Entry]\nType=Application\nName=Zeta Editor\nExec=zeta\nIcon=org.example.Zeta\n");
        writeFile(zeta / "export/share/icons/hicolor/128x128/apps/org.example.Zeta.png", "png");
    }

    CleanLocations locations() const
    {
        return CleanLocations::from(SupportLocations::underHome(home.string(), root.string()));
    }

    // Each item as "path size" with the path shown from the home ("~") or the root.
    std::map<std::string, std::uint64_t> shown(const CleanScanItemSet& set) const
    {
        std::map<std::string, std::uint64_t> result;
        for (const auto& item : set.items())
            result[display(item.path())] = item.size;
        return result;
    }

private:
    static void sized(const fs::path& path, std::size_t bytes) { writeFile(path, std::string(bytes, 'c')); }
    static void sparse(const fs::path& path, std::uintmax_t bytes)
    {
        writeFile(path, "");
        fs::resize_file(path, bytes);
    }
};

// Notes the User Cache group as it stands when the last status arrives.
class SizeWatcher : public CleanScannerListener {
public:
    explicit SizeWatcher(const CleanScanner& scanner) : scanner_(scanner) {}
    void cleanScannerDidStart() override {}
    void cleanScannerDidFinish() override {}
    void cleanScannerDidUpdate(const std::string& status, double) override
    {
        if (status == "Calculating size\u2026")
            cachesBeforeSizes = scanner_.group(CleanScanGroup::userCache);
    }
    CleanScanItemSet cachesBeforeSizes;

private:
    const CleanScanner& scanner_;
};

void runToEnd(CleanScanner& scanner, ScanListenerRecorder& recorder, VirtualTime& time)
{
    auto before = recorder.events();
    auto finishedBefore =
        std::count_if(before.begin(), before.end(), [](const auto& event) { return event.what == "finish"; });
    scanner.start();
    waitUntil(
        [&] {
            auto events = recorder.events();
            return std::count_if(events.begin(), events.end(), [](const auto& e) { return e.what == "finish"; }) >
                   finishedBefore;
        },
        [&] { time.poll(); });
}

} // namespace

TEST(CleanScanner, EveryGroupHoldsExactlyItsItemsWithTheirSizes)
{
    VirtualTime time;
    CleanMachine machine;
    CapturedScanLog log;
    CleanScanner scanner(machine.locations(), tarnel::testing::firstWordStatus());
    auto recorder = std::make_shared<ScanListenerRecorder>();
    auto watcher = std::make_shared<SizeWatcher>(scanner);
    scanner.addListener(recorder);
    scanner.addListener(watcher);
    runToEnd(scanner, *recorder, time);
    EXPECT_FALSE(scanner.isRunning());
    EXPECT_EQ(machine.shown(watcher->cachesBeforeSizes),
              (std::map<std::string, std::uint64_t>{
                  {"~/.cache/org.example.Zeta", 0}, {"~/.cache/thumbnails", 0}, {"~/.cache/fontlist", 9}}))
        << "a folder weighs nothing until the size stage, which runs after the last status";

    using Sizes = std::map<std::string, std::uint64_t>;
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::downloads)), (Sizes{{"~/Downloads/notes.txt", 10}}))
        << "images and packages leave Downloads, and a folder there shows nowhere";
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::diskImages)),
              (Sizes{{"~/Downloads/distro.iso", 20},
                     {"~/Desktop/card.img", 40},
                     {"~/Desktop/setup/old/backup.iso", 60},
                     {"~/Videos/ripped.iso", 200 * MB}}))
        << "a large image is an image, not a large file; found twice it is one item";
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::packages)),
              (Sizes{{"~/Downloads/tool.deb", 30}, {"~/Desktop/setup/app.rpm", 50}}))
        << "nothing from the synchronised folders";
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::largeFiles)), (Sizes{{"~/Videos/film.mkv", 150 * MB}}))
        << "not the file of exactly the limit, not an application, not a synchronised file";
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::userCache)),
              (Sizes{{"~/.cache/org.example.Zeta", 123}, {"~/.cache/thumbnails", 22}, {"~/.cache/fontlist", 9}}))
        << "folders are measured in the size stage";
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::userLogs)),
              (Sizes{{"~/.local/state/editor/logs", 23},
                     {"~/.local/state/shell.log", 13},
                     {"~/.cache/thumbnails/log", 15},
                     {"~/.xsession-errors", 16},
                     {"~/.xsession-errors.old", 17}}))
        << "a log folder stands for its files; a log four levels down is not looked at";
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::systemLogs)),
              (Sizes{{"/var/log/syslog", 18}, {"/var/log/apt", 39}}));
    EXPECT_TRUE(scanner.group(CleanScanGroup::developer).empty());
    EXPECT_TRUE(scanner.group(CleanScanGroup::mailAttachments).empty());

    std::map<std::string, std::pair<std::optional<std::string>, std::optional<std::string>>> labels;
    auto caches = scanner.group(CleanScanGroup::userCache);
    for (const auto& item : caches.items())
        labels[std::string(item.file->name())] = {item.name(), item.icon()};
    EXPECT_EQ(labels["org.example.Zeta"].first, "Zeta Editor Caches");
    EXPECT_EQ(labels["org.example.Zeta"].second,
              (machine.root / "var/lib/flatpak/app/org.example.Zeta/current/active/export/share/icons/hicolor/128x128/"
                              "apps/org.example.Zeta.png")
                  .string());
    EXPECT_EQ(labels["thumbnails"].first, "thumbnails");
    EXPECT_EQ(labels["thumbnails"].second, std::nullopt);
    ASSERT_EQ(scanner.allApplications().size(), 1u);

    auto events = recorder->events();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front().what, "start");
    EXPECT_EQ(events.back().what, "finish");
    const auto updates = recorder->mainActorUpdates();
    const std::vector<std::pair<std::string, double>> expected{
        {"Digging through User Logs...", 0.05},  {"Digging through User Cache...", 0.15},
        {"Digging through System Logs...", 0.25}, {"Digging through Downloads...", 0.35},
        {"Digging through Disk Images...", 0.45}, {"Digging through Large Files...", 0.65},
        {"Digging through Developer...", 0.8},    {"Digging through Mail Attachments...", 0.8},
        {"Calculating size\u2026", 1.0},
    };
    EXPECT_EQ(updates, expected);
    EXPECT_TRUE(log.messages(ScanLogLevel::error).empty());
}

TEST(CleanScanner, SecondStartIsRefusedAndAdditiveGroupsKeepTheirContentUntilClear)
{
    VirtualTime time;
    CleanMachine machine;
    CapturedScanLog log;
    CleanScanner scanner(machine.locations());
    // A developer step of a later part of the scanner: what it finds is the group.
    scanner.setDeveloperStep([&machine](const CleanLocations&) {
        auto node = std::make_shared<FileNode>((machine.home / "Downloads/notes.txt").string(), nullptr, 10,
                                               FileNode::NodeType::file);
        auto unit = std::make_shared<EmptyCleanStepProcedure>();
        return CleanStep{unit, [node] { return std::vector<CleanScanItem>{*CleanScanItem::make(node)}; }};
    });
    auto recorder = std::make_shared<ScanListenerRecorder>();
    scanner.addListener(recorder);
    scanner.start();
    EXPECT_TRUE(scanner.isRunning());
    scanner.start();
    EXPECT_EQ(log.messages(ScanLogLevel::error), std::vector<std::string>{"Clean Scanner is already running"});
    waitUntil([&] { return recorder->finished(); }, [&] { time.poll(); });
    EXPECT_EQ(scanner.group(CleanScanGroup::developer).size(), 1u);
    auto firstDownloads = scanner.group(CleanScanGroup::downloads).size();
    EXPECT_EQ(firstDownloads, 1u);
    EXPECT_EQ(scanner.group(CleanScanGroup::packages).size(), 2u);

    // Without clear(), a package deleted since stays in its group: its steps only add.
    fs::remove(machine.home / "Downloads/tool.deb");
    runToEnd(scanner, *recorder, time);
    EXPECT_EQ(scanner.group(CleanScanGroup::packages).size(), 2u);
    EXPECT_EQ(scanner.group(CleanScanGroup::downloads).size(), 1u) << "Downloads is stored anew";

    scanner.clear();
    EXPECT_TRUE(scanner.groups().empty());
    EXPECT_TRUE(scanner.group(CleanScanGroup::packages).empty()) << "a group never stored reads as empty";
    runToEnd(scanner, *recorder, time);
    EXPECT_EQ(machine.shown(scanner.group(CleanScanGroup::packages)),
              (std::map<std::string, std::uint64_t>{{"~/Desktop/setup/app.rpm", 50}}));
    EXPECT_EQ(log.messages(ScanLogLevel::error).size(), 1u);
}

TEST(CleanScanner, MissingFoldersGiveEmptyGroupsAndTheScanStillFinishes)
{
    VirtualTime time;
    TemporaryDirectory temporary;
    CleanScanner scanner(CleanLocations::from(SupportLocations::underHome((temporary.path() / "gone").string(),
                                                                          (temporary.path() / "none").string())));
    auto recorder = std::make_shared<ScanListenerRecorder>();
    scanner.addListener(recorder);
    runToEnd(scanner, *recorder, time);
    for (auto group : allCleanScanGroups)
        EXPECT_TRUE(scanner.group(group).empty()) << rawValue(group);
    EXPECT_EQ(recorder->events().back().what, "finish");
}

TEST(CleanScanner, ItemsAreEqualByFileNameAndChildrenAndSetsKeepOneOfEach)
{
    auto node = [](std::string path, std::int64_t size, FileNode::NodeType type = FileNode::NodeType::file) {
        return std::make_shared<FileNode>(std::move(path), nullptr, size, type);
    };
    auto a = *CleanScanItem::make(node("/h/a.iso", 5));
    auto sameFile = *CleanScanItem::make(node("/h/a.iso", 99));
    auto renamed = *CleanScanItem::make(node("/h/a.iso", 5), {}, "Zeta Caches");
    auto folder = *CleanScanItem::make(node("/h/a.iso", 5, FileNode::NodeType::directory));
    EXPECT_EQ(a, sameFile) << "the size is not part of equality";
    EXPECT_FALSE(a == renamed);
    EXPECT_FALSE(a == folder) << "a folder's URL differs from a file's";
    EXPECT_EQ(a.name(), "a.iso");
    EXPECT_EQ(renamed.name(), "Zeta Caches");
    EXPECT_FALSE(CleanScanItem::make(node("/h/unknown", -1))) << "a node of unknown size gives no item";

    auto grouping = *CleanScanItem::make(nullptr, {a, renamed}, "Both");
    EXPECT_EQ(grouping.size, 10u) << "without a file, the children's sum";
    EXPECT_EQ(grouping.name(), "Both");
    EXPECT_EQ(CleanScanItem::make(nullptr)->name(), std::nullopt);
    EXPECT_FALSE(grouping == *CleanScanItem::make(nullptr, {a}, "Both")) << "children are part of equality";

    CleanScanItemSet set;
    EXPECT_TRUE(set.insert(a));
    EXPECT_FALSE(set.insert(sameFile));
    EXPECT_TRUE(set.insert(renamed));
    EXPECT_TRUE(set.insert(grouping));
    CleanScanItemSet remove;
    remove.insert(sameFile);
    set.subtract(remove);
    ASSERT_EQ(set.size(), 2u);
    EXPECT_EQ(set.items()[0], renamed) << "order of insertion is kept";
    set.setSize(renamed, 77);
    EXPECT_EQ(set.totalSize(), 87u);
    EXPECT_TRUE(set.insert(a)) << "the index follows a subtraction";
}

TEST(CleanScanner, GroupTextsAndStatusWords)
{
    EXPECT_EQ(rawValue(CleanScanGroup::userCache), "userCache");
    EXPECT_EQ(cleanScanGroup("mailAttachments"), CleanScanGroup::mailAttachments);
    EXPECT_EQ(cleanScanGroup("nothing"), std::nullopt);
    EXPECT_EQ(title(CleanScanGroup::packages).key, "clean_installer_packages");
    EXPECT_EQ(description(CleanScanGroup::packages).key, "clean_installer_packages_description");
    EXPECT_EQ(iconName(CleanScanGroup::mailAttachments), "email-attachments-icon");
    for (auto group : allCleanScanGroups) {
        EXPECT_EQ(std::string(description(group).key), std::string(title(group).key) + "_description");
        EXPECT_EQ(std::string(description(group).defaultText).find("Mac"), std::string::npos) << rawValue(group);
    }
    std::size_t next = 0;
    ScanStatusText cycling([&next](std::size_t count) { return next++ % count; });
    std::set<std::string> seen;
    for (std::size_t i = 0; i < ScanStatusText::words.size(); ++i)
        seen.insert(cycling.about("Downloads"));
    EXPECT_EQ(seen.size(), 17u);
    EXPECT_TRUE(seen.contains("Skimming through Downloads..."));
    EXPECT_EQ(ScanStatusText::words[11].key, "clean_skimming_through");
    ScanStatusText random;
    auto text = random.about("Large Files");
    EXPECT_TRUE(text.ends_with(" Large Files...")) << text;
}
