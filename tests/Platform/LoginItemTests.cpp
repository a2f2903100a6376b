#include "Platform/Startup/LoginItems.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace tarnel::platform;
using tarnel::testing::readFile;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

std::string entry(const std::string& name, const std::string& extra = "")
{
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=/usr/bin/" + name + " --tray\nIcon=" + name +
           "-icon\n" + extra + "\n[Desktop Action quit]\nName=Quit\nHidden=false\n";
}

// Every file below a folder with its bytes, to show that nothing of the system changed.
std::map<fs::path, std::string> snapshot(const fs::path& folder)
{
    std::map<fs::path, std::string> files;
    for (const auto& e : fs::recursive_directory_iterator(folder))
        if (e.is_regular_file())
            files[e.path()] = readFile(e.path());
    return files;
}

struct AutostartTree {
    TemporaryDirectory directory{"tarnel-autostart"};
    AutostartFolders folders{directory.path() / "home/.config/autostart",
                             {directory.path() / "etc/xdg/autostart", directory.path() / "usr/xdg/autostart"},
                             {"ubuntu", "GNOME"}};

    AutostartTree()
    {
        const auto user = folders.user;
        const auto sys = folders.system[0];
        writeFile(user / "notes.desktop", entry("notes"));
        writeFile(user / "hidden-own.desktop", entry("hiddenown", "Hidden=true"));
        writeFile(user / "kde-only.desktop", entry("kdeonly", "OnlyShowIn=KDE;"));
        writeFile(user / "gnome-only.desktop", entry("gnomeonly", "OnlyShowIn=XFCE;GNOME;"));
        writeFile(user / "not-gnome.desktop", entry("notgnome", "NotShowIn=GNOME;"));
        writeFile(user / "readme.txt", "not an entry");
        writeFile(sys / "tracker.desktop", entry("tracker"));
        writeFile(sys / "keyring.desktop", entry("keyring"));
        writeFile(user / "keyring.desktop", entry("keyring", "Hidden=true"));
        writeFile(sys / "system-hidden.desktop", entry("systemhidden", "Hidden=true"));
        writeFile(sys / "shadowed.desktop", entry("first"));
        writeFile(folders.system[1] / "shadowed.desktop", entry("second"));
        writeFile(folders.system[1] / "late.desktop", entry("late", "X-GNOME-Autostart-enabled=false"));
    }
    LoginItem item(const std::vector<LoginItem>& items, const std::string& id) const
    {
        const auto it = std::find_if(items.begin(), items.end(), [&](const LoginItem& i) { return i.identifier == id; });
        if (it == items.end())
            throw std::runtime_error(id + " not listed");
        return *it;
    }
};

} // namespace

TEST(LoginItems, ListsWhatOpensInThisDesktopAndWhatTheUserSwitchedOff)
{
    AutostartTree tree;
    const auto items = LoginItemStore(tree.folders).read();
    std::vector<std::string> ids;
    for (const auto& item : items)
        ids.push_back(item.identifier);
    EXPECT_EQ(ids, (std::vector<std::string>{"gnome-only.desktop", "keyring.desktop", "notes.desktop",
                                             "shadowed.desktop", "tracker.desktop"}));

    const auto notes = tree.item(items, "notes.desktop");
    EXPECT_EQ(notes.name, "notes");
    EXPECT_EQ(notes.program, "/usr/bin/notes");
    EXPECT_EQ(notes.icon, "notes-icon");
    EXPECT_EQ(notes.source, LoginItemSource::user);
    EXPECT_TRUE(notes.isEnabled);

    const auto keyring = tree.item(items, "keyring.desktop");
    EXPECT_EQ(keyring.source, LoginItemSource::system);
    EXPECT_FALSE(keyring.isEnabled);
    EXPECT_EQ(keyring.url, tree.folders.user / "keyring.desktop");
    EXPECT_EQ(keyring.systemUrl, tree.folders.system[0] / "keyring.desktop");
    // The first configuration folder wins over later ones.
    EXPECT_EQ(tree.item(items, "shadowed.desktop").name, "first");
    EXPECT_TRUE(tree.item(items, "tracker.desktop").isEnabled);

    AutostartEntry only = AutostartEntry::parse(entry("x", "OnlyShowIn=KDE;"));
    EXPECT_FALSE(only.shownIn({}));
    EXPECT_TRUE(only.shownIn({"KDE"}));
    EXPECT_TRUE(AutostartEntry::parse(entry("x")).shownIn({}));
    // Keys of other groups do not count.
    EXPECT_TRUE(AutostartEntry::parse(entry("x")).opens());
}

TEST(LoginItems, RemovingTheUsersOwnEntryCanBeUndone)
{
    AutostartTree tree;
    const LoginItemStore store(tree.folders);
    const auto before = readFile(tree.folders.user / "notes.desktop");
    const auto removed = store.remove(tree.item(store.read(), "notes.desktop"));
    EXPECT_FALSE(fs::exists(tree.folders.user / "notes.desktop"));
    EXPECT_THROW(tree.item(store.read(), "notes.desktop"), std::runtime_error);

    store.restore(removed);
    EXPECT_EQ(readFile(tree.folders.user / "notes.desktop"), before);
    EXPECT_TRUE(tree.item(store.read(), "notes.desktop").isEnabled);

    // An entry that appeared again in the meantime is not overwritten.
    const auto again = store.remove(tree.item(store.read(), "notes.desktop"));
    writeFile(tree.folders.user / "notes.desktop", "[Desktop Entry]\nName=newer\n");
    EXPECT_THROW(store.restore(again), LoginItemError);
    EXPECT_EQ(readFile(tree.folders.user / "notes.desktop"), "[Desktop Entry]\nName=newer\n");
    EXPECT_FALSE(fs::exists(tree.folders.user / "notes.desktop.tarnel-new"));

    // A restore aimed outside the user's folder is refused.
    EXPECT_THROW(store.restore({tree.folders.system[0] / "evil.desktop", "x"}), LoginItemError);
    EXPECT_FALSE(fs::exists(tree.folders.system[0] / "evil.desktop"));
}

TEST(LoginItems, SystemEntriesAreSwitchedByTheUsersOverrideAndNeverDeleted)
{
    AutostartTree tree;
    const auto system = snapshot(tree.directory.path() / "etc");
    const auto systemLate = snapshot(tree.directory.path() / "usr");
    const LoginItemStore store(tree.folders);

    const auto tracker = tree.item(store.read(), "tracker.desktop");
    EXPECT_THROW(store.remove(tracker), LoginItemError);
    store.setSystemItemEnabled(tracker, false);
    const auto off = tree.item(store.read(), "tracker.desktop");
    EXPECT_FALSE(off.isEnabled);
    const auto override = readFile(tree.folders.user / "tracker.desktop");
    EXPECT_NE(override.find("Hidden=true"), std::string::npos);
    // The override keeps the entry's own keys, and other groups keep their Hidden key untouched.
    EXPECT_NE(override.find("Name=tracker"), std::string::npos);
    EXPECT_NE(override.find("[Desktop Action quit]\nName=Quit\nHidden=false"), std::string::npos);

    store.setSystemItemEnabled(off, true);
    EXPECT_FALSE(fs::exists(tree.folders.user / "tracker.desktop"));
    EXPECT_TRUE(tree.item(store.read(), "tracker.desktop").isEnabled);

    // An override the user changed loses only its Hidden key.
    writeFile(tree.folders.user / "keyring.desktop", entry("keyring", "Hidden=true\nX-Custom=kept"));
    store.setSystemItemEnabled(tree.item(store.read(), "keyring.desktop"), true);
    const auto kept = readFile(tree.folders.user / "keyring.desktop");
    EXPECT_NE(kept.find("X-Custom=kept"), std::string::npos);
    EXPECT_EQ(kept.find("Hidden=true"), std::string::npos);
    EXPECT_TRUE(tree.item(store.read(), "keyring.desktop").isEnabled);

    // No writable folder for the override: a clear error, and the system entry stays in effect.
    AutostartFolders blocked = tree.folders;
    blocked.user = tree.directory.path() / "file-not-folder/autostart";
    writeFile(tree.directory.path() / "file-not-folder", "x");
    const LoginItemStore blockedStore(blocked);
    EXPECT_THROW(blockedStore.setSystemItemEnabled(tree.item(blockedStore.read(), "tracker.desktop"), false), LoginItemError);
    EXPECT_TRUE(tree.item(blockedStore.read(), "tracker.desktop").isEnabled);

    EXPECT_EQ(snapshot(tree.directory.path() / "etc"), system);
    EXPECT_EQ(snapshot(tree.directory.path() / "usr"), systemLate);
}

TEST(LoginItems, SettingAKeyTouchesOnlyTheDesktopEntryGroup)
{
    EXPECT_EQ(withDesktopEntryKey("[Desktop Entry]\nName=a\nHidden=false\n[Other]\nHidden=x\n", "Hidden", "true"),
              "[Desktop Entry]\nName=a\nHidden=true\n[Other]\nHidden=x\n");
    EXPECT_EQ(withDesktopEntryKey("[Desktop Entry]\nHidden = true\nName=a\n", "Hidden", std::nullopt),
              "[Desktop Entry]\nName=a\n");
    EXPECT_EQ(withDesktopEntryKey("Name=a\n", "Hidden", "true"), "[Desktop Entry]\nHidden=true\nName=a\n");
    EXPECT_THROW(LoginItemStore(AutostartFolders{}).restore({"/x/y.desktop", ""}), LoginItemError);
}
