#include "ScanTestSupport.h"
#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/Walker/DiskWalkProcedure.h"
#include "Scanning/Walker/FileScanner.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <cstdio>
#include <future>
#include <thread>
#include <filesystem>
#include <map>
#include <random>
#include <set>

using namespace tarnel;
using tarnel::testing::CapturedScanLog;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::waitUntil;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

std::shared_ptr<DiskScanResult> run(const std::shared_ptr<DiskWalkProcedure>& walk)
{
    return tarnel::testing::runToValue(walk);
}

std::shared_ptr<DiskScanResult> map(const fs::path& root, std::optional<int> depth = {}, bool bundles = false)
{
    return run(std::make_shared<DiskMapProcedure>(root.string(), bundles, depth));
}

std::set<std::string> names(const FileNode& node)
{
    std::set<std::string> result;
    for (const auto& child : node.children())
        result.emplace(child->name());
    return result;
}

const FileNode* child(const FileNode& node, std::string_view name)
{
    for (const auto& entry : node.children())
        if (entry->name() == name)
            return entry.get();
    return nullptr;
}

std::string shell(const std::string& command)
{
    std::string output;
    if (auto pipe = ::popen(command.c_str(), "r")) {
        char buffer[256];
        while (auto read = std::fread(buffer, 1, sizeof buffer, pipe))
            output.append(buffer, read);
        ::pclose(pipe);
    }
    return output;
}

// Files and folders below `root` as find counts them.
std::int64_t findCount(const fs::path& root)
{
    return std::stoll(shell("find '" + root.string() + "' -mindepth 1 \\( -type f -o -type d \\) 2>/dev/null | wc -l"));
}

// A chain of `depth` folders with a file in each, made relative to the last one so that its
// paths may pass PATH_MAX.
void makeDeepChain(const fs::path& root, int depth, const std::string& name)
{
    int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(folder, 0);
    for (int level = 0; level < depth; ++level) {
        int file = ::openat(folder, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_GE(file, 0);
        ASSERT_EQ(::write(file, "12345", 5), 5);
        ::close(file);
        ASSERT_EQ(::mkdirat(folder, name.c_str(), 0755), 0) << std::strerror(errno);
        int next = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(folder);
        ASSERT_GE(next, 0);
        folder = next;
    }
    ::close(folder);
}

// Uneven depth and fan-out, with symbolic links to files and folders and hard links.
void makeUnevenTree(const fs::path& root, int files)
{
    std::mt19937 random(13);
    std::vector<fs::path> directories{root};
    for (int i = 0; i < files; ++i) {
        if (random() % 9 == 0) {
            auto parent = directories[random() % directories.size()];
            directories.push_back(parent / ("d" + std::to_string(i)));
            fs::create_directory(directories.back());
        }
        auto where = directories[random() % directories.size()];
        auto file = where / ("f" + std::to_string(i) + ".txt");
        writeFile(file, std::string(random() % 5000, 'x'));
        if (i % 97 == 0)
            fs::create_symlink(file, where / ("l" + std::to_string(i)));
        if (i % 89 == 0)
            fs::create_directory_symlink(directories[random() % directories.size()], where / ("s" + std::to_string(i)));
        if (i % 83 == 0)
            fs::create_hard_link(file, directories[random() % directories.size()] / ("h" + std::to_string(i)));
    }
}

} // namespace

TEST(Walker, TreeSizesAndCountsAgreeWithFind)
{
    TemporaryDirectory temporary;
    auto root = temporary.path() / "tree";
    fs::create_directory(root);
    makeUnevenTree(root, 3000);

    auto result = map(root);
    auto quoted = "'" + root.string() + "'";
    auto findBytes = std::stoll(shell("find " + quoted + " -mindepth 1 \\( -type f -o -type l \\) -printf '%s\\n' | "
                                      "awk '{s+=$1} END {printf \"%.0f\", s}'"));
    auto findCount = std::stoll(shell("find " + quoted + " -mindepth 1 \\( -type f -o -type d \\) | wc -l"));
    EXPECT_EQ(result->root->size(), findBytes);
    EXPECT_EQ(result->totalFilesScanned, findCount);

    // Every directory holds the sum of everything below it.
    std::function<std::int64_t(const FileNode&)> check = [&](const FileNode& node) -> std::int64_t {
        std::int64_t files = 0;
        for (const auto& entry : node.children()) {
            EXPECT_EQ(entry->parent().get(), &node);
            files += entry->isDirectory() ? check(*entry) : entry->size();
        }
        return files;
    };
    check(*result->root);
    for (const auto& sub : result->root->children()) {
        if (!sub->isDirectory())
            continue;
        EXPECT_EQ(sub->size(), std::stoll(shell("find '" + sub->path() + "' -mindepth 1 \\( -type f -o -type l \\) "
                                                "-printf '%s\\n' | awk '{s+=$1} END {printf \"%.0f\", s}'")));
        break;
    }
}

TEST(Walker, LinksAreNotFollowedAndHardLinksCountTwice)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    fs::create_directories(root / "real/inner");
    writeFile(root / "real/inner/data", std::string(1000, 'a'));
    fs::create_directory_symlink("real", root / "alias");
    fs::create_directory(root / "other");
    fs::create_hard_link(root / "real/inner/data", root / "other/twin");

    auto result = map(root);
    EXPECT_EQ(names(*result->root), (std::set<std::string>{"real", "other"})) << "a link gets no node";
    // Both names of the file count in full; the link adds its own size, the length of "real".
    EXPECT_EQ(result->root->size(), 2000 + 4);
    EXPECT_EQ(child(*result->root, "other")->size(), 1000);
    EXPECT_EQ(result->totalFilesScanned, 5);

    // A root given through a link is walked; a root that can't be opened is empty.
    EXPECT_EQ(map(root / "alias")->totalFilesScanned, 2);
    auto missing = map(root / "missing");
    EXPECT_EQ(missing->totalFilesScanned, 0);
    EXPECT_EQ(missing->root->size(), 0);
    EXPECT_TRUE(missing->root->children().empty());
}

TEST(Walker, DepthLimitsCountDirectoriesTheyDoNotEnter)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    fs::create_directories(root / "a/b/c");
    writeFile(root / "top", "1");
    writeFile(root / "a/middle", "22");
    writeFile(root / "a/b/deep", "333");

    for (int limit : {0, 1}) {
        auto result = map(root, limit);
        EXPECT_EQ(names(*result->root), (std::set<std::string>{"a", "top"})) << limit;
        EXPECT_TRUE(child(*result->root, "a")->children().empty()) << limit;
        EXPECT_EQ(result->totalFilesScanned, 2) << "the directory not entered still counts";
    }
    auto two = map(root, 2);
    EXPECT_EQ(names(*child(*two->root, "a")), (std::set<std::string>{"b", "middle"}));
    EXPECT_TRUE(child(*child(*two->root, "a"), "b")->children().empty());
    EXPECT_EQ(two->totalFilesScanned, 4);
    EXPECT_EQ(two->root->size(), 3);
    EXPECT_EQ(map(root)->totalFilesScanned, 6);
}

TEST(Walker, BundlesGetANodeButAreEnteredOnlyWhenAsked)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    for (auto folder : {"Foo.app", "Tool.AppDir", "share/flatpak/app/org.example.App", "plain"})
        writeFile(root / folder / "content", "12345");
    writeFile(root / "Bar.app", "file");

    auto closed = map(root);
    auto foo = child(*closed->root, "Foo.app");
    ASSERT_NE(foo, nullptr);
    EXPECT_TRUE(foo->children().empty());
    EXPECT_EQ(foo->size(), 0);
    EXPECT_TRUE(child(*closed->root, "Tool.AppDir")->children().empty());
    EXPECT_EQ(child(*closed->root, "Bar.app")->type(), FileNode::NodeType::file);
    EXPECT_EQ(closed->root->size(), 4 + 5) << "only the .app file and the plain folder's content";

    auto open = map(root, std::nullopt, true);
    EXPECT_EQ(open->root->size(), 4 + 4 * 5);
    EXPECT_EQ(child(*open->root, "Foo.app")->size(), 5);
}

TEST(Walker, SeventeenEntriesGetAnOperationSixteenDoNot)
{
    TemporaryDirectory temporary;
    for (int count : {16, 17}) {
        auto root = temporary.path() / std::to_string(count);
        for (int i = 0; i < count; ++i)
            writeFile(root / "holder/big" / std::to_string(i), "x");
        auto scanner = std::make_shared<DiskScanner>(DiskScanner::ProgressHandler{}, true);
        auto node = std::make_shared<FileNode>(root.string(), nullptr, 0, FileNode::NodeType::directory);
        auto result = scanner->walk(node);
        EXPECT_EQ(result.totalFilesScanned, count + 2);
        EXPECT_EQ(result.root->size(), count);
        EXPECT_EQ(scanner->operationsEnqueued(), count == 16 ? 1 : 2) << count;
        EXPECT_EQ(scanner->activeThreads(), 0) << "every operation gives its unit back";
    }

    // Many big directories at once stay within the budget and lose nothing.
    auto wide = temporary.path() / "wide";
    for (int d = 0; d < 40; ++d)
        for (int i = 0; i < 20; ++i)
            writeFile(wide / ("d" + std::to_string(d)) / std::to_string(i), "ab");
    auto result = map(wide);
    EXPECT_EQ(result->totalFilesScanned, 40 * 21);
    EXPECT_EQ(result->root->size(), 40 * 20 * 2);
}

TEST(Walker, CollectorModeShowsEveryNodeAndCancellingMidWalkKeepsAPartialResult)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    for (int d = 0; d < 30; ++d)
        for (int i = 0; i < 20; ++i)
            writeFile(root / ("d" + std::to_string(d)) / ("f" + std::to_string(i)), "abc");

    auto all = std::make_shared<FileCollector>();
    auto complete = run(std::make_shared<FileScanProcedure>(root.string(), std::vector<std::shared_ptr<FileCollector>>{all},
                                                            false, std::nullopt));
    EXPECT_EQ(complete->totalFilesScanned, 630);
    EXPECT_EQ(all->files().size(), 630u);
    EXPECT_TRUE(complete->root->children().empty()) << "no tree in collector mode";
    EXPECT_EQ(complete->root->size(), 0);

    // A collector that cancels the walk when it has seen 100 nodes.
    struct Canceller : FileCollector {
        std::weak_ptr<Procedure> walk;
        int seen = 0;
        bool evaluator(const FileNode&) override
        {
            if (++seen == 100)
                if (auto strong = walk.lock())
                    strong->cancel();
            return true;
        }
    };
    CapturedScanLog log;
    auto canceller = std::make_shared<Canceller>();
    auto walk = std::make_shared<FileScanProcedure>(root.string(), std::vector<std::shared_ptr<FileCollector>>{canceller},
                                                    false, std::nullopt);
    canceller->walk = walk;
    auto partial = run(walk);
    EXPECT_EQ(walk->status(), ProcedureStatus::cancelled);
    EXPECT_GE(partial->totalFilesScanned, 100);
    EXPECT_LT(partial->totalFilesScanned, 630);
    EXPECT_EQ(walk->scanner(), nullptr);
    EXPECT_EQ(log.messages(ScanLogLevel::error), std::vector<std::string>{"Procedure Did Cancel"});
}

TEST(Walker, UnreadableDirectoriesAreSilentlyEmpty)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not hold for root";
    TemporaryDirectory temporary;
    auto root = temporary.path();
    writeFile(root / "locked/secret", "hidden");
    writeFile(root / "open/visible", "seen");
    ::chmod((root / "locked").c_str(), 0);
    auto result = map(root);
    EXPECT_TRUE(child(*result->root, "locked")->children().empty());
    EXPECT_EQ(result->totalFilesScanned, 3);
    EXPECT_EQ(result->root->size(), 4);
}

TEST(Walker, UnreadableButListableFolderKeepsItsFilesWithUnknownSizes)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not hold for root";
    TemporaryDirectory temporary;
    auto root = temporary.path() / "tree";
    writeFile(root / "listable/one", "1234");
    writeFile(root / "listable/two", "56");
    writeFile(root / "listable/sub/three", "789");
    writeFile(root / "open/visible", "seen");
    // Listed but not searched: names are known, sizes are not.
    ::chmod((root / "listable").c_str(), 0444);
    auto result = map(root);
    const auto* listable = child(*result->root, "listable");
    ASSERT_NE(listable, nullptr);
    EXPECT_EQ(names(*listable), (std::set<std::string>{"one", "two", "sub"}));
    EXPECT_EQ(listable->size(), 0);
    EXPECT_TRUE(child(*listable, "sub")->children().empty());
    // find can't tell the type of an entry it can't stat, so its count of all entries, here
    // only files and folders, is the one to agree with.
    auto findEntries = std::stoll(shell("find '" + root.string() + "' -mindepth 1 2>/dev/null | wc -l"));
    EXPECT_EQ(result->totalFilesScanned, findEntries);
    EXPECT_EQ(result->totalFilesScanned, 6);
    EXPECT_EQ(result->root->size(), 4);
    ::chmod((root / "listable").c_str(), 0755);
}

TEST(Walker, ChainsPastPathMaxAreWalkedWholeHoweverTheRootIsSpelled)
{
    TemporaryDirectory temporary;
    auto root = temporary.path() / "deep";
    fs::create_directory(root);
    // 300 names of 21 bytes reach about 6,600 bytes, well past PATH_MAX.
    makeDeepChain(root, 300, std::string(21, 'n'));
    const auto expected = findCount(root);
    EXPECT_EQ(expected, 600);

    auto plain = map(root);
    EXPECT_EQ(plain->totalFilesScanned, expected);
    EXPECT_EQ(plain->root->size(), 300 * 5);
    // A longer spelling of the same root moves where PATH_MAX falls, not the count.
    auto padded = map(temporary.path() / "././././././././././deep");
    EXPECT_EQ(padded->totalFilesScanned, expected);
    auto depthLimited = map(root, pathComponentCount(root.string()) + 250);
    EXPECT_LT(depthLimited->totalFilesScanned, expected);

    // The cleanup of the fixture takes paths whole; rm walks relative to each folder.
    shell("rm -rf '" + root.string() + "'");
}

TEST(Walker, FolderBoundIntoItsOwnChildIsNotEnteredAgain)
{
    TemporaryDirectory temporary;
    auto root = temporary.path() / "tree";
    writeFile(root / "top", "123");
    writeFile(root / "a/inner", "45");
    fs::create_directories(root / "a/b/mount");
    if (::mount(root.c_str(), (root / "a/b/mount").c_str(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "bind mounts are not permitted here: " << std::strerror(errno);
    struct Unmount {
        fs::path where;
        ~Unmount() { ::umount2(where.c_str(), MNT_DETACH); }
    } unmount{root / "a/b/mount"};

    CapturedScanLog log;
    auto result = map(root);
    // find reports the loop and leaves the bound folder out; the walker keeps it as a folder it
    // doesn't enter, as it does below a depth limit.
    EXPECT_EQ(result->totalFilesScanned, findCount(root) + 1);
    EXPECT_EQ(result->totalFilesScanned, 5);
    EXPECT_EQ(result->root->size(), 5);
    const auto* mount = child(*child(*child(*result->root, "a"), "b"), "mount");
    ASSERT_NE(mount, nullptr);
    EXPECT_TRUE(mount->children().empty());
    EXPECT_EQ(log.messages(ScanLogLevel::info),
              std::vector<std::string>{"Skipped a folder that contains itself: " + (root / "a/b/mount").string()});

    // Two sibling folders of the same inode are not a loop: both are entered.
    auto siblings = temporary.path() / "siblings";
    writeFile(siblings / "source/file", "6789");
    fs::create_directories(siblings / "copy");
    ASSERT_EQ(::mount((siblings / "source").c_str(), (siblings / "copy").c_str(), nullptr, MS_BIND, nullptr), 0);
    Unmount unmountSiblings{siblings / "copy"};
    auto both = map(siblings);
    EXPECT_EQ(both->totalFilesScanned, 4);
    EXPECT_EQ(both->root->size(), 8);
}

TEST(Walker, FileScannerReportsMatchesOnceAndRefusesASecondStart)
{
    tarnel::testing::VirtualTime time;
    CapturedScanLog log;
    TemporaryDirectory temporary;
    writeFile(temporary.path() / "a.txt", "1");
    writeFile(temporary.path() / "sub/b.txt", "2");
    writeFile(temporary.path() / "sub/c.bin", "3");

    auto scanner = std::make_shared<FileScanner>(
        temporary.path().string(),
        std::vector<SearchFileCollector::Evaluator>{[](const FileNode& node) { return node.fileExtension() == "txt"; }});
    std::optional<std::pair<std::set<std::string>, std::int64_t>> finished;
    FileCollector::Files kept;
    scanner->callbacks.didFinishScanningFiles = [&](const FileCollector::Files& files, std::int64_t total) {
        std::set<std::string> found;
        for (const auto& file : files)
            found.emplace(file->name());
        finished.emplace(found, total);
        kept = files;
    };
    scanner->start();
    scanner->start();
    EXPECT_EQ(log.messages(ScanLogLevel::error), std::vector<std::string>{"File Scanner is already running"});
    waitUntil([&] { return finished.has_value(); }, [&] { time.poll(); });
    EXPECT_EQ(finished->first, (std::set<std::string>{"a.txt", "b.txt"}));
    EXPECT_EQ(finished->second, 4);
    EXPECT_FALSE(scanner->isRunning());
    // A kept node knows its path after its folder's node is gone.
    std::set<std::string> paths;
    for (const auto& file : kept) {
        paths.insert(file->path());
        if (file->name() == "b.txt") {
            EXPECT_EQ(file->parent(), nullptr) << "no one keeps the folder sub";
        }
    }
    EXPECT_EQ(paths, (std::set<std::string>{(temporary.path() / "a.txt").string(), (temporary.path() / "sub/b.txt").string()}));
}

TEST(Walker, FileNodeIdentityAndUrls)
{
    FileNode directory("/home/me/My Files/", nullptr, 0, FileNode::NodeType::directory);
    EXPECT_EQ(directory.path(), "/home/me/My Files");
    EXPECT_EQ(directory.url(), "file:///home/me/My%20Files/");
    FileNode file("/home/me/My Files", nullptr, 0, FileNode::NodeType::file);
    EXPECT_FALSE(file == directory) << "the directory flag is part of the identity";
    EXPECT_EQ(pathComponentCount("/"), 1);
    EXPECT_EQ(pathComponentCount("/a/b"), 3);
    EXPECT_EQ(FileNode::nodeType(10), FileNode::NodeType::complex);
    EXPECT_FALSE(FileNode::nodeType(11).has_value());
}

TEST(Walker, ProgressTicksEveryFifteenthOfASecondWhileTheWalkRuns)
{
    tarnel::testing::VirtualTime time;
    TemporaryDirectory temporary;
    writeFile(temporary.path() / "only", "1");

    // Holds the walk inside its first node until the test lets it go.
    struct Gate : FileCollector {
        std::atomic<bool> entered{false};
        std::promise<void> release;
        std::shared_future<void> released = release.get_future().share();
        bool evaluator(const FileNode&) override
        {
            entered = true;
            released.wait();
            return true;
        }
    };
    auto gate = std::make_shared<Gate>();
    std::vector<std::pair<double, bool>> ticks;
    auto scanner = std::make_shared<DiskScanner>([&](double fraction, bool done) { ticks.emplace_back(fraction, done); });
    scanner->collectors = {gate};
    auto root = std::make_shared<FileNode>(temporary.path().string(), nullptr, 0, FileNode::NodeType::directory);
    std::thread walker([&] { scanner->walk(root); });
    waitUntil([&] { return gate->entered.load(); });

    time.runFor(0.21);
    EXPECT_EQ(ticks, (std::vector<std::pair<double, bool>>(3, {0.0, false})));
    ASSERT_FALSE(time.clock().requestedSleepSeconds().empty());
    EXPECT_NEAR(time.clock().requestedSleepSeconds().front(), 1.0 / 15.0, 1e-9);

    gate->release.set_value();
    walker.join();
    time.runFor(1.0);
    EXPECT_EQ(ticks.size(), 3u) << "the timer stops when the walk has drained";
    EXPECT_EQ(scanner->filesScanned(), 1);
}
