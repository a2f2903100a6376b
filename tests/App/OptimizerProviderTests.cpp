#include "App/Optimizer/OptimizerProvider.h"

#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <map>

using namespace tarnel;
using namespace tarnel::platform;
using tarnel::testing::readFile;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

LaunchItem unitItem(const std::string& label, const std::string& name, JobType type, bool enabled)
{
    LaunchItem item;
    item.label = label;
    item.program = {"/usr/bin/" + name, name};
    item.type = type;
    item.isEnabled = enabled;
    item.startsAutomatically = true;
    item.url = fs::path("/etc/systemd/system") / label;
    return item;
}

// The daemon's route as a test decides it: switches a unit of the fake machine, or fails.
struct FakeMachine {
    std::map<std::string, bool> enabled;
    std::vector<std::pair<fs::path, bool>> calls;
    bool failing = false;
    int reads = 0;

    std::vector<LaunchItem> read()
    {
        ++reads;
        std::vector<LaunchItem> items;
        for (const auto& [label, on] : enabled)
            items.push_back(unitItem(label, label == "b.service" ? "Beta" : label == "c.service" ? "beta" : "alpha",
                                     label == "u.service" ? JobType::agent : JobType::daemon, on));
        return items;
    }
};

struct OptimizerFixture {
    VirtualTime time;
    TemporaryDirectory directory{"tarnel-optimizer"};
    AutostartFolders folders{directory.path() / "autostart", {directory.path() / "xdg/autostart"}, {}};
    std::shared_ptr<FakeMachine> machine = std::make_shared<FakeMachine>();
    std::vector<OptimizerNotice> notices;
    int screenReloads = 0;
    std::shared_ptr<OptimizerProvider> provider;

    OptimizerFixture()
    {
        machine->enabled = {{"b.service", true}, {"a.service", false}, {"c.service", true}, {"u.service", true}};
        writeFile(folders.user / "zed.desktop", "[Desktop Entry]\nName=Zed\nExec=/usr/bin/zed\n");
        writeFile(folders.user / "alpha.desktop", "[Desktop Entry]\nName=alpha\nExec=/usr/bin/alpha\nIcon=alpha\n");
        writeFile(folders.system[0] / "applet.desktop", "[Desktop Entry]\nName=Applet\nExec=/usr/bin/applet\n");
        OptimizerProvider::Sources sources;
        auto fake = machine;
        sources.launchItems = [fake] { return fake->read(); };
        sources.loginItems = std::make_shared<LoginItemStore>(folders);
        sources.setLaunchItemEnabled = [fake](fs::path url, bool on) -> asio::awaitable<void> {
            fake->calls.emplace_back(url, on);
            if (fake->failing)
                throw std::runtime_error("refused");
            fake->enabled[url.filename().string()] = on;
            co_return;
        };
        sources.applicationIcon = [](const fs::path& program) -> std::optional<std::string> {
            if (program == "/usr/bin/alpha")
                return "alpha-app";
            return std::nullopt;
        };
        sources.updateQueue = time.executor();
        sources.clock = time.clockPointer();
        provider = std::make_shared<OptimizerProvider>(std::move(sources));
        provider->setReload([this] { ++screenReloads; });
        provider->setNotify([this](const OptimizerNotice& notice) { notices.push_back(notice); });
    }

    const OptimizerRowModel& row(const std::string& identifier)
    {
        sections_ = provider->sections();
        for (const auto& section : sections_)
            for (const auto& item : section.items)
                if (item.identifier == identifier)
                    return *item.as<OptimizerRowModel>();
        throw std::runtime_error(identifier + " has no row");
    }

private:
    std::vector<CollectionViewSection> sections_;
};

} // namespace

TEST(OptimizerProvider, BuildsBothSectionsInTheirOrders)
{
    OptimizerFixture f;
    EXPECT_EQ(f.provider->title, "Optimize");
    EXPECT_EQ(f.provider->identifier, "optimizer");
    EXPECT_TRUE(f.provider->sections().empty());
    f.provider->reloadItems();
    f.time.poll();
    const auto sections = f.provider->sections();
    ASSERT_EQ(sections.size(), 2u);
    EXPECT_EQ(sections[0].identifier, "login items");
    EXPECT_EQ(sections[0].header, "Open at Login");
    std::vector<std::string> login;
    for (const auto& item : sections[0].items)
        login.push_back(item.identifier);
    // Names in plain text order: capitals first.
    EXPECT_EQ(login, (std::vector<std::string>{"applet.desktop", "zed.desktop", "alpha.desktop"}));

    EXPECT_EQ(sections[1].header, "Allow in Background");
    std::vector<std::string> launch;
    for (const auto& item : sections[1].items)
        launch.push_back(item.identifier);
    // Names without regard to case; the label settles a tie.
    EXPECT_EQ(launch, (std::vector<std::string>{"/etc/systemd/system/a.service", "/etc/systemd/system/u.service",
                                                "/etc/systemd/system/b.service", "/etc/systemd/system/c.service"}));

    const auto& unit = f.row("/etc/systemd/system/a.service");
    EXPECT_EQ(unit.title, "alpha");
    EXPECT_EQ(unit.subtitle, "Privileged background service - a.service");
    EXPECT_EQ(unit.icon, "alpha-app");
    EXPECT_EQ(unit.control, OptimizerRowModel::Control::toggle);
    EXPECT_FALSE(unit.isOn);
    EXPECT_EQ(f.row("/etc/systemd/system/u.service").subtitle, "Background service - u.service");
    EXPECT_EQ(f.row("/etc/systemd/system/b.service").icon, "utilities-terminal");
    EXPECT_EQ(f.row("zed.desktop").control, OptimizerRowModel::Control::remove);
    EXPECT_EQ(f.row("applet.desktop").control, OptimizerRowModel::Control::toggle);
    EXPECT_TRUE(f.row("applet.desktop").isOn);

    // With nothing at all, no section is left and the screen shows its empty state.
    f.machine->enabled.clear();
    for (const auto& e : fs::directory_iterator(f.folders.user))
        fs::remove(e.path());
    fs::remove_all(f.folders.system[0]);
    f.provider->reloadItems();
    f.time.poll();
    EXPECT_TRUE(f.provider->sections().empty());
}

TEST(OptimizerProvider, ReloadsEveryFiveSecondsOnlyWhileStarted)
{
    OptimizerFixture f;
    f.provider->start();
    f.time.poll();
    EXPECT_EQ(f.machine->reads, 1);
    f.time.runFor(4.9);
    EXPECT_EQ(f.machine->reads, 1);
    f.time.runFor(0.2);
    EXPECT_EQ(f.machine->reads, 2);
    f.time.runFor(10.0);
    EXPECT_EQ(f.machine->reads, 4);
    EXPECT_EQ(f.provider->completedReloads(), 4);
    f.provider->start(); // a second start keeps the one timer
    f.time.poll();
    f.provider->stop();
    EXPECT_FALSE(f.provider->isTimerRunning());
    const auto reads = f.machine->reads;
    f.time.runFor(30.0);
    EXPECT_EQ(f.machine->reads, reads);

    // A provider let go while started ends its reloads.
    f.provider->start();
    f.time.poll();
    const auto before = f.machine->reads;
    f.provider.reset();
    f.time.runFor(30.0);
    EXPECT_EQ(f.machine->reads, before);
}

TEST(OptimizerProvider, UnitSwitchesGoThroughTheDaemonAndAFailurePutsTheSwitchBack)
{
    OptimizerFixture f;
    f.provider->reloadItems();
    f.time.poll();

    f.row("/etc/systemd/system/a.service").switchSelectionChanged(true);
    EXPECT_FALSE(f.row("/etc/systemd/system/a.service").controlEnabled);
    f.time.poll();
    ASSERT_EQ(f.notices.size(), 1u);
    EXPECT_EQ(f.notices[0].kind, OptimizerNotice::Kind::success);
    EXPECT_EQ(f.notices[0].text, "alpha updated");
    EXPECT_EQ(f.machine->calls, (std::vector<std::pair<fs::path, bool>>{{"/etc/systemd/system/a.service", true}}));
    // The reload after the change shows the new state.
    EXPECT_TRUE(f.row("/etc/systemd/system/a.service").isOn);
    EXPECT_TRUE(f.row("/etc/systemd/system/a.service").controlEnabled);

    f.machine->failing = true;
    const auto reads = f.machine->reads;
    const auto screenReloads = f.screenReloads;
    f.row("/etc/systemd/system/b.service").switchSelectionChanged(false);
    f.time.poll();
    ASSERT_EQ(f.notices.size(), 2u);
    EXPECT_EQ(f.notices[1].kind, OptimizerNotice::Kind::failure);
    EXPECT_EQ(f.notices[1].text, "Unable to update Beta");
    // The row goes back to what the item said, and the screen is told, without a read.
    EXPECT_TRUE(f.row("/etc/systemd/system/b.service").isOn);
    EXPECT_TRUE(f.row("/etc/systemd/system/b.service").controlEnabled);
    EXPECT_GT(f.screenReloads, screenReloads);
    EXPECT_EQ(f.machine->reads, reads);
}

TEST(OptimizerProvider, LoginItemsAreRemovedOrSwitchedAndCanBeUndone)
{
    OptimizerFixture f;
    const auto systemEntry = readFile(f.folders.system[0] / "applet.desktop");
    f.provider->reloadItems();
    f.time.poll();

    f.row("zed.desktop").actionButtonPressed();
    f.time.poll();
    ASSERT_EQ(f.notices.size(), 1u);
    EXPECT_EQ(f.notices[0].text, "Zed removed");
    EXPECT_FALSE(fs::exists(f.folders.user / "zed.desktop"));
    EXPECT_THROW(f.row("zed.desktop"), std::runtime_error);
    ASSERT_TRUE(f.notices[0].undo);
    f.notices[0].undo();
    f.time.poll();
    EXPECT_EQ(f.notices.back().text, "Zed restored");
    EXPECT_EQ(f.row("zed.desktop").title, "Zed");

    f.row("applet.desktop").switchSelectionChanged(false);
    f.time.poll();
    EXPECT_EQ(f.notices.back().text, "Applet updated");
    EXPECT_FALSE(f.row("applet.desktop").isOn);
    EXPECT_TRUE(fs::exists(f.folders.user / "applet.desktop"));
    f.notices.back().undo();
    f.time.poll();
    EXPECT_TRUE(f.row("applet.desktop").isOn);
    EXPECT_FALSE(fs::exists(f.folders.user / "applet.desktop"));
    EXPECT_EQ(readFile(f.folders.system[0] / "applet.desktop"), systemEntry);

    // The file went away behind the screen's back: a failure notice, and the row stays until the next read.
    const auto& alpha = f.row("alpha.desktop");
    auto press = alpha.actionButtonPressed;
    fs::remove(f.folders.user / "alpha.desktop");
    press();
    f.time.poll();
    EXPECT_EQ(f.notices.back().kind, OptimizerNotice::Kind::failure);
    EXPECT_EQ(f.notices.back().text, "Unable to remove alpha");
}
