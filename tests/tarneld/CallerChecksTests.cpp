// What the privileged routes check about their caller before they touch anything.
#include "Privileged/DeletionPolicy.h"
#include "Privileged/PrivilegedService.h"
#include "Privileged/SecureRemover.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <grp.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tarnel;
using namespace tarnel::daemon;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

// Answers what it is told and remembers what it was asked.
class FakeAuthority final : public Authority {
public:
    explicit FakeAuthority(bool answer) : answer_(answer) {}
    bool isAuthorized(const xpc::PeerCredentials&, const std::string& action) override
    {
        asked.push_back(action);
        return answer_;
    }
    std::vector<std::string> asked;

private:
    bool answer_;
};

xpc::PeerCredentials caller(uid_t uid, gid_t gid, std::vector<gid_t> groups = {})
{
    xpc::PeerCredentials peer;
    peer.pid = ::getpid();
    peer.uid = uid;
    peer.gid = gid;
    peer.groups = std::move(groups);
    return peer;
}

PrivilegedService service(std::shared_ptr<Authority> authority, const fs::path& root = "/")
{
    PrivilegedService::Dependencies d;
    d.authority = std::move(authority);
    d.systemd = std::make_shared<SystemdControl>();
    d.systemRoot = root;
    return PrivilegedService(std::move(d));
}

void openToAll(const fs::path& path)
{
    fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read |
                              fs::perms::others_exec);
}

} // namespace

TEST(CallerChecks, OnlyRootOrAnAuthorisedCallerRemovesTheFilesOfEarlierReleases)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "the rule is about a daemon running as root";
    TemporaryDirectory machine;
    const auto unit = machine.path() / "etc/systemd/system/org.quendal.TarnelDaemon.service";
    const auto socket = machine.path() / "run/tarnel/com.quendal.TarnelDaemon.sock";
    auto plant = [&] {
        fs::create_directories(unit.parent_path());
        fs::create_directories(socket.parent_path());
        writeFile(unit, "[Service]\n");
        writeFile(socket, "");
    };
    plant();

    auto refusing = std::make_shared<FakeAuthority>(false);
    auto nobody = service(refusing, machine.path());
    EXPECT_THROW(nobody.uninstallLegacyFiles(caller(65534, 65534)), std::runtime_error);
    EXPECT_TRUE(fs::exists(unit) && fs::exists(socket)) << "a refusal removes nothing";
    EXPECT_EQ(refusing->asked, std::vector<std::string>{actions::manageSystemUnits});

    auto granting = std::make_shared<FakeAuthority>(true);
    EXPECT_EQ(service(granting, machine.path()).uninstallLegacyFiles(caller(65534, 65534)).size(), 2u);
    EXPECT_FALSE(fs::exists(unit) || fs::exists(socket));

    plant();
    EXPECT_EQ(service(refusing, machine.path()).uninstallLegacyFiles(caller(0, 0)).size(), 2u) << "root needs no polkit";
    EXPECT_FALSE(fs::exists(unit) || fs::exists(socket));
}

TEST(CallerChecks, ACallerWithoutSupplementaryGroupsGetsNoneBack)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to act as another user";
    // An account whose group list names a group beyond its primary one.
    std::optional<std::pair<passwd, gid_t>> member;
    ::setgrent();
    while (auto* g = ::getgrent()) {
        for (auto** name = g->gr_mem; *name && !member; ++name)
            if (auto* p = ::getpwnam(*name); p && p->pw_uid != 0 && p->pw_gid != g->gr_gid)
                member = std::make_pair(*p, g->gr_gid);
        if (member)
            break;
    }
    ::endgrent();
    if (!member)
        GTEST_SKIP() << "no account here has a supplementary group";
    const auto [account, group] = *member;

    TemporaryDirectory tree;
    openToAll(tree.path());
    const auto shared = tree.path() / "group-only";
    fs::create_directories(shared);
    ASSERT_EQ(::chown(shared.c_str(), 0, group), 0);
    fs::permissions(shared, fs::perms::owner_all | fs::perms::group_all);
    writeFile(shared / "a", "x");
    writeFile(shared / "b", "x");

    auto privileged = service(std::make_shared<FakeAuthority>(false));
    const xpc::PrivilegedFileDeleteRequest request{{(shared / "a").string()}, xpc::PrivilegedFileDeleteRequest::Reason::userConfirmedCleanup};
    EXPECT_EQ(privileged.deleteFiles(request, caller(account.pw_uid, account.pw_gid)), std::vector<bool>{false})
        << "the account's groups must not stand in for the ones the caller dropped";
    EXPECT_TRUE(fs::exists(shared / "a"));

    const xpc::PrivilegedFileDeleteRequest withGroup{{(shared / "b").string()}, xpc::PrivilegedFileDeleteRequest::Reason::userConfirmedCleanup};
    EXPECT_EQ(privileged.deleteFiles(withGroup, caller(account.pw_uid, account.pw_gid, {group})), std::vector<bool>{true});
    EXPECT_FALSE(fs::exists(shared / "b"));
}

TEST(CallerChecks, AMountOnTheWayIsNeverEntered)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to mount";
    TemporaryDirectory tree;
    const auto outside = tree.path() / "outside";
    const auto through = tree.path() / "through";
    fs::create_directories(outside / "deep");
    fs::create_directories(through);
    writeFile(outside / "deep/victim", "precious");
    writeFile(outside / "deep/allowed", "may go");

    // The mount lives in a private namespace of a child, so nothing leaks if the test fails.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount(outside.c_str(), through.c_str(), nullptr, MS_BIND, nullptr) != 0)
            ::_exit(77);
        const FileSystemIdentity root{0, 0, {}, false};
        // The test's own folder may lie below a mounted /tmp, which the daemon crosses too.
        auto crossable = DeletionPolicy("/root").crossableMounts();
        int failures = 0;
        // Through the bind mount, one level and two levels below it.
        if (SecureRemover::remove((through / "deep/victim").string(), root, crossable).removed)
            failures |= 1;
        if (SecureRemover::remove((through / "deep").string(), root, crossable).removed)
            failures |= 2;
        // A folder named as a place the machine may be split at is crossed.
        crossable.push_back(through.string());
        if (!SecureRemover::remove((through / "deep/allowed").string(), root, crossable).removed)
            failures |= 4;
        ::_exit(failures);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "cannot make a private mount here";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "bit 1: file through the mount removed, 2: folder through the mount removed, "
                                         "4: a crossable mount refused";
    EXPECT_EQ(readFile(outside / "deep/victim"), "precious");
    EXPECT_FALSE(fs::exists(outside / "deep/allowed"));

    // The caller's home and the folders a machine is split at may be mounts of their own.
    const auto crossable = DeletionPolicy("/home/alice").crossableMounts();
    for (const auto* folder : {"/home", "/home/alice", "/tmp", "/var/tmp"})
        EXPECT_NE(std::find(crossable.begin(), crossable.end(), folder), crossable.end()) << folder;
    EXPECT_EQ(std::find(crossable.begin(), crossable.end(), "/"), crossable.end());
}

TEST(CallerChecks, ALaunchItemRequestTellsNothingOfFoldersTheCallerCannotRead)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to act as another user";
    TemporaryDirectory tree;
    openToAll(tree.path());
    const auto hidden = tree.path() / "root-only";
    fs::create_directories(hidden);
    fs::permissions(hidden, fs::perms::owner_all);
    writeFile(hidden / "there.service", "[Service]\n");

    auto privileged = service(std::make_shared<FakeAuthority>(false));
    auto errorFor = [&](const fs::path& path) -> std::string {
        try {
            privileged.setLaunchItemEnabled(xpc::LaunchItemMutationRequest::forPath(path, true), caller(65534, 65534));
        } catch (const std::exception& e) {
            return e.what();
        }
        return "accepted";
    };
    const auto present = errorFor(hidden / "there.service");
    const auto absent = errorFor(hidden / "missing.service");
    EXPECT_EQ(present, absent) << "the answer must not depend on what lies in a folder the caller cannot read";
    EXPECT_EQ(present, "not in a unit folder that Tarnel manages");

    // In the system's unit folder a caller without polkit learns only that it may not.
    EXPECT_EQ(errorFor("/etc/systemd/system/never-there.service"), "not authorized to change system units");
}
