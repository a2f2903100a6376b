// The Optimizer screen over a fixture machine: unit files read through systemctl --root and
// autostart entries of the test's own folders; switches, removal with undo, notices, the empty
// state, and screenshots in light and dark. Screenshots reviewed.
#include "Optimizer/OptimizerScreen.h"
#include "QtExecutor.h"
#include "Theme/ThemeManager.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include "Screenshots.h"
#include "WidgetTestSupport.h"
#include "TestSupport.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

#include <map>

using namespace tarnel;
using namespace tarnel::platform;
using tarnel::testing::readFile;
using tarnel::testing::save;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

// Pumps the event loop until `done` holds, for the hops between the update queue and the screen.
template <class Predicate>
bool until(Predicate done)
{
    for (int i = 0; i < 200 && !done(); ++i)
        QTest::qWait(5);
    return done();
}

std::string unit(const std::string& exec, const std::string& install)
{
    return "[Service]\nExecStart=" + exec + "\n[Install]\n" + install + "\n";
}

// The unit files of a folder (not its .wants links) with their contents or link targets.
std::map<std::string, std::string> filesOf(const fs::path& folder)
{
    std::map<std::string, std::string> files;
    for (const auto& e : fs::directory_iterator(folder))
        if (e.is_symlink())
            files[e.path().filename().string()] = "-> " + fs::read_symlink(e.path()).string();
        else if (e.is_regular_file())
            files[e.path().filename().string()] = readFile(e.path());
    return files;
}

struct FixtureMachine {
    TemporaryDirectory directory{"tarnel-optimizer-screen"};
    fs::path root = directory.path();
    UnitFolders units{root, root / "etc/systemd/user", root / "home/user/.config/systemd/user", root / "etc/systemd/system"};
    AutostartFolders autostart{root / "home/user/.config/autostart", {root / "etc/xdg/autostart"}, {"GNOME"}};
    bool daemonRefuses = false;

    FixtureMachine()
    {
        writeFile(units.system / "backup-agent.service", unit("/usr/bin/backup-agent --daemon", "WantedBy=multi-user.target"));
        writeFile(units.system / "printer-spooler.service", unit("/usr/sbin/printer-spooler", "WantedBy=multi-user.target"));
        writeFile(units.system / "updates.timer", "[Timer]\nOnCalendar=daily\n[Install]\nWantedBy=timers.target\n");
        writeFile(units.system / "updates.service", "[Service]\nExecStart=/usr/libexec/com.example.updater\n");
        fs::create_symlink("/dev/null", units.system / "telemetry.service");
        writeFile(units.globalUser / "sync-client.service", unit("/usr/bin/sync-client", "WantedBy=default.target"));
        writeFile(units.user / "notes-server.service", unit("/home/user/bin/notes-server", "WantedBy=default.target"));
        for (const char* enabled : {"backup-agent.service", "updates.timer"})
            runProgram({"/usr/bin/systemctl", "--root=" + root.string(), "enable", enabled});
        writeFile(autostart.user / "chat.desktop", "[Desktop Entry]\nName=Chat\nExec=/usr/bin/chat --hidden\nIcon=internet-chat\n");
        writeFile(autostart.user / "clipboard.desktop", "[Desktop Entry]\nName=Clipboard Manager\nExec=/usr/bin/clipman\nIcon=edit-paste\n");
        writeFile(autostart.system[0] / "tracker.desktop", "[Desktop Entry]\nName=File Indexer\nExec=/usr/libexec/tracker\n");
        writeFile(autostart.system[0] / "kde-wallet.desktop",
                  "[Desktop Entry]\nName=Wallet\nExec=/usr/bin/kwallet\nOnlyShowIn=KDE;\n");
    }

    std::shared_ptr<OptimizerProvider> provider()
    {
        OptimizerProvider::Sources sources;
        const auto folders = units;
        sources.launchItems = [folders] {
            const SystemctlUnitStates states(folders.root);
            return LaunchItemReader(folders, states).read();
        };
        sources.loginItems = std::make_shared<LoginItemStore>(autostart);
        const auto rootText = root.string();
        sources.setLaunchItemEnabled = [this, rootText](fs::path url, bool on) -> asio::awaitable<void> {
            if (daemonRefuses)
                throw std::runtime_error("Not authorized to change system units");
            const auto result = runProgram({"/usr/bin/systemctl", "--root=" + rootText, on ? "enable" : "disable",
                                            url.filename().string()});
            if (result.exitStatus != 0)
                throw std::runtime_error(result.output);
            co_return;
        };
        sources.applicationIcon = [](const fs::path& program) -> std::optional<std::string> {
            if (program.filename() == "backup-agent")
                return "drive-harddisk";
            return std::nullopt;
        };
        sources.updateQueue = quendal::Runtime::shared().mainExecutor();
        sources.clock = quendal::Runtime::shared().clockPointer();
        return std::make_shared<OptimizerProvider>(std::move(sources));
    }
};

} // namespace

int main(int argc, char** argv)
{
    tarnel::testing::WidgetTestOptions options;
    options.scrollBarStyle = false;
    return tarnel::testing::runWidgetTests(argc, argv, options);
}

TEST(OptimizerScreen, ShowsTheFixtureItemsInLightAndDark)
{
    FixtureMachine machine;
    gui::OptimizerScreen screen(machine.provider());
    screen.resize(720, 760);
    screen.show();
    ASSERT_TRUE(until([&] { return screen.control("chat.desktop") != nullptr; }));
    EXPECT_FALSE(screen.showsEmptyState());
    EXPECT_TRUE(screen.control(machine.units.system.string() + "/backup-agent.service")->isChecked());
    EXPECT_FALSE(screen.control(machine.units.system.string() + "/printer-spooler.service")->isChecked());
    EXPECT_FALSE(screen.control(machine.units.system.string() + "/telemetry.service")->isChecked());
    EXPECT_EQ(screen.control("chat.desktop")->text(), "Remove");
    EXPECT_TRUE(screen.control("tracker.desktop")->isChecked());
    EXPECT_EQ(screen.control("kde-wallet.desktop"), nullptr);

    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    QTest::qWait(30);
    save(screen, "optimizer-light");
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::dark);
    QTest::qWait(30);
    save(screen, "optimizer-dark");
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

TEST(OptimizerScreen, ASwitchChangesWhatSystemctlSaysAndAFailedOneGoesBack)
{
    FixtureMachine machine;
    gui::OptimizerScreen screen(machine.provider());
    screen.show();
    const auto spooler = machine.units.system.string() + "/printer-spooler.service";
    ASSERT_TRUE(until([&] { return screen.control(spooler) != nullptr; }));
    const auto unitFiles = filesOf(machine.units.system);

    screen.control(spooler)->click();
    ASSERT_TRUE(until([&] { return screen.notice()->text() == "printer-spooler updated"; }));
    EXPECT_EQ(runProgram({"/usr/bin/systemctl", "--root=" + machine.root.string(), "is-enabled", "printer-spooler.service"})
                  .output,
              "enabled\n");
    ASSERT_TRUE(until([&] { return screen.control(spooler)->isChecked() && screen.control(spooler)->isEnabled(); }));

    machine.daemonRefuses = true;
    screen.control(spooler)->click();
    ASSERT_TRUE(until([&] { return screen.notice()->text() == "Unable to update printer-spooler"; }));
    EXPECT_TRUE(screen.control(spooler)->isChecked());
    EXPECT_TRUE(screen.control(spooler)->isEnabled());
    EXPECT_TRUE(screen.undoButton()->isHidden());

    // Switching writes and removes only links in .wants folders: every unit file is still there, unchanged.
    machine.daemonRefuses = false;
    screen.control(machine.units.system.string() + "/backup-agent.service")->click();
    ASSERT_TRUE(until([&] { return screen.notice()->text() == "backup-agent updated"; })) << screen.notice()->text().toStdString();
    EXPECT_TRUE(until([&] { return !screen.control(machine.units.system.string() + "/backup-agent.service")->isChecked(); }));
    EXPECT_EQ(filesOf(machine.units.system), unitFiles);
}

TEST(OptimizerScreen, RemovingAnEntryShowsItsNoticeAndUndoBringsItBack)
{
    FixtureMachine machine;
    const auto tracker = readFile(machine.autostart.system[0] / "tracker.desktop");
    gui::OptimizerScreen screen(machine.provider());
    screen.show();
    ASSERT_TRUE(until([&] { return screen.control("chat.desktop") != nullptr; }));

    screen.control("chat.desktop")->click();
    ASSERT_TRUE(until([&] { return screen.control("chat.desktop") == nullptr; }));
    EXPECT_EQ(screen.notice()->text(), "Chat removed");
    EXPECT_FALSE(fs::exists(machine.autostart.user / "chat.desktop"));
    ASSERT_FALSE(screen.undoButton()->isHidden());
    screen.undoButton()->click();
    ASSERT_TRUE(until([&] { return screen.control("chat.desktop") != nullptr; }));

    screen.control("tracker.desktop")->click();
    ASSERT_TRUE(until([&] { return !screen.control("tracker.desktop")->isChecked(); }));
    EXPECT_EQ(readFile(machine.autostart.system[0] / "tracker.desktop"), tracker);
    EXPECT_TRUE(fs::exists(machine.autostart.user / "tracker.desktop"));
}

TEST(OptimizerScreen, NothingToShowGivesTheEmptyState)
{
    FixtureMachine machine;
    fs::remove_all(machine.root / "etc");
    fs::remove_all(machine.root / "home");
    auto provider = machine.provider();
    gui::OptimizerScreen screen(provider);
    screen.show();
    ASSERT_TRUE(until([&] { return provider->completedReloads() > 0; }));
    EXPECT_TRUE(screen.showsEmptyState());
}
