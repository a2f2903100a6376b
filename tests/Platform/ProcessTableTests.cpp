#include "Platform/Processes/ProcessTable.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

using namespace tarnel;
using namespace std::chrono_literals;

namespace {

// A /proc tree of one process, as the kernel lays it out.
struct ProcTree {
    tarnel::testing::TemporaryDirectory root{"tarnel-proc"};

    ProcTree() { write("stat", "cpu  1 2 3 4\nintr 5\nbtime 1800000000\nprocesses 9\n"); }
    void write(const std::filesystem::path& file, const std::string& text)
    {
        std::filesystem::create_directories((root.path() / file).parent_path());
        std::ofstream(root.path() / file) << text;
    }
    void process(pid_t pid, const std::string& executable, const std::string& state, const std::string& startTicks)
    {
        const auto directory = std::to_string(pid);
        // A command name with a space and a parenthesis: fields are counted after the last ')'.
        write(directory + "/stat", directory + " (tarnel (mon) x) " + state + " 1 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 " +
                                       startTicks + " 0 0\n");
        std::filesystem::create_symlink(executable, root.path() / directory / "exe");
        write(directory + "/cmdline", std::string("./bin/tarnel-monitor\0--flag\0", 29));
        std::filesystem::create_symlink("/opt/tarnel", root.path() / directory / "cwd");
        write(directory + "/maps", "55d0-55d1 r--p 00000000 08:01 12 /opt/tarnel/bin/tarnel-monitor (deleted)\n"
                                   "55d1-55d2 r-xp 00001000 08:01 12 /opt/tarnel/bin/tarnel-monitor (deleted)\n"
                                   "7f00-7f01 r-xp 00000000 08:01 13 /usr/lib/libc.so.6\n");
    }
};

} // namespace

TEST(ProcessTable, FixtureTreeGivesPathsAndStartTime)
{
    ProcTree tree;
    tree.process(41, "/opt/tarnel/bin/tarnel-monitor (deleted)", "S", "250");
    tree.process(42, "/usr/bin/other", "S", "100");
    tree.process(43, "/opt/tarnel/bin/tarnel-monitor", "Z", "300");
    platform::ProcessTable table(tree.root.path());

    auto found = table.processesNamed("tarnel-monitor");
    // The zombie is not alive and the other program is not a Monitor.
    ASSERT_EQ(found.size(), 1u);
    const auto& entry = found.front();
    EXPECT_EQ(entry.pid, 41);
    EXPECT_EQ(entry.executable, std::filesystem::path("/opt/tarnel/bin/tarnel-monitor"));
    EXPECT_EQ(entry.launchPath, std::filesystem::path("/opt/tarnel/bin/tarnel-monitor"));
    EXPECT_EQ(entry.codePath, std::filesystem::path("/opt/tarnel/bin/tarnel-monitor"));
    const auto ticks = static_cast<double>(::sysconf(_SC_CLK_TCK));
    const auto expected = std::chrono::system_clock::time_point(std::chrono::seconds(1'800'000'000)) +
                          std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::duration<double>(250 / ticks));
    EXPECT_EQ(entry.startTime, expected);
    EXPECT_TRUE(table.isAlive(41));
    EXPECT_FALSE(table.isAlive(43));
    EXPECT_FALSE(table.isAlive(44));
    EXPECT_FALSE(table.process(44));
}

TEST(ProcessTable, BrokenEntriesAreLeftOutOrLeftEmpty)
{
    ProcTree tree;
    tree.process(41, "/opt/tarnel/bin/tarnel-monitor", "S", "250");
    // A truncated stat line has no start time: the process cannot be judged and is left out.
    tree.write("41/stat", "41 (tarnel-monitor) S 1 1\n");
    tree.process(50, "/opt/tarnel/bin/tarnel-monitor", "S", "10");
    std::filesystem::remove(tree.root.path() / "50" / "maps");
    std::filesystem::remove(tree.root.path() / "50" / "cmdline");
    platform::ProcessTable table(tree.root.path());
    auto found = table.processesNamed("tarnel-monitor");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found.front().pid, 50);
    EXPECT_FALSE(found.front().codePath);
    EXPECT_FALSE(found.front().launchPath);
    EXPECT_TRUE(platform::ProcessTable(tree.root.path() / "missing").processesNamed("tarnel-monitor").empty());
}

TEST(ProcessTable, ALiveChildIsFoundWithItsStartTime)
{
    const auto before = std::chrono::system_clock::now();
    tarnel::testing::ChildProcess child("/bin/sleep", {"30"});
    platform::ProcessTable table;
    std::optional<platform::ProcessEntry> entry;
    ASSERT_TRUE(tarnel::testing::waitUntil([&] {
        auto all = table.processesNamed("sleep");
        for (auto& candidate : all)
            if (candidate.pid == child.pid())
                entry = candidate;
        return entry.has_value();
    }));
    ASSERT_TRUE(entry->executable);
    EXPECT_EQ(entry->executable->filename(), "sleep");
    EXPECT_TRUE(entry->codePath);
    // /proc counts in clock ticks from a boot time in whole seconds.
    EXPECT_LT(std::chrono::abs(entry->startTime - before), 2s);
    child.signal(SIGKILL);
    child.wait();
    EXPECT_FALSE(table.isAlive(child.pid()));
}
