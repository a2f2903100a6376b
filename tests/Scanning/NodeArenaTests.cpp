#include "Scanning/Walker/DiskScanner.h"
#include "Scanning/Walker/NodeArena.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <vector>

using namespace tarnel;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

namespace {

struct Block {
    unsigned char bytes[200];
};

std::uintptr_t chunkOf(const void* memory)
{
    return reinterpret_cast<std::uintptr_t>(memory) & ~(NodeArena::chunkSize - 1);
}

} // namespace

TEST(NodeArena, ChunksHoldDistinctBlocksAndGoBackWithTheirLastBlock)
{
    const auto before = NodeArena::liveChunks();
    std::vector<std::shared_ptr<Block>> blocks;
    std::thread carver([&] {
        // Enough for several chunks; each block is filled with its own index.
        for (int i = 0; i < 4000; ++i) {
            blocks.push_back(std::allocate_shared<Block>(NodeArenaAllocator<Block>()));
            std::memset(blocks.back()->bytes, i & 0xFF, sizeof(Block::bytes));
        }
    });
    carver.join();
    EXPECT_GE(NodeArena::liveChunks(), before + 3);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        for (auto byte : blocks[i]->bytes)
            ASSERT_EQ(byte, i & 0xFF) << "block " << i << " was overwritten";

    // One survivor keeps its chunk, on a thread other than the one that carved it.
    auto survivor = blocks[blocks.size() / 2];
    auto survivorChunk = chunkOf(survivor.get());
    std::size_t sharing = 0;
    for (const auto& block : blocks)
        sharing += chunkOf(block.get()) == survivorChunk;
    ASSERT_GT(sharing, 1u);
    blocks.clear();
    EXPECT_EQ(NodeArena::liveChunks(), before + 1);
    survivor.reset();
    EXPECT_EQ(NodeArena::liveChunks(), before);

    EXPECT_THROW(NodeArena::allocate(NodeArena::chunkSize, 8), std::bad_alloc);
}

TEST(NodeArena, ATreeWalkGivesEveryChunkBackWhenTheTreeGoes)
{
    TemporaryDirectory temporary;
    for (int d = 0; d < 20; ++d)
        for (int i = 0; i < 150; ++i)
            writeFile(temporary.path() / ("d" + std::to_string(d)) / ("f" + std::to_string(i)), "x");
    const auto before = NodeArena::liveChunks();
    DiskScanResult result;
    {
        DiskScanner scanner({}, true);
        result = scanner.walk(std::make_shared<FileNode>(temporary.path().string(), nullptr, 0,
                                                         FileNode::NodeType::directory));
    }
    EXPECT_EQ(result.totalFilesScanned, 20 * 151);
    EXPECT_EQ(result.root->size(), 20 * 150);
    EXPECT_GT(NodeArena::liveChunks(), before);
    result.root.reset();
    EXPECT_EQ(NodeArena::liveChunks(), before) << "the walk's threads gave their chunks up";
}
