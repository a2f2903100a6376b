#include "Privileged/DeletionPolicy.h"
#include "Privileged/SecureRemover.h"
#include "Privileged/SystemdControl.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

using namespace tarnel::daemon;

TEST(DeletionPolicy, RefusesEveryPathOutsideWhatAUserMayClean)
{
    DeletionPolicy policy("/home/ada");
    for (const auto* refused :
         {"", "relative/file", "./x", "/home/ada/../bob/file", "/home/ada/./file", "/home//ada/file", "/", "/home/ada",
          "/home/ada/", "/proc/1/environ", "/sys/kernel", "/dev/sda", "/run/user/1000/x", "/boot/vmlinuz", "/usr/bin/ls",
          "/usr", "/etc/passwd", "/bin/sh", "/sbin/init", "/lib/x", "/lib64/ld.so", "/var/lib/dpkg/status", "/var", "/home",
          "/tmp", "/var/log", "/var/cache"})
        EXPECT_TRUE(policy.refusal(refused)) << refused;
    for (const auto* allowed : {"/home/ada/.cache/thumbnails", "/home/ada/Downloads/x.iso", "/tmp/build-1", "/var/log/old.log",
                                "/var/cache/apt/archives/x.deb", "/opt/app", "/usr2/x", "/etcetera"})
        EXPECT_FALSE(policy.refusal(allowed)) << allowed << ": " << policy.refusal(allowed).value_or("");
    EXPECT_TRUE(DeletionPolicy::isAdministrativeLocation("/var/log/journal/x"));
    EXPECT_TRUE(DeletionPolicy::isAdministrativeLocation("/var/cache/apt"));
    EXPECT_FALSE(DeletionPolicy::isAdministrativeLocation("/var/log"));
    EXPECT_FALSE(DeletionPolicy::isAdministrativeLocation("/var/logs/x"));
    EXPECT_FALSE(DeletionPolicy::isAdministrativeLocation("/home/ada/var/log/x"));
}

TEST(DeletionPolicy, RemoverNeverFollowsLinksAndReportsHalfWayFailures)
{
    tarnel::testing::TemporaryDirectory tree;
    const auto root = tree.path();
    FileSystemIdentity me{::getuid(), ::getgid(), {}, false};
    std::filesystem::create_directories(root / "victim");
    tarnel::testing::writeFile(root / "victim/keep", "precious");
    std::filesystem::create_directory_symlink(root / "victim", root / "link");

    // A link in the middle of the path is refused, not followed.
    auto through = SecureRemover::remove((root / "link/keep").string(), me);
    EXPECT_FALSE(through.removed);
    EXPECT_NE(through.cause.find("symbolic link"), std::string::npos) << through.cause;
    EXPECT_TRUE(std::filesystem::exists(root / "victim/keep"));

    // A link as the last component goes, its target stays.
    EXPECT_TRUE(SecureRemover::remove((root / "link").string(), me).removed);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(root / "link")));
    EXPECT_TRUE(std::filesystem::exists(root / "victim/keep"));

    // A tree with a link inside loses the link and keeps what it pointed at.
    std::filesystem::create_directories(root / "tree/a/b");
    tarnel::testing::writeFile(root / "tree/a/b/file", "x");
    std::filesystem::create_directory_symlink(root / "victim", root / "tree/a/escape");
    EXPECT_TRUE(SecureRemover::remove((root / "tree").string(), me).removed);
    EXPECT_FALSE(std::filesystem::exists(root / "tree"));
    EXPECT_TRUE(std::filesystem::exists(root / "victim/keep"));

    EXPECT_FALSE(SecureRemover::remove((root / "missing").string(), me).removed);
}

TEST(DeletionPolicy, SystemdControlReadsStatesAndRefusesWithoutSystemd)
{
    struct Recorder : CommandRunner {
        std::vector<std::vector<std::string>> commands;
        CommandResult answer;
        CommandResult run(const std::vector<std::string>& command) override
        {
            commands.push_back(command);
            return answer;
        }
    };
    tarnel::testing::TemporaryDirectory marker;
    auto runner = std::make_shared<Recorder>();
    SystemdControl systemd(runner, marker.path());
    runner->answer = {0, "enabled\n"};
    EXPECT_TRUE(systemd.isEnabled("fstrim.timer"));
    runner->answer = {1, "disabled\n"};
    EXPECT_FALSE(systemd.isEnabled("fstrim.timer"));
    runner->answer = {1, "Failed to get unit file state for x: No such file or directory\n"};
    EXPECT_THROW(systemd.isEnabled("x.timer"), SystemdError);
    runner->answer = {0, ""};
    systemd.setEnabled("sync.service", false, std::string("ada"));
    EXPECT_EQ(runner->commands.back(),
              (std::vector<std::string>{"systemctl", "--user", "--machine=ada@", "disable", "--now", "--", "sync.service"}));
    runner->answer = {1, "Access denied\n"};
    try {
        systemd.setEnabled("fstrim.timer", true);
        ADD_FAILURE() << "a failing systemctl must be reported";
    } catch (const SystemdError& e) {
        EXPECT_NE(std::string(e.what()).find("Access denied"), std::string::npos);
    }

    SystemdControl absent(runner, marker.path() / "no-systemd");
    EXPECT_FALSE(absent.isAvailable());
    auto before = runner->commands.size();
    EXPECT_THROW(absent.isEnabled("fstrim.timer"), SystemdError);
    EXPECT_THROW(absent.setEnabled("fstrim.timer", true), SystemdError);
    EXPECT_EQ(runner->commands.size(), before) << "nothing runs without systemd";
}
