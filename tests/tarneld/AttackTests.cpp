// A root tarneld in system mode against an unprivileged user who tries to use it, starve it or
// make it grow. The daemon is measured from outside, through /proc, as an attacker would see it.
#include "TarnelKit/Daemon/DaemonClient.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <tuple>
#include <future>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace tarnel;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

constexpr const char* nobody = "65534";

// tarneld started through a shell, so the test can lower its descriptor limit and count its log.
class Daemon {
public:
    explicit Daemon(const std::vector<std::string>& options, int descriptors = 0)
    {
        fs::permissions(sockets.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                            fs::perms::others_read | fs::perms::others_exec);
        std::string line = descriptors ? "ulimit -n " + std::to_string(descriptors) + "; " : "";
        line += "exec '" + (binaryDirectory() / "daemon" / "tarneld").string() + "' --socket-dir '" + sockets.path().string() + "'";
        for (const auto& option : options)
            line += " '" + option + "'";
        line += " 2>'" + log().string() + "'";
        process = std::make_unique<ChildProcess>("/bin/sh", std::vector<std::string>{"-c", line});
        if (!waitUntil([&] { return fs::exists(statistics()) && fs::exists(privileged()); }))
            throw std::runtime_error("tarneld did not start");
    }
    ~Daemon()
    {
        process->signal(SIGTERM);
        process->wait();
    }

    fs::path privileged() const { return sockets.path() / "org.quendal.Tarnel.Daemon.sock"; }
    fs::path statistics() const { return sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock"; }
    fs::path log() const { return logs.path() / "tarneld.log"; }

    std::size_t logLines() const
    {
        std::ifstream in(log());
        return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(in), {}, '\n'));
    }
    // Seconds of CPU the daemon has used (user and system).
    double cpuSeconds() const
    {
        std::ifstream in("/proc/" + std::to_string(process->pid()) + "/stat");
        std::string text((std::istreambuf_iterator<char>(in)), {});
        std::istringstream fields(text.substr(text.rfind(')') + 2));
        std::string field;
        unsigned long long user = 0, system = 0;
        for (int i = 3; i <= 15 && fields >> field; ++i) {
            if (i == 14)
                user = std::stoull(field);
            if (i == 15)
                system = std::stoull(field);
        }
        return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }
    std::size_t residentBytes() const
    {
        std::ifstream in("/proc/" + std::to_string(process->pid()) + "/status");
        std::string key;
        while (in >> key) {
            if (key == "VmRSS:") {
                std::size_t kib = 0;
                in >> kib;
                return kib * 1024;
            }
            in.ignore(4096, '\n');
        }
        return 0;
    }

    std::string ping()
    {
        asio::io_context context;
        auto endpoint = xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon", privileged());
        DaemonClient client(endpoint.serviceName,
                            xpc::XPCClient::create(endpoint, xpc::ServerRequirement::anyServer(), context.get_executor()));
        auto future = asio::co_spawn(context, client.ping(), asio::use_future);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready &&
               std::chrono::steady_clock::now() < deadline)
            context.run_one_for(std::chrono::milliseconds(20));
        if (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            return "no answer within a second";
        try {
            return future.get();
        } catch (const std::exception& e) {
            return e.what();
        }
    }

    TemporaryDirectory sockets;
    TemporaryDirectory logs;
    std::unique_ptr<ChildProcess> process;
};

// Runs the attack client, as `uid` when given, and returns what it printed.
std::future<std::string> attack(std::vector<std::string> arguments, const char* uid = nullptr)
{
    return std::async(std::launch::async, [arguments = std::move(arguments), uid] {
        std::string line;
        if (uid)
            line = std::string("setpriv --reuid=") + uid + " --regid=" + uid + " --clear-groups -- ";
        line += "'" + (binaryDirectory() / "tests" / "tarneld" / "tarnel_test_attack_client").string() + "'";
        for (const auto& a : arguments)
            line += " '" + a + "'";
        FILE* pipe = ::popen(line.c_str(), "r");
        if (!pipe)
            return std::string("popen failed");
        std::string output;
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe))
            output += buffer;
        ::pclose(pipe);
        return output;
    });
}

bool canActAsNobody()
{
    return ::geteuid() == 0 && ::system("setpriv --version >/dev/null 2>&1") == 0;
}

} // namespace

TEST(Attack, OnlyRootMayRemoveTheFilesOfEarlierReleases)
{
    if (!canActAsNobody())
        GTEST_SKIP() << "needs root and setpriv to act as nobody";
    TemporaryDirectory machine;
    const auto unit = machine.path() / "etc/systemd/system/org.quendal.TarnelDaemon.service";
    const auto socket = machine.path() / "run/tarnel/org.quendal.TarnelHelper.sock";
    fs::create_directories(unit.parent_path());
    fs::create_directories(socket.parent_path());
    writeFile(unit, "[Service]\n");
    writeFile(socket, "");
    fs::permissions(machine.path(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    Daemon daemon({"--root", machine.path().string()});

    const auto refused = attack({"uninstall", daemon.privileged().string()}, nobody).get();
    EXPECT_NE(refused.find("Not authorized"), std::string::npos) << refused;
    EXPECT_TRUE(fs::exists(unit));
    EXPECT_TRUE(fs::exists(socket));

    EXPECT_EQ(attack({"uninstall", daemon.privileged().string()}).get(), "done\n");
    EXPECT_FALSE(fs::exists(unit));
    EXPECT_FALSE(fs::exists(socket));
}

TEST(Attack, ALaunchItemAnswerTellsNobodyWhatARootOnlyFolderHolds)
{
    if (!canActAsNobody())
        GTEST_SKIP() << "needs root and setpriv to act as nobody";
    TemporaryDirectory tree;
    fs::permissions(tree.path(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    const auto hidden = tree.path() / "root-only";
    fs::create_directories(hidden);
    fs::permissions(hidden, fs::perms::owner_all);
    writeFile(hidden / "there.service", "[Service]\n");
    Daemon daemon({});
    const auto present = attack({"enable", daemon.privileged().string(), (hidden / "there.service").string()}, nobody).get();
    const auto absent = attack({"enable", daemon.privileged().string(), (hidden / "missing.service").string()}, nobody).get();
    EXPECT_EQ(present, absent);
    EXPECT_NE(present.find("not in a unit folder"), std::string::npos) << present;
}

TEST(Attack, AClientThatDroppedItsGroupsDeletesWithNone)
{
    if (!canActAsNobody())
        GTEST_SKIP() << "needs root and setpriv to act as another user";
    // An account whose group list names a group beyond its primary one.
    std::optional<std::tuple<uid_t, gid_t, gid_t>> member;
    ::setgrent();
    while (auto* g = ::getgrent()) {
        for (auto** name = g->gr_mem; *name && !member; ++name)
            if (auto* p = ::getpwnam(*name); p && p->pw_uid != 0 && p->pw_gid != g->gr_gid)
                member = std::make_tuple(p->pw_uid, p->pw_gid, g->gr_gid);
        if (member)
            break;
    }
    ::endgrent();
    if (!member)
        GTEST_SKIP() << "no account here has a supplementary group";
    const auto [uid, gid, group] = *member;
    TemporaryDirectory tree;
    fs::permissions(tree.path(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    const auto shared = tree.path() / "group-only";
    fs::create_directories(shared);
    ASSERT_EQ(::chown(shared.c_str(), 0, group), 0);
    fs::permissions(shared, fs::perms::owner_all | fs::perms::group_all);
    writeFile(shared / "a", "x");
    Daemon daemon({});

    auto deleteAs = [&](const std::string& groups) {
        const auto client = binaryDirectory() / "tests" / "tarneld" / "tarnel_test_delete_client";
        const auto line = "setpriv --reuid=" + std::to_string(uid) + " --regid=" + std::to_string(gid) + " " + groups +
                          " -- '" + client.string() + "' '" + daemon.privileged().string() + "' '" + (shared / "a").string() + "'";
        FILE* pipe = ::popen(line.c_str(), "r");
        char buffer[64] = {};
        std::string output = pipe && std::fgets(buffer, sizeof buffer, pipe) ? buffer : "";
        if (pipe)
            ::pclose(pipe);
        return output;
    };
    EXPECT_EQ(deleteAs("--clear-groups"), "0\n") << "the account's groups do not come back";
    EXPECT_TRUE(fs::exists(shared / "a"));
    EXPECT_EQ(deleteAs("--groups=" + std::to_string(group)), "1\n") << "the group the process holds counts";
    EXPECT_FALSE(fs::exists(shared / "a"));
}

TEST(Attack, AFloodOfConnectionsFromOneUserLeavesOthersServedAndTheDaemonQuiet)
{
    if (!canActAsNobody())
        GTEST_SKIP() << "needs root and setpriv to act as nobody";
    // 400 descriptors: the flood below is well past what the daemon could hold open.
    Daemon daemon({}, 400);
    const auto linesBefore = daemon.logLines();
    const auto cpuBefore = daemon.cpuSeconds();

    auto flood = attack({"hold", daemon.privileged().string(), "1000", "3"}, nobody);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_EQ(daemon.ping(), "v19") << "another user is answered within a second during the flood";
    const auto held = flood.get();
    EXPECT_EQ(held, "32\n") << "one uid keeps 32 connections, the rest are refused";
    EXPECT_EQ(daemon.ping(), "v19");

    // About 4 s of flood: the accept loop must not spin, nor log every refusal.
    EXPECT_LT(daemon.cpuSeconds() - cpuBefore, 1.0);
    EXPECT_LT(daemon.logLines() - linesBefore, 200u);
}

TEST(Attack, UnfinishedFramesCostOnlyTheBytesThatArrived)
{
    if (!canActAsNobody())
        GTEST_SKIP() << "needs root and setpriv to act as nobody";
    Daemon daemon({});
    const auto before = daemon.residentBytes();
    // 64 connections from two users, each announcing a 16 MiB frame and sending one byte.
    auto first = attack({"hold", daemon.privileged().string(), "32", "2", "announce"}, nobody);
    auto second = attack({"hold", daemon.privileged().string(), "32", "2", "announce"});
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const auto during = daemon.residentBytes();
    EXPECT_EQ(first.get(), "32\n");
    EXPECT_EQ(second.get(), "32\n");
    EXPECT_LT(during, 64u << 20) << "resident before the attack: " << before;
    // Root's own 32 have just closed; the daemon frees their places as it hears of it.
    EXPECT_TRUE(waitUntil([&] { return daemon.ping() == "v19"; }, std::chrono::seconds(3)));
}

TEST(Attack, ASubscriberThatNeverReadsGetsOnlyTheNewestBatches)
{
    // The fastest pace at 20 ms a tick: 20 subscriptions make 1,000 batches a second.
    Daemon daemon({"--session", "--base-interval", "0.02"});
    std::size_t largest = 0;
    auto reader = attack({"subscribe", daemon.statistics().string(), "20", "8"});
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(9);
    while (std::chrono::steady_clock::now() < until) {
        largest = std::max(largest, daemon.residentBytes());
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    const auto output = reader.get();
    ASSERT_EQ(output.substr(0, 11), "subscribed\n") << output;
    const auto received = std::stoi(output.substr(11));
    EXPECT_LT(largest, 32u << 20);
    // 8 s unread made 8,000 batches; reading for 1.5 s brings at most a few waiting ones per
    // subscription on top of the 1,500 made meanwhile.
    EXPECT_LT(received, 1500 + 20 * 4);
    EXPECT_GT(received, 20);
}
