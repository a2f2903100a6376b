#include "ScanTestSupport.h"
#include "Scanning/Collectors/FileCollectors.h"
#include "Scanning/Collectors/FileProcedures.h"
#include "Scanning/Collectors/MetadataQuery.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/Walker/DiskWalkProcedure.h"
#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <set>
#include <stdexcept>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::runToValue;
using tarnel::testing::waitUntil;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

// Paths below `root`, "" for root itself.
std::set<std::string> relative(const FileCollector::Files& files, const fs::path& root)
{
    std::set<std::string> result;
    for (const auto& file : files)
        result.insert(fs::path(file->path()).lexically_relative(root).string());
    return result;
}

} // namespace

TEST(Collectors, EachCollectorKeepsItsKindByWholeCaseSensitiveSuffix)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    for (auto name : {"a.deb", "a.DEB", "deb", ".deb", "x.pkg.tar.zst", "y.tar.zst", "z.rpm", "w.snap", "v.flatpakref",
                      "b.iso", "c.img", "d.dmg", "d.dmg.part", ".DS_Store", "sub/.DS_Store", "sub/plain",
                      "e.xcarchive/Info", "f.AppImage"})
        writeFile(root / name, "12345");
    fs::create_directory(root / "folder.deb");

    auto all = std::vector<FileCollectorOptions>(allFileCollectorOptions.begin(), allFileCollectorOptions.end());
    auto result = runToValue(std::make_shared<SimpleFileScanProcedure>(root.string(), all, 5));
    ASSERT_EQ(result.size(), 7u);
    for (auto option : allFileCollectorOptions)
        EXPECT_TRUE(result.contains(std::string(rawValue(option)))) << rawValue(option);

    // A package folder counts; "pkg"-less names, other case and partial suffixes don't.
    EXPECT_EQ(relative(result["packages"], root),
              (std::set<std::string>{"a.deb", "x.pkg.tar.zst", "z.rpm", "w.snap", "v.flatpakref", "folder.deb"}));
    EXPECT_EQ(relative(result["diskImages"], root), (std::set<std::string>{"b.iso", "c.img", "d.dmg"}));
    EXPECT_EQ(relative(result["xcodeArchives"], root), std::set<std::string>{"e.xcarchive"});
    EXPECT_EQ(relative(result["directories"], root),
              (std::set<std::string>{"sub", "folder.deb", "e.xcarchive"}));

    // files and filesIgnoringDsStore differ in exactly the .DS_Store entries.
    auto files = relative(result["files"], root);
    auto ignoring = relative(result["filesIgnoringDsStore"], root);
    EXPECT_EQ(files.size(), 18u);
    std::set<std::string> difference;
    std::set_difference(files.begin(), files.end(), ignoring.begin(), ignoring.end(),
                        std::inserter(difference, difference.end()));
    EXPECT_EQ(difference, (std::set<std::string>{".DS_Store", "sub/.DS_Store"}));
    EXPECT_TRUE(std::includes(files.begin(), files.end(), ignoring.begin(), ignoring.end()));
    EXPECT_EQ(result["filesAndDirectories"].size(), files.size() + 3);

    for (auto option : allFileCollectorOptions)
        EXPECT_EQ(fileCollectorOptions(rawValue(option)), option);
    EXPECT_EQ(fileCollectorOptions("applications"), std::nullopt);
}

TEST(Collectors, OptionsShapeTheDictionaryAndDepthBoundsTheWalk)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    writeFile(root / "top.iso", "1");
    writeFile(root / "one/inner.iso", "2");
    writeFile(root / "one/two/deep.iso", "3");

    // No options: no keys, but the walk runs and the unit finishes with a value.
    EXPECT_TRUE(runToValue(std::make_shared<SimpleFileScanProcedure>(root.string(), std::vector<FileCollectorOptions>{}, 3))
                    .empty());

    // Two collectors of one name: one key, the later one's nodes.
    auto twice = runToValue(std::make_shared<SimpleFileScanProcedure>(
        root.string(), std::vector{FileCollectorOptions::diskImages, FileCollectorOptions::diskImages}, 1));
    ASSERT_EQ(twice.size(), 1u);
    EXPECT_EQ(relative(twice["diskImages"], root), std::set<std::string>{"top.iso"});

    auto two = runToValue(
        std::make_shared<SimpleFileScanProcedure>(root.string(), std::vector{FileCollectorOptions::diskImages}, 2));
    EXPECT_EQ(relative(two["diskImages"], root), (std::set<std::string>{"top.iso", "one/inner.iso"}));
}

TEST(Collectors, GroupScanWalksOneFolderAfterAnotherIntoSharedCollectors)
{
    tarnel::testing::VirtualTime time;
    TemporaryDirectory temporary;
    auto root = temporary.path();
    for (int i = 0; i < 40; ++i) {
        writeFile(root / "first" / ("f" + std::to_string(i)), "x");
        writeFile(root / "second" / ("s" + std::to_string(i)), "y");
    }
    writeFile(root / "second/deeper/hidden", "z");
    auto collector = std::make_shared<NonDirectoryCollector>();
    auto group = std::make_shared<GroupFileScanProcedure>(
        std::vector<std::string>{(root / "first").string(), (root / "second").string(), (root / "missing").string()},
        std::vector<std::shared_ptr<FileCollector>>{collector}, false, 1);
    EXPECT_EQ(group->maxConcurrentOperationCount(), 1);
    auto total = runToValue(group);

    EXPECT_EQ(total.root, nullptr);
    EXPECT_EQ(total.totalFilesScanned, 81);
    // Elapsed time comes from the process clock, which stands still in virtual time.
    EXPECT_EQ(total.elapsed, 0.0);
    auto results = group->scanResults();
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[0].totalFilesScanned, 40);
    EXPECT_EQ(results[1].totalFilesScanned, 41);
    EXPECT_EQ(results[2].totalFilesScanned, 0);

    // Every node of the first folder comes before any of the second; the depth limit held.
    auto files = collector->files();
    ASSERT_EQ(files.size(), 80u);
    for (std::size_t i = 0; i < files.size(); ++i)
        EXPECT_EQ(files[i]->path().starts_with((root / (i < 40 ? "first" : "second")).string()), true) << i;
}

TEST(Collectors, SizeCountsFilesInsideApplicationFoldersKeepsNothingAndIsZeroForAMissingFolder)
{
    TemporaryDirectory temporary;
    auto root = temporary.path();
    writeFile(root / "a", std::string(1000, 'a'));
    writeFile(root / "Tool.AppDir/usr/bin/tool", std::string(300, 't'));
    writeFile(root / "nested/b", std::string(20, 'b'));
    fs::create_symlink(root / "a", root / "link");

    // Files only: a symbolic link gets no node to be shown.
    EXPECT_EQ(runToValue(std::make_shared<SizeProcedure>(root.string())), 1000 + 300 + 20);
    EXPECT_EQ(runToValue(std::make_shared<SizeProcedure>((root / "missing").string())), 0);

    auto collector = std::make_shared<SizeCollector>();
    std::vector<std::shared_ptr<FileCollector>> collectors{collector};
    auto walk = std::make_shared<FileScanProcedure>(root.string(), collectors, false, std::nullopt);
    runToValue(std::static_pointer_cast<DiskWalkProcedure>(walk));
    // Without searching application folders the tool isn't counted.
    EXPECT_EQ(collector->totalSize(), 1020);
    EXPECT_TRUE(collector->files().empty());
}
