#include "ScanTestSupport.h"
#include "Scanning/Collectors/MetadataQuery.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <stdexcept>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::waitUntil;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> names(const FileCollector::Files& files)
{
    std::vector<std::string> result;
    for (const auto& file : files)
        result.emplace_back(file->name());
    return result;
}

FileCollector::Files outputOf(const MetadataQueryProcedure& query)
{
    auto output = query.output();
    if (!output.value() || !output.value()->isSuccess())
        throw std::runtime_error("the query yielded no result");
    return *output.value()->value();
}

} // namespace

TEST(MetadataQuery, FileNamePatternsIgnoreCaseAndMatchWholeNames)
{
    EXPECT_TRUE(fileNameMatches("*.deb", "tool.deb"));
    EXPECT_TRUE(fileNameMatches("*.deb", "TOOL.DEB"));
    EXPECT_TRUE(fileNameMatches("*.deb", ".deb"));
    EXPECT_FALSE(fileNameMatches("*.deb", "tool.deb.part"));
    EXPECT_FALSE(fileNameMatches("*.deb", "deb"));
    EXPECT_TRUE(fileNameMatches("a*b*c", "aXXbYYbZc"));
    EXPECT_FALSE(fileNameMatches("a*b*c", "aXXbYYbZ"));
    EXPECT_TRUE(fileNameMatches("?.iso", "x.iso"));
    EXPECT_FALSE(fileNameMatches("?.iso", "xy.iso"));
    EXPECT_TRUE(fileNameMatches("**", ""));
    EXPECT_FALSE(fileNameMatches("", "a"));
}

TEST(MetadataQuery, OneWalkAnswersEveryQueryLargestFirstOutsideCloudFolders)
{
    TemporaryDirectory temporary;
    auto home = temporary.path() / "home";
    writeFile(home / "small.deb", std::string(10, 'x'));
    writeFile(home / "Downloads/big.DEB", std::string(5000, 'x'));
    writeFile(home / "Downloads/middle.deb", std::string(700, 'x'));
    writeFile(home / "disc.iso", std::string(3000, 'x'));
    writeFile(home / ".cache/deep/hidden.deb", std::string(20, 'x'));
    writeFile(home / "Tool.AppDir/inside.deb", std::string(30, 'x'));
    fs::create_directories(home / "folder.deb");
    // Cloud folders are left out by plain prefix, so "OneDrive Backup" goes too.
    for (auto cloud : {"OneDrive", "OneDrive Backup", "Documents/OneDrive", "Dropbox"})
        writeFile(home / cloud / "synced.deb", std::string(9000, 'x'));
    writeFile(home / "Documents/kept.deb", std::string(40, 'x'));

    auto index = std::make_shared<HomeQueryWalk>(home.string());
    auto packages = std::make_shared<MetadataQueryProcedure>(MetadataQuery::fileNameLike("*.deb"), index);
    auto images = std::make_shared<MetadataQueryProcedure>(MetadataQuery::fileNameLike("*.iso"), index);
    auto large = std::make_shared<MetadataQueryProcedure>(MetadataQuery::sizeGreaterThan(3000), index);
    ProcedureQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    queue.addOperations({packages, images, large});
    for (const auto& query : {packages, images, large})
        query->waitUntilFinished();

    EXPECT_EQ(index->walksRun(), 1);
    EXPECT_EQ(names(outputOf(*packages)),
              (std::vector<std::string>{"big.DEB", "middle.deb", "kept.deb", "inside.deb", "hidden.deb", "small.deb",
                                        "folder.deb"}));
    EXPECT_EQ(names(outputOf(*images)), std::vector<std::string>{"disc.iso"});
    // Strictly larger: the 3000-byte image is not large.
    EXPECT_EQ(names(outputOf(*large)), std::vector<std::string>{"big.DEB"});
    for (const auto& node : outputOf(*packages)) {
        EXPECT_EQ(node->type(), FileNode::NodeType::file) << node->path();
        EXPECT_EQ(node->parent(), nullptr);
    }
    EXPECT_EQ(outputOf(*packages).front()->path(), (home / "Downloads/big.DEB").string());
    EXPECT_EQ(outputOf(*packages).front()->size(), 5000);

    // The walk is over: a later query would never be answered.
    EXPECT_THROW((void)index->add(MetadataQuery::sizeGreaterThan(1)), std::logic_error);
}

TEST(MetadataQuery, ACancelledQueryFinishesAtOnceWhileTheWalkServesTheOthers)
{
    TemporaryDirectory temporary;
    auto home = temporary.path() / "home";
    for (int i = 0; i < 50; ++i)
        writeFile(home / ("f" + std::to_string(i) + ".deb"), std::string(i, 'x'));

    // The first node the walk shows holds it until the test lets it go.
    std::promise<void> release;
    auto released = release.get_future().share();
    std::atomic<bool> walking{false};
    MetadataQuery holding{[&](const FileNode&) {
        walking = true;
        released.wait();
        return false;
    }};
    auto index = std::make_shared<HomeQueryWalk>(home.string());
    auto first = std::make_shared<MetadataQueryProcedure>(holding, index);
    auto waiting = std::make_shared<MetadataQueryProcedure>(MetadataQuery::fileNameLike("f4*"), index);
    auto answered = std::make_shared<MetadataQueryProcedure>(MetadataQuery::fileNameLike("f1?.deb"), index);
    ProcedureQueue queue;
    queue.addOperation(first);
    waitUntil([&] { return walking.load(); });
    queue.addOperations({waiting, answered});
    waitUntil([&] { return waiting->isExecuting() && answered->isExecuting(); });

    waiting->cancel();
    EXPECT_TRUE(waiting->isFinished());
    EXPECT_TRUE(waiting->isCancelled());
    EXPECT_FALSE(answered->isFinished());

    release.set_value();
    answered->waitUntilFinished();
    first->waitUntilFinished();
    waitUntil([&] { return index->walkEnded(); });
    EXPECT_EQ(outputOf(*answered).size(), 10u);
    EXPECT_TRUE(outputOf(*first).empty());
    EXPECT_TRUE(waiting->output().isPending());
    EXPECT_EQ(index->walksRun(), 1);
}

TEST(MetadataQuery, WhenEveryQueryIsCancelledTheWalkStops)
{
    TemporaryDirectory temporary;
    auto home = temporary.path() / "home";
    for (int d = 0; d < 30; ++d)
        for (int i = 0; i < 20; ++i)
            writeFile(home / ("d" + std::to_string(d)) / ("f" + std::to_string(i)), "x");

    std::promise<void> release;
    auto released = release.get_future().share();
    std::atomic<int> shown{0};
    MetadataQuery counting{[&](const FileNode&) {
        if (shown++ == 0)
            released.wait();
        return true;
    }};
    auto index = std::make_shared<HomeQueryWalk>(home.string());
    auto only = std::make_shared<MetadataQueryProcedure>(counting, index);
    ProcedureQueue queue;
    queue.addOperation(only);
    waitUntil([&] { return shown.load() == 1; });
    only->cancel();
    EXPECT_TRUE(only->isFinished());
    release.set_value();
    waitUntil([&] { return index->walkEnded(); });
    // Each folder listed before the cancel may still be shown whole, but not every one of 630.
    EXPECT_LT(shown.load(), 630);
}
