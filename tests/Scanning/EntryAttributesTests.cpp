#include "Scanning/Walker/DirectoryListing.h"
#include "Scanning/Walker/DiskWalkProcedure.h"
#include "Scanning/Walker/EntryAttributes.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;
namespace fs = std::filesystem;

namespace {

// Files of distinct sizes, a link to a file and one to a folder.
std::map<std::string, std::int64_t> fill(const fs::path& root, int files)
{
    std::map<std::string, std::int64_t> sizes;
    for (int i = 0; i < files; ++i) {
        auto name = "f" + std::to_string(i);
        writeFile(root / name, std::string(static_cast<std::size_t>(i % 97), 'x'));
        sizes[name] = i % 97;
    }
    fs::create_directory(root / "sub");
    fs::create_symlink("f1", root / "link");
    sizes["link"] = 2;
    fs::create_directory_symlink("sub", root / "folderlink");
    sizes["folderlink"] = 3;
    return sizes;
}

} // namespace

TEST(EntryAttributes, SlicesReadByManyThreadsGiveEveryEntryItsOwnFacts)
{
    TemporaryDirectory temporary;
    auto expected = fill(temporary.path(), 1000);
    auto listing = DirectoryListing::open(temporary.path().string(), false);
    ASSERT_TRUE(listing);
    ASSERT_TRUE(listing->readBatch());
    std::vector<DirectoryListing::Entry> entries;
    listing->forEachEntry([&](const DirectoryListing::Entry& entry) { entries.push_back(entry); });
    ASSERT_EQ(entries.size(), expected.size() + 1) << "the folder fits one batch";
    fs::remove(temporary.path() / "f500"); // vanishes between listing and reading

    EntryAttributes attributes(listing->descriptor(), entries);
    EXPECT_EQ(attributes.pending(), expected.size()) << "folders need no system call";
    std::vector<std::thread> helpers;
    for (int i = 0; i < 3; ++i)
        helpers.emplace_back([&] { attributes.readSlices(); });
    attributes.finish();
    for (auto& helper : helpers)
        helper.join();

    int files = 0, links = 0;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        std::string name(attributes.entry(i).name);
        const auto& facts = attributes.attributes(i);
        if (name == "sub") {
            EXPECT_EQ(facts.type, DT_DIR);
            EXPECT_EQ(facts.size, 0);
            continue;
        }
        if (name == "f500") {
            EXPECT_TRUE(facts.gone);
            continue;
        }
        EXPECT_FALSE(facts.gone) << name;
        EXPECT_EQ(facts.size, expected.at(name)) << name;
        files += facts.type == DT_REG;
        links += facts.type == DT_LNK;
    }
    EXPECT_EQ(files, 999);
    EXPECT_EQ(links, 2);
}

TEST(EntryAttributes, AHugeFolderSumsTheSameWhenItsReadingIsShared)
{
    TemporaryDirectory temporary;
    std::int64_t total = 0;
    for (const auto& [name, size] : fill(temporary.path(), 3000))
        total += size;
    writeFile(temporary.path() / "sub/inner", "12345");

    auto walk = std::make_shared<DiskMapProcedure>(temporary.path().string(), false, std::nullopt);
    ProcedureQueue queue;
    queue.addOperation(walk);
    walk->waitUntilFinished();
    const auto& result = **walk->output().value()->value();
    EXPECT_EQ(result.root->size(), total + 5);
    EXPECT_EQ(result.totalFilesScanned, 3000 + 2);
    EXPECT_EQ(result.root->children().size(), 3001u);
}
