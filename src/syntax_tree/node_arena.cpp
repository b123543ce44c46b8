#include "syntax_tree/node_arena.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>

#include "syntax_tree/st_node.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

#ifdef VORN_ARENA_POISONS
#include <sanitizer/asan_interface.h>
#define VORN_POISON(address, size) ASAN_POISON_MEMORY_REGION(address, size)
#define VORN_UNPOISON(address, size) ASAN_UNPOISON_MEMORY_REGION(address, size)
#else
#define VORN_POISON(address, size) ((void)(address), (void)(size))
#define VORN_UNPOISON(address, size) ((void)(address), (void)(size))
#endif

namespace QZ {
namespace SYNTAX_TREE {

std::atomic<uintptr_t> Node_arena::range_start_{0};
std::atomic<size_t> Node_arena::range_size_{0};
std::atomic<Node_arena*> Node_arena::owners_[Node_arena::MAX_RANGE >> Node_arena::GRANULE_SHIFT];
std::atomic<int64_t> Node_arena::live_count_{0};

namespace {

static_assert(Node_arena::NODE_BLOCK == (sizeof(St_node) + 7) / 8 * 8, "a node's block fits the node");

// The chunks of the range, handed out and taken back under one lock: an arena takes a chunk
// per 256 KB or 2 MB of tree, so the lock is rare. Chunks given back keep their pages, as the
// node pools keep theirs: the next tree of that size is likely to come.
class Chunk_source {
public:
    static Chunk_source& get()
    {
        // Never destroyed: trees may go during static destruction.
        static Chunk_source* source = new Chunk_source;
        return *source;
    }

    bool reserved() const { return start_ != nullptr; }
    char* start() const { return start_; }
    size_t size() const { return size_; }

    // A chunk of bytes (a granule, or LARGE_CHUNK aligned to itself); null when the range is
    // used up or was never reserved.
    char* take(size_t bytes, size_t granule, size_t large)
    {
        std::lock_guard<std::mutex> guard(lock_);
        std::vector<char*>& free_list = bytes == large ? free_large_ : free_small_;
        if (!free_list.empty()) {
            char* chunk = free_list.back();
            free_list.pop_back();
            return chunk;
        }
        if (bytes == large)
            return take_slab(large, true);
        if (small_cursor_ == small_end_) {
            small_cursor_ = take_slab(large, false);
            if (!small_cursor_)
                return nullptr;
            small_end_ = small_cursor_ + large;
        }
        char* chunk = small_cursor_;
        small_cursor_ += granule;
        return chunk;
    }

    void give_back(char* chunk, size_t bytes, size_t large)
    {
        std::lock_guard<std::mutex> guard(lock_);
        (bytes == large ? free_large_ : free_small_).push_back(chunk);
    }

private:
    Chunk_source()
    {
#ifdef __linux__
        // Only addresses: pages are made usable a slab at a time. A smaller range where a
        // limit on address space refuses the large one.
        for (size_t size = size_t(32) << 30; size >= (size_t(256) << 20); size /= 2) {
            void* mapped = mmap(nullptr, size + (size_t(2) << 20), PROT_NONE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
            if (mapped == MAP_FAILED)
                continue;
            uintptr_t raw = reinterpret_cast<uintptr_t>(mapped);
            uintptr_t aligned = (raw + (size_t(2) << 20) - 1) & ~((uintptr_t(2) << 20) - 1);
            start_ = reinterpret_cast<char*>(aligned);
            size_ = size;
            next_ = start_;
            break;
        }
#endif
    }

    char* take_slab(size_t bytes, bool huge)
    {
        if (!start_ || size_t(start_ + size_ - next_) < bytes)
            return nullptr;
        char* slab = next_;
#ifdef __linux__
        if (mprotect(slab, bytes, PROT_READ | PROT_WRITE) != 0)
            return nullptr;
        // Only advice: a large tree then costs a page fault per 2 MB instead of per 4 KB.
        if (huge)
            madvise(slab, bytes, MADV_HUGEPAGE);
#else
        (void)huge;
#endif
        next_ += bytes;
        return slab;
    }

    std::mutex lock_;
    char* start_ = nullptr;
    size_t size_ = 0;
    char* next_ = nullptr;
    char* small_cursor_ = nullptr;
    char* small_end_ = nullptr;
    std::vector<char*> free_small_;
    std::vector<char*> free_large_;
};

}  // namespace

bool Node_arena::available()
{
    return Chunk_source::get().reserved();
}

Node_arena::Node_arena()
{
    live_count_.fetch_add(1, std::memory_order_relaxed);
}

Node_arena::~Node_arena()
{
    Chunk_source& source = Chunk_source::get();
    for (const Chunk& chunk : chunks_) {
        size_t first = size_t(chunk.start - source.start()) >> GRANULE_SHIFT;
        for (size_t i = 0; i < chunk.size >> GRANULE_SHIFT; ++i)
            owners_[first + i].store(nullptr, std::memory_order_relaxed);
        VORN_POISON(chunk.start, chunk.size);
        source.give_back(chunk.start, chunk.size, LARGE_CHUNK);
    }
    live_count_.fetch_sub(1, std::memory_order_relaxed);
}

void Node_arena::new_chunk(size_t bytes)
{
    Chunk_source& source = Chunk_source::get();
    // A small chunk first, so that a small tree stays small; a larger tree then takes large
    // chunks, whose huge pages cost one fault each instead of one per 4 KB.
    size_t size = bytes_taken_ == 0 && bytes <= GRANULE ? GRANULE : LARGE_CHUNK;
    char* chunk = source.take(size, GRANULE, LARGE_CHUNK);
    if (!chunk)
        throw std::bad_alloc();
    if (range_size_.load(std::memory_order_relaxed) == 0) {
        range_start_.store(reinterpret_cast<uintptr_t>(source.start()), std::memory_order_relaxed);
        range_size_.store(source.size(), std::memory_order_release);
    }
    VORN_UNPOISON(chunk, size);
    size_t first = size_t(chunk - source.start()) >> GRANULE_SHIFT;
    for (size_t i = 0; i < size >> GRANULE_SHIFT; ++i)
        owners_[first + i].store(this, std::memory_order_relaxed);
    chunks_.push_back(Chunk{chunk, size});
    bytes_taken_ += size;
    cursor_ = chunk;
    end_ = chunk + size;
}

char* Node_arena::take(size_t bytes)
{
    if (size_t(end_ - cursor_) < bytes)
        new_chunk(bytes);
    char* block = cursor_;
    cursor_ += bytes;
    return block;
}

void* Node_arena::pop(Free_block*& list, size_t bytes)
{
    Free_block* block = list;
    if (!block)
        return nullptr;
    VORN_UNPOISON(block, bytes);
    list = block->next;
    return block;
}

void Node_arena::push(Free_block*& list, void* block, size_t bytes)
{
    VORN_UNPOISON(block, bytes);
    auto* freed = static_cast<Free_block*>(block);
    freed->next = list;
    list = freed;
    VORN_POISON(block, bytes);
}

void* Node_arena::allocate_node_slowly()
{
    if (void* block = pop(free_nodes_, NODE_BLOCK))
        return block;
    if (size_t(end_ - cursor_) < NODE_BLOCK && !available())
        return nullptr;
    return take(NODE_BLOCK);
}

void Node_arena::release_node(void* block)
{
    push(free_nodes_, block, NODE_BLOCK);
}

char* Node_arena::allocate_text_slowly(size_t bytes)
{
    if (bytes <= TINY_TEXT) {
        if (void* block = pop(free_tiny_, TINY_TEXT))
            return static_cast<char*>(block);
        return take(TINY_TEXT);
    }
    if (bytes <= SMALL_TEXT) {
        if (void* block = pop(free_small_, SMALL_TEXT))
            return static_cast<char*>(block);
        return take(SMALL_TEXT);
    }
    if (bytes <= LARGE_TEXT)
        return take((bytes + 7) / 8 * 8);
    large_texts_.emplace_back(new char[bytes]);
    return large_texts_.back().get();
}

void Node_arena::release_text(char* block, size_t bytes)
{
    if (bytes <= TINY_TEXT)
        push(free_tiny_, block, TINY_TEXT);
    else if (bytes <= SMALL_TEXT)
        push(free_small_, block, SMALL_TEXT);
}

void Node_arena::absorb(std::unique_ptr<Node_arena> other)
{
    if (!other || other.get() == this)
        return;
    Chunk_source& source = Chunk_source::get();
    for (const Chunk& chunk : other->chunks_) {
        size_t first = size_t(chunk.start - source.start()) >> GRANULE_SHIFT;
        for (size_t i = 0; i < chunk.size >> GRANULE_SHIFT; ++i)
            owners_[first + i].store(this, std::memory_order_relaxed);
        chunks_.push_back(chunk);
    }
    bytes_taken_ += other->bytes_taken_;
    other->chunks_.clear();
    for (auto list : {&Node_arena::free_nodes_, &Node_arena::free_tiny_, &Node_arena::free_small_}) {
        // Splicing walks the other's list; absorbing is rare, and its freed blocks are few.
        Free_block* head = other.get()->*list;
        if (!head)
            continue;
        Free_block* last = head;
        for (;;) {
            VORN_UNPOISON(last, sizeof(Free_block));
            Free_block* next = last->next;
            if (!next)
                break;
            VORN_POISON(last, sizeof(Free_block));
            last = next;
        }
        last->next = this->*list;
        VORN_POISON(last, sizeof(Free_block));
        this->*list = head;
        other.get()->*list = nullptr;
    }
    for (auto& text : other->large_texts_)
        large_texts_.push_back(std::move(text));
}

void Node_arena::check_tree(const St_node* root, const char* owner) const
{
    std::vector<const St_node*> pending;
    if (root)
        pending.push_back(root);
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (of(node) != this) {
            std::fprintf(stderr, "%s: node %s of %s line %d is not in the tree's arena\n", owner,
                         St_node::kind_name(node->kind), node->file_name(), node->line);
            std::abort();
        }
        if (node->next_sibling)
            pending.push_back(node->next_sibling);
        if (node->first_child)
            pending.push_back(node->first_child);
    }
}

}  // namespace SYNTAX_TREE
}  // namespace QZ
