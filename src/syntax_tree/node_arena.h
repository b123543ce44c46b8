// The memory of one tree's nodes and texts, given back all at once when its owner goes: freeing
// a large tree node by node cost as much as a pass over it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Under the address sanitizer, blocks freed or dropped are poisoned, so that a node used after
// its arena went is found; the allocation paths then all run out of line.
#if defined(__SANITIZE_ADDRESS__)
#define VORN_ARENA_POISONS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VORN_ARENA_POISONS 1
#endif
#endif

namespace QZ {
namespace SYNTAX_TREE {

class St_node;

// Chunks come from one address range reserved at the first use, so that any address tells
// whether it belongs to an arena, and to which, without reading the block it points to. A
// node deleted alone goes to its arena's free list; what stays is dropped with the arena.
// An arena is used by one thread at a time, like the tree it holds.
class Node_arena {
public:
    Node_arena();
    ~Node_arena();
    Node_arena(const Node_arena&) = delete;
    Node_arena& operator=(const Node_arena&) = delete;

    // The arena that holds the address; null for any other memory (the heap, the stack, the
    // node pools), and always null where the range could not be reserved.
    static Node_arena* of(const void* address)
    {
        size_t size = range_size_.load(std::memory_order_acquire);
        uintptr_t offset = reinterpret_cast<uintptr_t>(address) - range_start_.load(std::memory_order_relaxed);
        if (offset >= size)
            return nullptr;
        return owners_[offset >> GRANULE_SHIFT].load(std::memory_order_relaxed);
    }
    // False where the address range could not be reserved; arenas then hand out no memory and
    // trees come from the node pools.
    static bool available();

    // Memory for one node; null when arenas are not available.
    static constexpr size_t NODE_BLOCK = 72;
    void* allocate_node()
    {
#ifndef VORN_ARENA_POISONS
        if (Free_block* block = free_nodes_) {
            free_nodes_ = block->next;
            return block;
        }
        if (size_t(end_ - cursor_) >= NODE_BLOCK) {
            char* block = cursor_;
            cursor_ += NODE_BLOCK;
            return block;
        }
#endif
        return allocate_node_slowly();
    }
    void release_node(void* block);
    // A block of at least bytes for a text (aligned to 8). Blocks of TINY_TEXT and SMALL_TEXT
    // bytes can be given back one at a time; larger ones stay until the arena goes.
    static constexpr size_t TINY_TEXT = 16;
    static constexpr size_t SMALL_TEXT = 32;
    char* allocate_text(size_t bytes)
    {
#ifndef VORN_ARENA_POISONS
        Free_block** list = bytes <= TINY_TEXT ? &free_tiny_ : bytes <= SMALL_TEXT ? &free_small_ : nullptr;
        if (list && *list) {
            Free_block* block = *list;
            *list = block->next;
            return reinterpret_cast<char*>(block);
        }
        size_t rounded = bytes <= TINY_TEXT ? TINY_TEXT : bytes <= SMALL_TEXT ? SMALL_TEXT : (bytes + 7) & ~size_t(7);
        if (rounded <= LARGE_TEXT && size_t(end_ - cursor_) >= rounded) {
            char* block = cursor_;
            cursor_ += rounded;
            return block;
        }
#endif
        return allocate_text_slowly(bytes);
    }
    void release_text(char* block, size_t bytes);

    // The root whose deletion drops the whole arena, without a walk over its tree: a parse's
    // tree owns its arena until a unit takes both over. Null when the arena has another owner.
    const St_node* keeper() const { return keeper_; }
    void set_keeper(const St_node* root) { keeper_ = root; }

    // Takes over every block of other, which is deleted: a tree spliced into another brings its
    // memory with it.
    void absorb(std::unique_ptr<Node_arena> other);

    // Ends the process with a message when a node of the tree under root (siblings included) is
    // not in this arena. Dropping a tree without a walk is right only when none is; checking
    // builds run it before every drop.
    void check_tree(const St_node* root, const char* owner) const;

    // Sources shorter than this are parsed into the node pools: an arena costs a page or more
    // however small its tree, and thousands of small units (a long import chain, a graph of
    // small classes) paid for it in time and memory. Checking builds put every parsed tree in
    // an arena, so that their checks reach every site that adds nodes.
#ifdef VORN_CHECK_ARENAS
    static constexpr size_t MIN_SOURCE = 0;
#else
    static constexpr size_t MIN_SOURCE = 8192;
#endif

    // The bytes of the chunks the arena holds.
    size_t chunk_bytes() const { return bytes_taken_; }
    // The arenas alive in the process, for tests.
    static int64_t live_count() { return live_count_.load(std::memory_order_relaxed); }

private:
    static constexpr size_t GRANULE_SHIFT = 18;  // 256 KB: a small chunk
    static constexpr size_t GRANULE = size_t(1) << GRANULE_SHIFT;
    static constexpr size_t LARGE_CHUNK = size_t(2) << 20;
    static constexpr size_t MAX_RANGE = size_t(32) << 30;
    static constexpr size_t LARGE_TEXT = 4096;

    struct Free_block {
        Free_block* next;
    };
    struct Chunk {
        char* start;
        size_t size;
    };

    void* allocate_node_slowly();
    char* allocate_text_slowly(size_t bytes);
    char* take(size_t bytes);
    void new_chunk(size_t bytes);
    static void* pop(Free_block*& list, size_t bytes);
    static void push(Free_block*& list, void* block, size_t bytes);

    // Where chunks are carved from; set once, before any arena hands out memory.
    static std::atomic<uintptr_t> range_start_;
    static std::atomic<size_t> range_size_;
    // The owner of each granule of the range.
    static std::atomic<Node_arena*> owners_[MAX_RANGE >> GRANULE_SHIFT];
    static std::atomic<int64_t> live_count_;

    char* cursor_ = nullptr;
    char* end_ = nullptr;
    Free_block* free_nodes_ = nullptr;
    Free_block* free_tiny_ = nullptr;
    Free_block* free_small_ = nullptr;
    std::vector<Chunk> chunks_;
    size_t bytes_taken_ = 0;
    // Texts too large for a chunk's rest, from the heap.
    std::vector<std::unique_ptr<char[]>> large_texts_;
    const St_node* keeper_ = nullptr;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ
