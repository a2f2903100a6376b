// Clean on a generated home with a real session daemon: scan, tick some groups and single
// files, delete, then check with stat that exactly the ticked files went, and that the freed
// space the outcome reports matches the file system's change.
#include "App/Clean/CleanResultsProvider.h"
#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cmath>
#include <fstream>

using namespace tarnel;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t MB = 1'000'000;

// Real blocks, flushed, so the file system's free space moves by what a removal frees.
void filled(const fs::path& path, std::size_t bytes)
{
    fs::create_directories(path.parent_path());
    const std::string block(64 * 1024, 'x');
    {
        std::ofstream out(path, std::ios::binary);
        for (std::size_t written = 0; written < bytes; written += block.size())
            out.write(block.data(), static_cast<std::streamsize>(std::min(block.size(), bytes - written)));
    }
    int fd = ::open(path.c_str(), O_RDONLY);
    ::fsync(fd);
    ::close(fd);
}

bool statSaysPresent(const fs::path& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

std::uint64_t freeBytes(const fs::path& path)
{
    struct statvfs info {};
    ::statvfs(path.c_str(), &info);
    return static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
}

struct Prompts : ResultsPrompts {
    std::vector<std::string> warnings, statuses;
    bool confirm(const std::string&, const std::string&, const std::string&, const std::string&) override { return true; }
    void warn(const std::string& m, const std::string& i) override { warnings.push_back(m + "|" + i); }
    void showStatus(const std::string& t, std::chrono::milliseconds) override { statuses.push_back(t); }
};

GroupedResultNode* groupOf(GroupedResultsState& state, CleanScanGroup kind)
{
    for (const auto& g : state.allGroups)
        if (static_cast<CleanScanResultGroup&>(*g).representedObject() == kind)
            return g.get();
    return nullptr;
}

GroupedResultNode* rowFor(GroupedResultNode& group, const fs::path& path)
{
    for (auto* node : group.allDescendants())
        if (node->path() == path.string())
            return node;
    return nullptr;
}

} // namespace

TEST(CleanDeletionEndToEnd, ExactlyTheTickedFilesGoAndTheFreedSpaceMatches)
{
    TemporaryDirectory folder;
    quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(folder.path() / "log", "test"));
    const auto root = folder.path() / "root";
    const auto home = root / "home/user";
    // Downloads, ticked as a group; caches, one file ticked; logs, nothing ticked.
    filled(home / "Downloads/a.zip", 8 * MB);
    filled(home / "Downloads/b.tar", 6 * MB);
    filled(home / "Downloads/c.txt", 4 * MB);
    filled(home / ".cache/fontlist", 5 * MB);
    filled(home / ".cache/thumbnails/big.png", 3 * MB);
    filled(home / ".local/state/editor/logs/today.log", 2 * MB);
    // Ticked, then removed by hand before the deletion runs.
    filled(home / ".cache/vanished/gone.bin", 1 * MB);
    const std::vector<fs::path> ticked{home / "Downloads/a.zip", home / "Downloads/b.tar", home / "Downloads/c.txt",
                                       home / ".cache/fontlist"};
    const std::vector<fs::path> kept{home / ".cache/thumbnails/big.png", home / ".local/state/editor/logs/today.log"};

    asio::io_context context;
    quendal::Runtime::shared().setMainExecutor(context.get_executor());
    auto runUntil = [&](auto condition, std::chrono::seconds limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!condition() && std::chrono::steady_clock::now() < end) {
            context.restart();
            context.run_one_for(std::chrono::milliseconds(20));
        }
        return condition();
    };

    auto registry = std::make_shared<SessionServiceRegistry>(binaryDirectory() / "daemon" / "tarneld", folder.path(), false,
                                                             quendal::Runtime::shared().clockPointer());
    DaemonLink::Options options;
    options.identifier = MonitorAppIdentity::daemon();
    options.registry = registry;
    options.hostBuild = "1";
    options.applicationPath = "/usr/bin/tarnel";
    options.preferences = std::make_shared<quendal::Preferences>(folder.path() / "preferences.json");
    options.executor = context.get_executor();
    options.clock = quendal::Runtime::shared().clockPointer();
    auto link = DaemonLink::make(options);
    asio::co_spawn(context, link.manager->start(), asio::detached);
    ASSERT_TRUE(runUntil([&] { return link.manager->status.value() == DaemonStatus::connected; }, std::chrono::seconds(30)));

    CleanScanner scanner(CleanLocations::from(SupportLocations::underHome(home.string(), root.string())));
    CleanResultsStore store;
    auto prompts = std::make_shared<Prompts>();
    auto client = link.daemonClient;
    auto provider = std::make_shared<CleanResultsProvider>(
        GroupedResultsProvider::Services{
            .prompts = prompts,
            .fileActions = nullptr,
            .deleter = [client](std::vector<std::string> paths, DaemonClient::Reason reason) {
                return client->deleteFiles(std::move(paths), reason);
            },
            .executor = context.get_executor()},
        scanner, store);
    provider->resultsWillAppear();
    ASSERT_TRUE(runUntil([&] { return store.state != nullptr; }, std::chrono::seconds(60))) << "the scan finished";
    provider->resultsDidDisappear();

    auto& state = *store.state;
    auto* downloads = groupOf(state, CleanScanGroup::downloads);
    auto* caches = groupOf(state, CleanScanGroup::userCache);
    ASSERT_TRUE(downloads && caches);
    ASSERT_EQ(downloads->children().size(), 3u);
    auto* fontlist = rowFor(*caches, home / ".cache/fontlist");
    auto* vanished = rowFor(*caches, home / ".cache/vanished");
    ASSERT_TRUE(fontlist && vanished) << "the caches show their entries";
    provider->selectionDidChange(*downloads, true);
    provider->selectionDidChange(*fontlist, true);
    provider->selectionDidChange(*vanished, true);
    ASSERT_EQ(caches->selectionState, SelectionState::mixed);
    fs::remove_all(home / ".cache/vanished");

    std::vector<std::string> expected;
    for (auto* node : state.selectedTopItems())
        expected.push_back(*node->path());
    ASSERT_EQ(expected.size(), 5u);

    const auto freeBefore = freeBytes(home);
    provider->deleteAction();
    ASSERT_TRUE(runUntil([&] { return provider->lastOutcome().has_value(); }, std::chrono::seconds(30)));
    const auto freeAfter = freeBytes(home);

    for (const auto& path : ticked)
        EXPECT_FALSE(statSaysPresent(path)) << path;
    for (const auto& path : kept)
        EXPECT_TRUE(statSaysPresent(path)) << path;
    const auto& outcome = *provider->lastOutcome();
    EXPECT_EQ(outcome.deleted, 4u);
    EXPECT_EQ(outcome.failed, 1u);
    EXPECT_EQ(prompts->warnings, std::vector<std::string>{"Unable to delete items|1 items could not be deleted."});
    EXPECT_EQ(prompts->statuses, std::vector<std::string>{"Deleted 4 items"});
    EXPECT_EQ(rowFor(*caches, home / ".cache/vanished"), vanished) << "the row the daemon could not remove stays";
    EXPECT_EQ(vanished->selectionState, SelectionState::on) << "ticked, so the user can try again";
    EXPECT_EQ(groupOf(state, CleanScanGroup::downloads), nullptr) << "the fully ticked group went";

    // The file system is shared with other work, so the check is as tight as the brief allows.
    const double freed = static_cast<double>(freeAfter) - static_cast<double>(freeBefore);
    EXPECT_NEAR(freed, static_cast<double>(outcome.freedBytes), 0.01 * static_cast<double>(outcome.freedBytes))
        << "reported " << outcome.freedBytes << ", the file system freed " << freed;

    // The test's daemon does not outlive it.
    bool stopped = false;
    asio::co_spawn(context, registry->unregisterService(), [&](std::exception_ptr) { stopped = true; });
    EXPECT_TRUE(runUntil([&] { return stopped; }, std::chrono::seconds(10)));
    provider.reset();
    link.manager.reset();
    quendal::Runtime::shared().resetMainExecutor();
    quendal::AppLogger::setStore(nullptr);
}
