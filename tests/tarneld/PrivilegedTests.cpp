#include "TarnelKit/Daemon/DaemonClient.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace tarnel;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

// A real tarneld on sockets in a temporary folder, and a client of its privileged endpoint.
class RunningDaemon {
public:
    explicit RunningDaemon(std::vector<std::string> extra = {"--session"})
    {
        fs::permissions(sockets.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                            fs::perms::others_read | fs::perms::others_exec);
        extra.push_back("--socket-dir");
        extra.push_back(sockets.path().string());
        process = std::make_unique<ChildProcess>(binaryDirectory() / "daemon" / "tarneld", extra);
        if (!waitUntil([&] { return fs::exists(socket()); }))
            throw std::runtime_error("tarneld did not start");
    }

    fs::path socket() const { return sockets.path() / "org.quendal.Tarnel.Daemon.sock"; }

    std::vector<bool> deleteFiles(std::vector<std::string> paths)
    {
        asio::io_context context;
        auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon", socket());
        DaemonClient client(endpoint.serviceName,
                            xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer(), context.get_executor()));
        auto future = asio::co_spawn(context, client.deleteFiles(std::move(paths), DaemonClient::Reason::userConfirmedCleanup),
                                     asio::use_future);
        while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            context.run_one();
        return future.get();
    }

    TemporaryDirectory sockets;
    std::unique_ptr<ChildProcess> process;
};

std::string runAs(const std::vector<std::string>& command)
{
    std::string line;
    for (const auto& part : command)
        line += "'" + part + "' ";
    FILE* pipe = ::popen(line.c_str(), "r");
    if (!pipe)
        return "popen failed";
    char buffer[256];
    std::string output;
    while (std::fgets(buffer, sizeof buffer, pipe))
        output += buffer;
    ::pclose(pipe);
    while (!output.empty() && output.back() == '\n')
        output.pop_back();
    return output;
}

} // namespace

TEST(Privileged, DeletesFilesTreesAndLinksAndAnswersInOrder)
{
    RunningDaemon daemon;
    TemporaryDirectory tree;
    const auto root = tree.path();
    writeFile(root / "file.log", "old");
    fs::create_directories(root / "cache/a/b");
    writeFile(root / "cache/a/b/blob", "x");
    writeFile(root / "cache/top", "y");
    writeFile(root / "target", "stays");
    fs::create_symlink(root / "target", root / "link");

    auto answers = daemon.deleteFiles({(root / "file.log").string(), (root / "cache").string(), (root / "link").string(),
                                       (root / "never-was").string()});
    EXPECT_EQ(answers, (std::vector<bool>{true, true, true, false}));
    EXPECT_FALSE(fs::exists(root / "file.log"));
    EXPECT_FALSE(fs::exists(root / "cache"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(root / "link")));
    EXPECT_EQ(readFile(root / "target"), "stays");

    EXPECT_EQ(daemon.deleteFiles({}), std::vector<bool>{});
}

TEST(Privileged, EveryRefusalAnswersFalseAndTouchesNothing)
{
    RunningDaemon daemon;
    TemporaryDirectory tree;
    const auto root = tree.path();
    fs::create_directories(root / "real");
    writeFile(root / "real/file", "keep");
    fs::create_directory_symlink(root / "real", root / "swapped");

    const char* home = std::getenv("HOME");
    std::vector<std::string> refused{
        "relative/path",
        (root / "real/../real/file").string(),
        "/",
        home ? std::string(home) : std::string("/root"),
        "/proc/self/status",
        "/sys/kernel/mm",
        "/dev/null",
        "/run/tarnel-never",
        "/boot/none",
        "/usr/bin/env",
        "/etc/hostname",
        "/bin/sh",
        (root / "swapped/file").string(),
    };
    auto answers = daemon.deleteFiles(refused);
    EXPECT_EQ(answers, std::vector<bool>(refused.size(), false));
    EXPECT_EQ(readFile(root / "real/file"), "keep");
    EXPECT_TRUE(fs::exists("/etc/hostname") || !fs::exists("/etc"));
    EXPECT_TRUE(fs::exists("/usr/bin/env"));
    EXPECT_TRUE(fs::exists("/dev/null"));
}

TEST(Privileged, ASymlinkedParentSwappedInDuringTheRequestCannotRedirectTheRemoval)
{
    RunningDaemon daemon;
    TemporaryDirectory tree;
    const auto root = tree.path();
    fs::create_directories(root / "victim");
    std::atomic<bool> stop{false};
    // Flip `parent` between a real folder and a link to `victim` as fast as possible.
    std::thread swapper([&] {
        const auto parent = root / "parent";
        const auto staging = root / "staging";
        while (!stop) {
            std::error_code ec;
            fs::create_directory_symlink(root / "victim", staging, ec);
            ::rename(staging.c_str(), parent.c_str());
            fs::remove(parent, ec);
            fs::create_directory(staging, ec);
            writeFile(staging / "target", "decoy");
            ::rename(staging.c_str(), parent.c_str());
            fs::remove_all(parent, ec);
        }
    });
    int attempts = 0;
    for (; attempts < 150; ++attempts) {
        writeFile(root / "victim/target", "precious");
        daemon.deleteFiles({(root / "parent/target").string()});
        ASSERT_TRUE(fs::exists(root / "victim/target")) << "the removal went through the link on attempt " << attempts;
    }
    stop = true;
    swapper.join();
    EXPECT_EQ(readFile(root / "victim/target"), "precious");
}

TEST(Privileged, AnUnprivilegedCallerCannotUseARootDaemonBeyondItsOwnRights)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to run the daemon as root and the client as another user";
    if (runAs({"setpriv", "--version"}).find("setpriv") == std::string::npos)
        GTEST_SKIP() << "setpriv is not installed";
    RunningDaemon daemon(std::vector<std::string>{}); // system mode: runs as root, admits everyone, checks each path
    TemporaryDirectory tree;
    const auto root = tree.path();
    // Traversable but not writable by others: only root may remove what lies directly in it.
    fs::permissions(root, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read |
                              fs::perms::others_exec);
    fs::create_directories(root / "rootonly");
    writeFile(root / "rootonly/secret", "root's");
    writeFile(root / "rootfile", "root's too");
    fs::create_directories(root / "open");
    fs::permissions(root / "open", fs::perms::all);
    writeFile(root / "open/mine", "nobody's");
    ASSERT_EQ(::chown((root / "open/mine").c_str(), 65534, 65534), 0);

    const auto client = binaryDirectory() / "tests" / "tarneld" / "tarnel_test_delete_client";
    auto output = runAs({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--", client.string(),
                         daemon.socket().string(), (root / "rootonly/secret").string(), (root / "rootfile").string(),
                         (root / "open/mine").string()});
    EXPECT_EQ(output, "001") << "nobody may remove only what nobody could remove anyway";
    EXPECT_EQ(readFile(root / "rootonly/secret"), "root's");
    EXPECT_EQ(readFile(root / "rootfile"), "root's too");
    EXPECT_FALSE(fs::exists(root / "open/mine"));
}
