#include "Scanning/SupportFiles/ApplicationResourceGroup.h"
#include "Scanning/SupportFiles/SimpleMatchSupportingFilesProcedure.h"
#include "Scanning/SupportFiles/SupportFileMatcher.h"

#include <gtest/gtest.h>

#include <set>

using namespace tarnel;
using Category = ApplicationResourceGroup::Category;

namespace {

// Nodes of one made-up tree; the list keeps every node alive, as a scan's collector does.
class Tree {
public:
    std::shared_ptr<FileNode> add(const std::string& path, const std::shared_ptr<FileNode>& parent = nullptr,
                                  bool directory = false)
    {
        auto type = directory ? FileNode::NodeType::directory : FileNode::NodeType::file;
        nodes.push_back(std::make_shared<FileNode>(path, parent, 7, type));
        return nodes.back();
    }
    std::shared_ptr<FileNode> folder(const std::string& path, const std::shared_ptr<FileNode>& parent = nullptr)
    {
        return add(path, parent, true);
    }
    FileCollector::Files nodes;
};

std::set<std::string> names(const std::vector<ApplicationResource>& resources)
{
    std::set<std::string> result;
    for (const auto& resource : resources)
        result.insert(resource.name);
    return result;
}

ApplicationIdentity notes()
{
    ApplicationIdentity identity;
    identity.displayName = "Notes";
    identity.desktopFileId = "com.example.foo.desktop";
    return identity;
}

} // namespace

TEST(SupportFileMatching, NamesMatchWholeIdentifiersInsideAndTheBlockListFirst)
{
    Tree tree;
    for (auto name : {"Notes", "notes", "NotesBackup", "Note", "Notes.conf", "com.example.foo", "com.example.foo.conf",
                      "group.com.example.foo", "com.example.foo.helper", "com.example.fo", "org.gnome.com.example.foo",
                      "com.example.foo.crashreporter.log", "com.example.foo.CrashReporter.log", "kde-notes", "NOTES"})
        tree.add(std::string("/h/.config/") + name);
    SupportFileMatcher matcher({notes()});
    EXPECT_EQ(names(matcher.match(tree.nodes)),
              (std::set<std::string>{"Notes", "notes", "NOTES", "com.example.foo", "com.example.foo.conf",
                                     "group.com.example.foo", "com.example.foo.helper",
                                     "com.example.foo.CrashReporter.log"}));

    // The block list is case-sensitive and applies whatever the application.
    EXPECT_FALSE(SupportFileMatcher::passesBlockList("org.gnome.Maps"));
    EXPECT_FALSE(SupportFileMatcher::passesBlockList("Foo.crashreporter.log"));
    EXPECT_TRUE(SupportFileMatcher::passesBlockList("Foo.CrashReporter.log"));
    EXPECT_TRUE(SupportFileMatcher::passesBlockList("org.GNOME.Maps"));
    for (auto word : SupportFileMatcher::blockedWords())
        EXPECT_FALSE(SupportFileMatcher::passesBlockList("x" + std::string(word) + "y")) << word;
    ApplicationIdentity maps;
    maps.sandboxId = "org.gnome.Maps";
    Tree blocked;
    blocked.add("/h/.var/app/org.gnome.Maps");
    EXPECT_TRUE(SupportFileMatcher({maps}).match(blocked.nodes).empty());
}

TEST(SupportFileMatching, LinuxNamesOfAnApplicationAndWhichAreExact)
{
    ApplicationIdentity zeta;
    zeta.displayName = "Zeta Editor";
    zeta.desktopFileId = "org.example.Zeta.desktop";
    zeta.execProgram = "/usr/bin/zeta";
    zeta.startupWMClass = "ZetaWin";
    zeta.sandboxId = "org.example.Zeta";
    zeta.owningPackage = "zeta-editor";
    EXPECT_EQ(zeta.names(), (std::vector<std::string>{"Zeta Editor", "zeta", "ZetaWin", "zeta-editor"}));
    EXPECT_EQ(zeta.identifiers(), std::vector<std::string>{"org.example.Zeta"});

    ApplicationIdentity snap;
    snap.desktopFileId = "quill_quill.desktop";
    snap.sandboxId = "quill";
    EXPECT_EQ(snap.names(), (std::vector<std::string>{"quill_quill", "quill"}));
    EXPECT_TRUE(snap.identifiers().empty());

    EXPECT_TRUE(isReverseDomainName("org.example.Zeta"));
    EXPECT_FALSE(isReverseDomainName("example.Zeta"));
    EXPECT_FALSE(isReverseDomainName("org..Zeta"));
    EXPECT_FALSE(isReverseDomainName(".org.example.Zeta"));
    EXPECT_FALSE(isReverseDomainName("org.example.Zeta."));
}

TEST(SupportFileMatching, AMatchedFolderStandsForItsContentsAndTwoApplicationsMayClaimOneFile)
{
    Tree tree;
    auto logs = tree.folder("/var/log/Foo");
    tree.add("/var/log/Foo/com.example.foo.log", logs);
    auto other = tree.folder("/var/log/other");
    tree.add("/var/log/other/com.example.foo.log", other);
    // Its parent is gone: it counts as having no ancestor.
    tree.add("/var/log/Foo/orphan.com.example.foo", std::make_shared<FileNode>("/var/log/Foo", nullptr, 0,
                                                                                FileNode::NodeType::directory));

    ApplicationIdentity foo;
    foo.displayName = "Foo";
    foo.desktopFileId = "com.example.foo.desktop";
    auto resources = SupportFileMatcher({foo}).match(tree.nodes);
    std::vector<std::string> urls;
    for (const auto& resource : resources)
        urls.push_back(resource.url);
    EXPECT_EQ(urls, (std::vector<std::string>{"file:///var/log/Foo/", "file:///var/log/other/com.example.foo.log",
                                              "file:///var/log/Foo/orphan.com.example.foo"}));
    EXPECT_EQ(resources[0].type, FileNode::NodeType::directory);
    EXPECT_EQ(resources[0].size, 7);

    // No check across applications: a second one claiming the same file lists it too.
    ApplicationIdentity bar;
    bar.desktopFileId = "com.example.foo.bar.desktop";
    bar.displayName = "Foo";
    ApplicationSupportFiles files;
    files.libraryLogs = tree.nodes;
    auto forFoo = SimpleMatchSupportingFilesProcedure::matchAll({foo}, files);
    auto forBar = SimpleMatchSupportingFilesProcedure::matchAll({bar}, files);
    EXPECT_EQ(names(forFoo[2].files).count("Foo"), 1u);
    EXPECT_EQ(names(forBar[2].files).count("Foo"), 1u);
}

TEST(SupportFileMatching, ElevenGroupsInOrderAndTheApplicationsNextToTheirFolders)
{
    Tree tree;
    ApplicationSupportFiles files;
    files.applications = {tree.folder("/opt/Foo"), tree.folder("/opt/foo"), tree.add("/opt/Foo.AppImage"),
                          tree.folder("/opt/Foo.app")};
    files.userLibraryCookies = {tree.add("/h/Foo")};
    files.userLibrary = {tree.add("/h/.Foo")};
    ApplicationIdentity foo;
    foo.displayName = "Foo";
    foo.execProgram = "Foo.AppImage";
    foo.applicationRoot = "/opt/foo/";
    auto groups = SimpleMatchSupportingFilesProcedure::matchAll({foo}, files);
    std::vector<Category> order;
    for (const auto& group : groups)
        order.push_back(group.category);
    EXPECT_EQ(order, (std::vector<Category>{Category::preferences, Category::supportFiles, Category::logs,
                                            Category::caches, Category::containers, Category::groupContainers,
                                            Category::scripts, Category::plugins, Category::helperTools,
                                            Category::loginItems, Category::other}));
    // The application's own root and application files are no leftovers of it.
    EXPECT_EQ(names(groups[10].files), std::set<std::string>{"Foo"});
    EXPECT_EQ(names(groups[1].files), std::set<std::string>{"Foo"});
    EXPECT_EQ(groups[1].size(), 7);
    // userLibrary is read but no step looks at it.
    for (const auto& group : groups)
        EXPECT_EQ(names(group.files).count(".Foo"), 0u);

    EXPECT_EQ(ApplicationResourceGroup::rawValue(Category::groupContainers), "groupContainers");
    EXPECT_EQ(ApplicationResourceGroup::categoryFromRawValue("helperTools"), Category::helperTools);
    EXPECT_EQ(ApplicationResourceGroup::categoryFromRawValue("HelperTools"), std::nullopt);
    EXPECT_EQ(ApplicationResourceGroup::title(Category::supportFiles).key, "application_resource_support_files");
    EXPECT_EQ(ApplicationResourceGroup::title(Category::other).defaultText, "Other");
}
