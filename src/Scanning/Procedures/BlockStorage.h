#pragma once

#include <functional>
#include <utility>
#include <variant>

namespace tarnel {

// The block a block unit runs: one that takes the unit and owns its finish, or one that takes
// nothing, may throw, and lets the unit finish by itself.
template <class Unit>
class BlockStorage {
public:
    using SelfBlock = std::function<void(Unit&)>;
    using VoidBlock = std::function<void()>;

    static BlockStorage asSelf(SelfBlock block) { return BlockStorage(std::move(block)); }
    static BlockStorage asVoid(VoidBlock block) { return BlockStorage(std::move(block)); }

    bool isSelf() const { return block_.index() == 0; }
    const SelfBlock* selfBlock() const { return std::get_if<0>(&block_); }
    const VoidBlock* voidBlock() const { return std::get_if<1>(&block_); }

private:
    explicit BlockStorage(SelfBlock block) : block_(std::in_place_index<0>, std::move(block)) {}
    explicit BlockStorage(VoidBlock block) : block_(std::in_place_index<1>, std::move(block)) {}
    std::variant<SelfBlock, VoidBlock> block_;
};

} // namespace tarnel
