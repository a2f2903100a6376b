#include "Fixtures.h"
#include "Platform/Statistics/ApplicationPathResolver.h"
#include "Platform/Statistics/ProcessUsage.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace tarnel::platform;
using tarnel::testing::fixtureMachine;

namespace {

const ProcessSample& withPid(const std::vector<ProcessSample>& processes, pid_t pid)
{
    auto found = std::find_if(processes.begin(), processes.end(), [&](const ProcessSample& p) { return p.pid == pid; });
    if (found == processes.end())
        throw std::runtime_error("no process " + std::to_string(pid));
    return *found;
}

ProcessSample sample(pid_t pid, std::uint64_t ticks, std::uint64_t start = 10, std::uint64_t resident = 0)
{
    ProcessSample process;
    process.pid = pid;
    process.cpuTicks = ticks;
    process.startTicks = start;
    process.residentBytes = resident;
    return process;
}

} // namespace

TEST(ProcessReader, ReadsEveryProcessAndSkipsVanishedOnes)
{
    ProcessReader reader(fixtureMachine("laptop"), 4096);
    auto processes = reader.readAll();
    // pid 4500 has lost its stat file between listing and reading.
    EXPECT_EQ(processes.size(), 11u);
    EXPECT_TRUE(std::is_sorted(processes.begin(), processes.end(),
        [](const ProcessSample& a, const ProcessSample& b) { return a.pid < b.pid; }));

    const auto& shell = withPid(processes, 1503);
    EXPECT_EQ(shell.name, "gnome-shell");
    EXPECT_EQ(shell.cpuTicks, 98231u + 20311u);
    EXPECT_EQ(shell.residentBytes, 98304ull * 4096);
    EXPECT_EQ(shell.privateBytes(), (98304ull - 24576) * 4096);
    EXPECT_EQ(shell.identifier(), "1503-3100");
    EXPECT_EQ(withPid(processes, 2901).name, "Isolated Web Co");
    // A command name holding ") S 1 (" does not shift the fields after it.
    const auto& weird = withPid(processes, 4001);
    EXPECT_EQ(weird.name, "weird) S 1 (name");
    EXPECT_EQ(weird.cpuTicks, 15u);
    EXPECT_TRUE(withPid(processes, 812).isKernelThread);
    EXPECT_FALSE(shell.isKernelThread);

    EXPECT_FALSE(ProcessReader::parse("12 (cut) S 1 2 3", "1 1 1", 4096));
    EXPECT_FALSE(ProcessReader::parse("12 no parentheses S 1", "1 1 1", 4096));
    EXPECT_FALSE(reader.read(99999));
}

TEST(ProcessReader, DetailsNameTheExecutableAndItsApplication)
{
    ProcessReader reader(fixtureMachine("laptop"), 4096);
    auto processes = reader.readAll();
    auto details = [&](pid_t pid) { return reader.details(withPid(processes, pid)); };

    auto calendar = details(1622);
    EXPECT_EQ(calendar.displayName, "gnome-shell-calendar-server"); // the kernel cut the name at 15
    EXPECT_EQ(calendar.executablePath, "/usr/libexec/gnome-shell-calendar-server");
    EXPECT_FALSE(calendar.applicationPath);
    EXPECT_EQ(details(2901).commandLine, (std::vector<std::string>{"/snap/firefox/4173/usr/lib/firefox/firefox", "-contentproc"}));
    EXPECT_EQ(details(2901).applicationPath, "/snap/firefox");
    EXPECT_EQ(details(3120).applicationPath, "/home/alex/Applications/Obsidian-1.5.12.AppImage");
    EXPECT_EQ(details(3377).applicationPath, "/var/lib/flatpak/app/org.gimp.GIMP");
    auto code = details(3480);
    EXPECT_EQ(code.executablePath, "/opt/visual-studio-code/code"); // replaced on disk since it started
    EXPECT_EQ(code.applicationPath, "/opt/visual-studio-code");
    auto worker = details(812);
    EXPECT_FALSE(worker.executablePath);
    EXPECT_TRUE(worker.commandLine.empty());

    ApplicationPathResolver resolver(fixtureMachine("laptop"));
    EXPECT_EQ(resolver.resolve(1, "/home/alex/.local/share/flatpak/app/org.x.Y/current/active/files/bin/y"),
        "/home/alex/.local/share/flatpak/app/org.x.Y");
    EXPECT_FALSE(resolver.resolve(1, "/opt/loose-binary"));
    EXPECT_FALSE(resolver.resolve(4500, "/tmp/.mount_GoneXYZ/app")); // no environment to ask
}

TEST(ProcessUsage, CountsTicksPerProcessAcrossReuseAndReset)
{
    std::vector<ProcessSample> earlier{sample(10, 100), sample(11, 500, 20), sample(12, 300), sample(13, 50)};
    // 11 was reused by a new process, 12's counter went back, 13 ended, 14 is new.
    std::vector<ProcessSample> later{sample(10, 150), sample(11, 30, 900), sample(12, 200), sample(14, 20)};
    auto usages = processCpuUsageBetween(earlier, later, 2.0, 100);
    ASSERT_EQ(usages.size(), 3u);
    EXPECT_EQ(usages[0].process.pid, 10);
    EXPECT_EQ(usages[0].ticks, 50u);
    EXPECT_DOUBLE_EQ(usages[0].coreFraction, 0.25);
    EXPECT_EQ(usages[1].process.pid, 11);
    EXPECT_EQ(usages[1].ticks, 30u);
    EXPECT_EQ(usages[2].process.pid, 14);
    EXPECT_EQ(usages[2].ticks, 20u);
    EXPECT_TRUE(processCpuUsageBetween(earlier, later, 0, 100).empty());
}

TEST(ProcessUsage, RanksTopListsWithTiesToTheLowerPid)
{
    std::vector<ProcessCpuUsage> usages{{sample(30, 0), 5, 0}, {sample(7, 0), 9, 0}, {sample(12, 0), 9, 0},
        {sample(3, 0), 1, 0}};
    auto top = topByCpu(usages, 3);
    ASSERT_EQ(top.size(), 3u);
    EXPECT_EQ(top[0].process.pid, 7);
    EXPECT_EQ(top[1].process.pid, 12);
    EXPECT_EQ(top[2].process.pid, 30);
    EXPECT_EQ(topByCpu(usages, 10).size(), 4u);
    EXPECT_TRUE(topByCpu(usages, 0).empty());

    auto laptop = ProcessReader(fixtureMachine("laptop"), 4096).readAll();
    auto resident = topByResidentMemory(laptop, 3);
    ASSERT_EQ(resident.size(), 3u);
    EXPECT_EQ(resident[0].pid, 2840); // ties with 3480 at 131072 pages
    EXPECT_EQ(resident[1].pid, 3480);
    EXPECT_EQ(resident[2].pid, 1503);
    auto own = topByPrivateMemory(laptop, 2);
    EXPECT_EQ(own[0].pid, 2840);
    EXPECT_EQ(own[1].pid, 2901);
}
