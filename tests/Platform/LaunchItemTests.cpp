#include "Platform/Startup/LaunchItems.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace tarnel::platform;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

// States the test decides, so the reader's own rules can be checked without systemctl.
class FixedUnitStates final : public UnitStateSource {
public:
    std::map<std::pair<UnitScope, std::string>, UnitState> states;
    UnitState state(UnitScope scope, const std::string& unit) const override
    {
        const auto found = states.find({scope, unit});
        return found == states.end() ? UnitState{} : found->second;
    }
};

std::string unit(const std::string& exec, const std::string& install)
{
    std::string text = "[Unit]\nDescription=fixture\n";
    if (!exec.empty())
        text += "[Service]\nExecStart=" + exec + "\n";
    if (!install.empty())
        text += "[Install]\n" + install + "\n";
    return text;
}

const LaunchItem* find(const std::vector<LaunchItem>& items, const std::string& label)
{
    const auto it = std::find_if(items.begin(), items.end(), [&](const LaunchItem& i) { return i.label == label; });
    return it == items.end() ? nullptr : &*it;
}

std::string systemctlSays(const std::vector<std::string>& arguments)
{
    std::vector<std::string> command{"/usr/bin/systemctl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    auto output = runProgram(command).output;
    while (!output.empty() && (output.back() == '\n' || output.back() == ' '))
        output.pop_back();
    return output.substr(output.rfind('\n') == std::string::npos ? 0 : output.rfind('\n') + 1);
}

// A machine tree: the three folders, a vendor folder, and units of every kind.
struct UnitTree {
    TemporaryDirectory directory{"tarnel-units"};
    fs::path root = directory.path();
    UnitFolders folders{root, root / "etc/systemd/user", root / "home/user/.config/systemd/user",
                        root / "etc/systemd/system"};

    UnitTree()
    {
        const auto sys = folders.system;
        writeFile(sys / "wanted.service", unit("-/usr/bin/wanted-daemon --serve", "WantedBy=default.target"));
        writeFile(sys / "off.service", unit("/usr/bin/off-daemon", "WantedBy=multi-user.target"));
        writeFile(sys / "plain.service", unit("/usr/bin/plain", ""));
        writeFile(sys / "backup.timer", "[Timer]\nOnCalendar=daily\n[Install]\nWantedBy=timers.target\n");
        writeFile(sys / "backup.service", unit("/usr/local/bin/com.example.backup-tool now", ""));
        writeFile(sys / "echo.socket", "[Socket]\nListenStream=7\nAccept=yes\n[Install]\nWantedBy=sockets.target\n");
        writeFile(sys / "echo@.service", unit("/usr/bin/echo-once", ""));
        writeFile(sys / "watch.path", "[Path]\nPathChanged=/srv/in\nUnit=ingest.service\n[Install]\nWantedBy=paths.target\n");
        writeFile(sys / "ingest.service", unit("@/usr/bin/ingest ingest-tag", ""));
        writeFile(sys / "getty-like@.service",
                  unit("/usr/sbin/agetty %I", "WantedBy=multi-user.target\nDefaultInstance=tty1"));
        writeFile(sys / "ghost.service", unit("/opt/nowhere/ghost", "WantedBy=multi-user.target"));
        writeFile(sys / "org.quendal.Tarnel.Daemon.service", unit("/usr/libexec/tarneld", "WantedBy=multi-user.target"));
        fs::create_symlink("/dev/null", sys / "masked.service");
        fs::create_directories(root / "usr/lib/systemd/system");
        writeFile(root / "usr/lib/systemd/system/vendor.service", unit("/usr/bin/vendor-tool", "WantedBy=multi-user.target"));
        fs::create_symlink("/usr/lib/systemd/system/vendor.service", sys / "vendor-alias.service");
        fs::create_directories(sys / "multi-user.target.wants");
        writeFile(folders.globalUser / "sync.service", unit("/usr/bin/sync-agent", "WantedBy=default.target"));
        writeFile(folders.user / "mine.service", unit("/home/user/bin/mine", "WantedBy=default.target"));

        for (const char* enabled : {"wanted.service", "backup.timer", "getty-like@.service", "ghost.service"})
            systemctlSays({"--root=" + root.string(), "enable", enabled});
        systemctlSays({"--root=" + root.string(), "--global", "enable", "sync.service"});
    }
};

} // namespace

TEST(LaunchItems, UnitFilesReadTheirKeysContinuationsAndResets)
{
    const auto file = UnitFile::parse("# comment\n[Service]\nExecStart=/a \\\n  --long\nEnvironment=A=1\n"
                                      "Environment=\nEnvironment=B=2\n[Install]\nWantedBy=a.target\nWantedBy=b.target\n");
    EXPECT_EQ(file.value("Service", "ExecStart"), "/a    --long");
    EXPECT_EQ(*file.values("Service", "Environment"), std::vector<std::string>{"B=2"});
    EXPECT_EQ(file.values("Install", "WantedBy")->size(), 2u);
    EXPECT_FALSE(file.value("Install", "RequiredBy"));

    EXPECT_EQ(LaunchItemReader::programOf("-@+!/usr/bin/tool --flag"), "/usr/bin/tool");
    EXPECT_EQ(LaunchItemReader::programOf("\"/opt/My App/run\" -x"), "/opt/My App/run");
    EXPECT_EQ(LaunchItemReader::cleanName("com.example.agent"), "agent");
    EXPECT_EQ(LaunchItemReader::cleanName("  my.tool \n"), "my.tool");
    EXPECT_EQ(LaunchItemReader::cleanName("com.example.1agent"), "com.example.1agent");
}

TEST(LaunchItems, EachStateIsExactlyWhatSystemctlSaysBelowTheRoot)
{
    UnitTree tree;
    const SystemctlUnitStates states(tree.root);
    const auto items = LaunchItemReader(tree.folders, states).read();

    for (const auto& item : items) {
        if (item.type == JobType::userAgent)
            continue;
        std::vector<std::string> arguments{"--root=" + tree.root.string()};
        if (item.type == JobType::agent)
            arguments.push_back("--global");
        arguments.insert(arguments.end(), {"is-enabled", item.label});
        const auto said = systemctlSays(arguments);
        if (item.state.known())
            EXPECT_EQ(item.state.word, said) << item.label;
        else
            EXPECT_EQ(item.state.error, said) << item.label;
    }
    ASSERT_TRUE(find(items, "wanted.service"));
    EXPECT_EQ(find(items, "wanted.service")->state.word, "enabled");
    EXPECT_TRUE(find(items, "wanted.service")->isEnabled);
    EXPECT_EQ(find(items, "off.service")->state.word, "disabled");
    EXPECT_FALSE(find(items, "off.service")->isEnabled);
    EXPECT_EQ(find(items, "backup.timer")->state.word, "enabled");
    EXPECT_EQ(find(items, "getty-like@.service")->state.word, "enabled");
    EXPECT_EQ(find(items, "sync.service")->state.word, "enabled");
    EXPECT_EQ(find(items, "sync.service")->type, JobType::agent);

    const auto* masked = find(items, "masked.service");
    ASSERT_TRUE(masked);
    EXPECT_EQ(masked->state.word, "masked");
    EXPECT_TRUE(masked->fileDisabled);
    EXPECT_FALSE(masked->isEnabled);
    EXPECT_FALSE(masked->startsAutomatically);

    // The user's own manager is out of reach below a root: the file decides, and it is not masked.
    const auto* mine = find(items, "mine.service");
    ASSERT_TRUE(mine);
    EXPECT_FALSE(mine->state.known());
    EXPECT_TRUE(mine->isEnabled);

    // A change made with systemctl shows at the next read.
    systemctlSays({"--root=" + tree.root.string(), "disable", "wanted.service"});
    systemctlSays({"--root=" + tree.root.string(), "enable", "off.service"});
    const auto again = LaunchItemReader(tree.folders, states).read();
    EXPECT_EQ(find(again, "wanted.service")->state.word, "disabled");
    EXPECT_FALSE(find(again, "wanted.service")->isEnabled);
    EXPECT_TRUE(find(again, "off.service")->isEnabled);
}

TEST(LaunchItems, ListsWhatStartsByItselfWithTheProgramItRuns)
{
    UnitTree tree;
    const FixedUnitStates none;
    const auto items = LaunchItemReader(tree.folders, none).read();

    std::vector<std::string> labels;
    for (const auto& item : items)
        labels.push_back(item.label);
    // The user's folder, the shared user folder, then the system's, each by file name; a unit
    // that cannot start by itself, a service only a timer or socket runs and our own daemon are left out.
    EXPECT_EQ(labels, (std::vector<std::string>{"mine.service", "sync.service", "backup.timer", "echo.socket",
                                                "getty-like@.service", "ghost.service", "masked.service",
                                                "off.service", "vendor-alias.service", "wanted.service",
                                                "watch.path"}));

    EXPECT_EQ(find(items, "wanted.service")->program.path, "/usr/bin/wanted-daemon");
    EXPECT_EQ(find(items, "backup.timer")->program.path, "/usr/local/bin/com.example.backup-tool");
    EXPECT_EQ(find(items, "backup.timer")->program.displayName, "backup-tool");
    EXPECT_EQ(find(items, "echo.socket")->program.path, "/usr/bin/echo-once");
    EXPECT_EQ(find(items, "watch.path")->program.path, "/usr/bin/ingest");
    // A link into the vendor folder reads the vendor's file, and keeps its own name and place.
    const auto* alias = find(items, "vendor-alias.service");
    EXPECT_EQ(alias->program.path, "/usr/bin/vendor-tool");
    EXPECT_EQ(alias->url, tree.folders.system / "vendor-alias.service");
    // A program that does not exist still lists.
    EXPECT_EQ(find(items, "ghost.service")->program.path, "/opt/nowhere/ghost");
    // A masked unit has no program; its name stands in.
    EXPECT_EQ(find(items, "masked.service")->program.displayName, "masked");
    EXPECT_TRUE(find(items, "masked.service")->program.path.empty());
    EXPECT_EQ(find(items, "getty-like@.service")->type, JobType::daemon);
    EXPECT_EQ(find(items, "mine.service")->type, JobType::userAgent);
    // With no state known, the file decides.
    EXPECT_TRUE(find(items, "off.service")->isEnabled);
    EXPECT_FALSE(find(items, "masked.service")->isEnabled);
}

TEST(LaunchItems, StatesOverrideTheFileAndOwnLabelsAreSubstrings)
{
    UnitTree tree;
    writeFile(tree.folders.system / "org.quendal.Tarnel.Daemon-old.service", unit("/x", "WantedBy=a.target"));
    FixedUnitStates states;
    states.states[{UnitScope::system, "off.service"}] = {"enabled", {}};
    states.states[{UnitScope::system, "wanted.service"}] = {"linked", {}};
    states.states[{UnitScope::system, "ghost.service"}] = {"generated", {}};
    states.states[{UnitScope::system, "backup.timer"}] = {{}, "Failed to get unit file state"};
    states.states[{UnitScope::system, "masked.service"}] = {"enabled", {}};
    const auto items = LaunchItemReader(tree.folders, states).read();

    EXPECT_FALSE(find(items, "org.quendal.Tarnel.Daemon-old.service"));
    EXPECT_TRUE(find(items, "off.service")->isEnabled);
    EXPECT_FALSE(find(items, "wanted.service")->isEnabled);
    EXPECT_TRUE(find(items, "ghost.service")->isEnabled);
    EXPECT_TRUE(find(items, "backup.timer")->isEnabled);
    // A masked file stays masked in the flag while the manager's word decides the switch.
    EXPECT_TRUE(find(items, "masked.service")->fileDisabled);
    EXPECT_TRUE(find(items, "masked.service")->isEnabled);

    const LaunchItemReader reader(tree.folders, states);
    EXPECT_FALSE(reader.item(tree.root / "elsewhere/wanted.service"));
    EXPECT_FALSE(reader.item(tree.folders.system / "multi-user.target"));
    EXPECT_FALSE(reader.item(tree.folders.system / "vanished.service"));
}

TEST(LaunchItems, SystemctlWordsAndFailures)
{
    EXPECT_EQ(SystemctlUnitStates::parse({1, "disabled\n"}).word, "disabled");
    EXPECT_EQ(SystemctlUnitStates::parse({0, "masked-runtime\n"}).word, "masked-runtime");
    const auto failed = SystemctlUnitStates::parse({1, "Failed to get unit file state for x.service: No such file or directory\n"});
    EXPECT_FALSE(failed.known());
    EXPECT_EQ(failed.error, "Failed to get unit file state for x.service: No such file or directory");
    EXPECT_EQ(SystemctlUnitStates::parse({-1, ""}).error, "systemctl could not be started");
    EXPECT_EQ(UnitState{"indirect"}.enabled(), false);
    EXPECT_EQ(UnitState{"static"}.enabled(), true);
    EXPECT_EQ(UnitState{"bad"}.enabled(), std::nullopt);

    const SystemctlUnitStates missing(std::nullopt, "/nonexistent/systemctl");
    EXPECT_EQ(missing.state(UnitScope::system, "a.service").error, "systemctl could not be started");
    const SystemctlUnitStates rooted("/srv/root");
    EXPECT_EQ(rooted.command(UnitScope::globalUser, "a.service"),
              (std::vector<std::string>{"/usr/bin/systemctl", "--root=/srv/root", "--global", "is-enabled", "--", "a.service"}));
    EXPECT_EQ(SystemctlUnitStates().command(UnitScope::user, "a.service"),
              (std::vector<std::string>{"/usr/bin/systemctl", "--user", "is-enabled", "--", "a.service"}));
}
