#include "system/mod_mem.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace QZ {
namespace SYSTEM {

Mod_mem* mod_mem = nullptr;

namespace {

// Every block carries its size in front; the header keeps the payload maximally aligned.
struct alignas(std::max_align_t) Block_header {
    size_t size;
};

}  // namespace

Mod_mem::Mod_mem(size_t limit) : Module(MODULE_MEM, "MEM"), limit_(limit) {}

Mod_mem& memory()
{
    static Mod_mem* instance = new Mod_mem(~size_t(0));
    return *instance;
}

void* Mod_mem::system_allocate(size_t bytes)
{
    return system_allocate_ ? system_allocate_(bytes) : std::malloc(bytes);
}

void* Mod_mem::allocate(size_t size)
{
    size_t total = size + sizeof(Block_header);
    if (total < size)
        out_of_memory(size);
    void* raw = system_allocate(total);
    if (!raw && reclaim_) {
        // Ask for what the request exceeds the free budget by, then try once more.
        size_t free_budget = limit_ > in_use_ ? limit_ - in_use_ : 0;
        reclaim_(total > free_budget ? total - free_budget : total);
        raw = system_allocate(total);
    }
    if (!raw)
        out_of_memory(size);
    auto* header = static_cast<Block_header*>(raw);
    header->size = size;
    {
        std::lock_guard<std::mutex> guard(lock_);
        in_use_ += size;
    }
    return header + 1;
}

void Mod_mem::release(void* block)
{
    if (!block)
        return;
    auto* header = static_cast<Block_header*>(block) - 1;
    {
        std::lock_guard<std::mutex> guard(lock_);
        in_use_ -= header->size;
    }
    std::free(header);
}

size_t Mod_mem::block_size(const void* block)
{
    return block ? (static_cast<const Block_header*>(block) - 1)->size : 0;
}

void Mod_mem::out_of_memory(size_t size)
{
    std::fprintf(stderr, "FATAL: Cannot allocate %lu bytes of memory.\n", static_cast<unsigned long>(size));
    std::fflush(stderr);
    std::exit(1);
}

}  // namespace SYSTEM
}  // namespace QZ
