#include "Scanning/Walker/NodeArena.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <new>

namespace tarnel {

namespace {

// Sits at the start of its chunk; chunks are aligned to their size, so any address inside one
// leads back to it.
struct Chunk {
    // Nodes carved from the chunk, plus one while a thread still carves from it.
    std::atomic<std::size_t> references{1};
};

constexpr std::size_t headerSize = 64;
std::atomic<std::size_t> liveChunkCount{0};

Chunk* mapChunk()
{
    // Twice the size, then trimmed to an aligned chunk.
    constexpr std::size_t span = 2 * NodeArena::chunkSize;
    void* mapped = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
    auto start = reinterpret_cast<std::uintptr_t>(mapped);
    auto aligned = (start + NodeArena::chunkSize - 1) & ~(NodeArena::chunkSize - 1);
    if (aligned > start)
        ::munmap(mapped, aligned - start);
    if (auto tail = start + span - (aligned + NodeArena::chunkSize))
        ::munmap(reinterpret_cast<void*>(aligned + NodeArena::chunkSize), tail);
    liveChunkCount.fetch_add(1, std::memory_order_relaxed);
    return new (reinterpret_cast<void*>(aligned)) Chunk;
}

void release(Chunk* chunk) noexcept
{
    if (chunk->references.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    chunk->~Chunk();
    ::munmap(chunk, NodeArena::chunkSize);
    liveChunkCount.fetch_sub(1, std::memory_order_relaxed);
}

// The chunk this thread carves from, given up when the thread ends.
struct Cursor {
    Chunk* chunk = nullptr;
    std::uintptr_t next = 0;
    std::uintptr_t end = 0;

    ~Cursor()
    {
        if (chunk)
            release(chunk);
    }
};

thread_local Cursor cursor;

} // namespace

void* NodeArena::allocate(std::size_t bytes, std::size_t alignment)
{
    if (bytes > chunkSize - headerSize || alignment > headerSize)
        throw std::bad_alloc();
    auto start = (cursor.next + alignment - 1) & ~(alignment - 1);
    if (!cursor.chunk || start + bytes > cursor.end) {
        auto* fresh = mapChunk();
        if (cursor.chunk)
            release(cursor.chunk);
        cursor.chunk = fresh;
        cursor.next = reinterpret_cast<std::uintptr_t>(fresh) + headerSize;
        cursor.end = reinterpret_cast<std::uintptr_t>(fresh) + chunkSize;
        start = (cursor.next + alignment - 1) & ~(alignment - 1);
    }
    cursor.chunk->references.fetch_add(1, std::memory_order_relaxed);
    cursor.next = start + bytes;
    return reinterpret_cast<void*>(start);
}

void NodeArena::deallocate(void* memory) noexcept
{
    auto address = reinterpret_cast<std::uintptr_t>(memory);
    release(reinterpret_cast<Chunk*>(address & ~(chunkSize - 1)));
}

std::size_t NodeArena::liveChunks() { return liveChunkCount.load(std::memory_order_relaxed); }

} // namespace tarnel
