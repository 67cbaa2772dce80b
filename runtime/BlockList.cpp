#include "runtime/BlockList.h"

#include "runtime/Contract.h"

#include <new>

namespace Kor::detail {

namespace {

constexpr std::size_t blockStep = 16;
constexpr std::size_t largestBlock = 256;
constexpr unsigned mostBlocks = 32;

struct Block {
    Block* next;
};
struct BlockList {
    Block* head;
    unsigned count;
};
/// Without a constructor or destructor, so that there is nothing to test for at each use.
struct Blocks {
    BlockList lists[largestBlock / blockStep + 1];
    bool hasCleaner;
    bool isClosed;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Blocks blocks{};

/// Gives the blocks back when the thread ends.
struct BlockCleaner {
    ~BlockCleaner() {
        blocks.isClosed = true;
        for (BlockList& list : blocks.lists) {
            while (Block* const block = list.head) {
                list.head = block->next;
                ::operator delete(block);
            }
        }
    }
};

constexpr bool isKept(std::size_t size) {
    return !contractChecks && size <= largestBlock;
}
constexpr std::size_t blockClass(std::size_t size) {
    return (size + blockStep - 1) / blockStep;
}

} // namespace

void* newBlock(std::size_t size) {
    if (!isKept(size)) {
        return ::operator new(size);
    }
    BlockList& list = blocks.lists[blockClass(size)];
    if (Block* const block = list.head) {
        list.head = block->next;
        --list.count;
        return block;
    }
    return ::operator new(blockClass(size) * blockStep);
}

void deleteBlock(void* block, std::size_t size) noexcept {
    if (!isKept(size) || blocks.isClosed || blocks.lists[blockClass(size)].count >= mostBlocks) {
        ::operator delete(block);
        return;
    }
    if (!blocks.hasCleaner) [[unlikely]] {
        [[maybe_unused]] static thread_local BlockCleaner cleaner;
        blocks.hasCleaner = true;
    }
    BlockList& list = blocks.lists[blockClass(size)];
    list.head = new (block) Block{list.head};
    ++list.count;
}

} // namespace Kor::detail
