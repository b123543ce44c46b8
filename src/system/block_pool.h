// Free lists of fixed-size blocks for objects a parse makes and frees by the hundred thousand.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace QZ {
namespace SYSTEM {

// Blocks come from chunks that live to the end of the process, so that a block freed on another
// thread, or after its thread has ended, stays valid memory. Each thread keeps its own free list,
// so allocation takes no lock. The pool keeps what it has taken at its peak.
// In sanitizer builds the pool hands every block to the general allocator, so that misuse of a
// block is still found.
template <size_t BLOCK_SIZE>
class Block_pool {
public:
    static void* allocate()
    {
#ifdef VORN_NO_POOLS
        return ::operator new(BLOCK_SIZE);
#else
        // Free blocks are kept as a stack of pointers rather than a list through the blocks,
        // so that taking one does not read the block's cold memory.
        Free_stack& free = free_stack();
        if (free.size == 0)
            refill(free);
        return free.blocks[--free.size];
#endif
    }

    static void release(void* pointer)
    {
#ifdef VORN_NO_POOLS
        ::operator delete(pointer);
#else
        if (!pointer)
            return;
        Free_stack& free = free_stack();
        if (free.size == free.capacity)
            grow(free, free.capacity * 2);
        free.blocks[free.size++] = pointer;
#endif
    }

private:
    static constexpr size_t ALIGNED_SIZE = (BLOCK_SIZE + alignof(std::max_align_t) - 1) /
                                           alignof(std::max_align_t) * alignof(std::max_align_t);
    static constexpr size_t CHUNK_BLOCKS = 65536 / ALIGNED_SIZE > 0 ? 65536 / ALIGNED_SIZE : 1;

    // Trivially destructible, so that a block freed during static destruction finds it intact.
    struct Free_stack {
        void** blocks;
        size_t size;
        size_t capacity;
    };

    // Initial-exec: the free stack is one load from the thread pointer away, instead of a call
    // into the dynamic loader for every node. The library's few bytes of thread-local data fit
    // the room the loader keeps for libraries that are opened late.
    static Free_stack& free_stack()
    {
        static thread_local Free_stack stack __attribute__((tls_model("initial-exec"))) = {nullptr, 0, 0};
        return stack;
    }

    static void grow(Free_stack& free, size_t capacity)
    {
        if (capacity < CHUNK_BLOCKS)
            capacity = CHUNK_BLOCKS;
        void* blocks = std::realloc(free.blocks, capacity * sizeof(void*));
        if (!blocks)
            throw std::bad_alloc();
        free.blocks = static_cast<void**>(blocks);
        free.capacity = capacity;
    }

    // A new chunk, its blocks pushed so that they are handed out in address order.
    static void refill(Free_stack& free)
    {
        char* chunk = static_cast<char*>(std::malloc(ALIGNED_SIZE * CHUNK_BLOCKS));
        if (!chunk)
            throw std::bad_alloc();
        {
            static std::mutex lock;
            static std::vector<void*>* chunks = new std::vector<void*>;
            std::lock_guard<std::mutex> guard(lock);
            chunks->push_back(chunk);
        }
        if (free.capacity < CHUNK_BLOCKS)
            grow(free, CHUNK_BLOCKS);
        for (size_t i = CHUNK_BLOCKS; i-- > 0;)
            free.blocks[free.size++] = chunk + i * ALIGNED_SIZE;
    }
};

}  // namespace SYSTEM
}  // namespace QZ
