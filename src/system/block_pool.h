// Free lists of fixed-size blocks for objects a parse makes and frees by the hundred thousand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#ifdef __linux__
#include <sys/mman.h>
#endif

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
    static constexpr size_t SMALL_CHUNK_LIMIT = size_t(256) << 10;
    static constexpr size_t LARGE_CHUNK = size_t(2) << 20;
    static_assert(ALIGNED_SIZE <= LARGE_CHUNK, "a large chunk holds a block");

    struct Free_block {
        Free_block* next;
    };

    // Trivially destructible, so that a block freed during static destruction finds it intact.
    struct Free_list {
        Free_block* head;
        char* fresh;
        char* fresh_end;
        size_t small_bytes_taken;
    };

    // Initial-exec: the free list is one load from the thread pointer away, instead of a call
    // into the dynamic loader for every node. The library's few bytes of thread-local data fit
    // the room the loader keeps for libraries that are opened late.
    static Free_list& free_list()
    {
        static thread_local Free_list list __attribute__((tls_model("initial-exec"))) = {nullptr, nullptr, nullptr, 0};
        return list;
    }

    // A new chunk, handed out in address order as the fresh blocks run out. The first 256 KB of
    // a thread come in small chunks, so that a small tree stays small; after that chunks
    // are large, aligned and marked for huge pages: a big tree then costs one page fault per
    // 2 MB instead of one per 4 KB (faults dominate building a large tree), and the passes that
    // walk it miss the TLB far less.
    static void take_chunk(Free_list& list)
    {
        size_t bytes = ALIGNED_SIZE * CHUNK_BLOCKS;
        char* chunk = nullptr;
        if (list.small_bytes_taken < SMALL_CHUNK_LIMIT) {
            list.small_bytes_taken += bytes;
        } else {
            bytes = LARGE_CHUNK;
            chunk = static_cast<char*>(map_large_chunk());
        }
        if (!chunk)
            chunk = static_cast<char*>(std::malloc(bytes));
        if (!chunk)
            throw std::bad_alloc();
        {
            static std::mutex lock;
            static std::vector<void*>* chunks = new std::vector<void*>;
            std::lock_guard<std::mutex> guard(lock);
            chunks->push_back(chunk);
        }
        list.fresh = chunk;
        list.fresh_end = chunk + bytes / ALIGNED_SIZE * ALIGNED_SIZE;
    }

    // LARGE_CHUNK bytes at an address that is a multiple of LARGE_CHUNK, or null.
    static void* map_large_chunk()
    {
#ifdef __linux__
        void* mapped = mmap(nullptr, 2 * LARGE_CHUNK, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED)
            return nullptr;
        uintptr_t start = reinterpret_cast<uintptr_t>(mapped);
        uintptr_t aligned = (start + LARGE_CHUNK - 1) / LARGE_CHUNK * LARGE_CHUNK;
        if (aligned > start)
            munmap(mapped, aligned - start);
        if (aligned + LARGE_CHUNK < start + 2 * LARGE_CHUNK)
            munmap(reinterpret_cast<void*>(aligned + LARGE_CHUNK), start + 2 * LARGE_CHUNK - aligned - LARGE_CHUNK);
        // Only advice: where huge pages are off, the chunk is ordinary memory.
        madvise(reinterpret_cast<void*>(aligned), LARGE_CHUNK, MADV_HUGEPAGE);
        return reinterpret_cast<void*>(aligned);
#else
        return nullptr;
#endif
    }
};

}  // namespace SYSTEM
}  // namespace QZ
