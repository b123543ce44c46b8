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
// ALIGNMENT is that of the objects kept in the blocks: tree nodes need 8, not the 16 of any type.
template <size_t BLOCK_SIZE, size_t ALIGNMENT = alignof(std::max_align_t)>
class Block_pool {
public:
    static void* allocate()
    {
#ifdef VORN_NO_POOLS
        return ::operator new(BLOCK_SIZE);
#else
        // A freed block first, then the untouched rest of the newest chunk.
        Free_list& list = free_list();
        if (Free_block* block = list.head) {
            list.head = block->next;
            return block;
        }
        if (list.fresh == list.fresh_end)
            take_chunk(list);
        void* block = list.fresh;
        list.fresh += ALIGNED_SIZE;
        return block;
#endif
    }

    static void release(void* pointer)
    {
#ifdef VORN_NO_POOLS
        ::operator delete(pointer);
#else
        if (!pointer)
            return;
        // The list runs through the freed blocks themselves, so that freeing a whole tree needs
        // no memory besides the tree's.
        Free_list& list = free_list();
        Free_block* block = static_cast<Free_block*>(pointer);
        block->next = list.head;
        list.head = block;
#endif
    }

private:
    static_assert(ALIGNMENT > 0 && (ALIGNMENT & (ALIGNMENT - 1)) == 0 && ALIGNMENT <= alignof(std::max_align_t),
                  "chunks from malloc are aligned for any type, and no more");
    static_assert(BLOCK_SIZE >= sizeof(void*) && ALIGNMENT >= alignof(void*), "a free block holds a pointer");
    static constexpr size_t ALIGNED_SIZE = (BLOCK_SIZE + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    static constexpr size_t CHUNK_BLOCKS = 65536 / ALIGNED_SIZE > 0 ? 65536 / ALIGNED_SIZE : 1;

    struct Free_block {
        Free_block* next;
    };

    // Trivially destructible, so that a block freed during static destruction finds it intact.
    struct Free_list {
        Free_block* head;
        char* fresh;
        char* fresh_end;
    };

    // Initial-exec: the free list is one load from the thread pointer away, instead of a call
    // into the dynamic loader for every node. The library's few bytes of thread-local data fit
    // the room the loader keeps for libraries that are opened late.
    static Free_list& free_list()
    {
        static thread_local Free_list list __attribute__((tls_model("initial-exec"))) = {nullptr, nullptr, nullptr};
        return list;
    }

    // A new chunk, handed out in address order as the fresh blocks run out.
    static void take_chunk(Free_list& list)
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
        list.fresh = chunk;
        list.fresh_end = chunk + ALIGNED_SIZE * CHUNK_BLOCKS;
    }
};

}  // namespace SYSTEM
}  // namespace QZ
