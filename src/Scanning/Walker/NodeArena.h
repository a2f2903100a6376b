#pragma once

#include <cstddef>

namespace tarnel {

// Memory for the nodes of a tree walk. Each thread carves nodes in order out of a chunk of its
// own; a chunk goes back to the system when the last node carved from it is freed, on whatever
// thread. A tree's nodes live and die together, so this costs no memory that the tree would not
// hold anyway, and it spares the walk a heap allocation for every node and the growing of a
// heap for every thread. Pages are touched only as nodes fill them. Not for nodes that outlive their neighbours one by one: a single survivor
// keeps its whole chunk.
class NodeArena {
public:
    static constexpr std::size_t chunkSize = 256 * 1024;

    // Throws std::bad_alloc when a new chunk can't be had or `bytes` doesn't fit one.
    static void* allocate(std::size_t bytes, std::size_t alignment);
    static void deallocate(void* memory) noexcept;
    // Chunks mapped and not yet returned, in this process.
    static std::size_t liveChunks();
};

// A standard allocator over NodeArena, for std::allocate_shared.
template <class T>
class NodeArenaAllocator {
public:
    using value_type = T;

    NodeArenaAllocator() = default;
    template <class U>
    NodeArenaAllocator(const NodeArenaAllocator<U>&) noexcept
    {
    }

    T* allocate(std::size_t count) { return static_cast<T*>(NodeArena::allocate(count * sizeof(T), alignof(T))); }
    void deallocate(T* memory, std::size_t) noexcept { NodeArena::deallocate(memory); }

    template <class U>
    bool operator==(const NodeArenaAllocator<U>&) const noexcept
    {
        return true;
    }
};

} // namespace tarnel
