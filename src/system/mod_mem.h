// The allocator. It never returns null: when memory runs out it ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Mod_mem : public Module {
public:
    // Asked to give back at least the given number of bytes; returns what it freed.
    using Reclaim_callback = size_t (*)(size_t bytes);
    // Called instead of the system allocator; tests use it to simulate refusal.
    using System_allocator = void* (*)(size_t bytes);

    explicit Mod_mem(size_t limit);

    void* allocate(size_t size);
    void release(void* block);
    // Size of a block as requested from allocate.
    static size_t block_size(const void* block);

    void set_reclaim_callback(Reclaim_callback callback) { reclaim_ = callback; }
    void set_system_allocator(System_allocator allocator) { system_allocate_ = allocator; }
    size_t bytes_in_use() const { return in_use_; }
    size_t limit() const { return limit_; }

private:
    void* system_allocate(size_t bytes);
    [[noreturn]] void out_of_memory(size_t size);

    std::mutex lock_;
    size_t limit_;
    size_t in_use_ = 0;
    Reclaim_callback reclaim_ = nullptr;
    System_allocator system_allocate_ = nullptr;
};

extern Mod_mem* mod_mem;

// The allocator object is created once per process and lives to its end.
Mod_mem& memory();

// Objects the library allocates for itself come from the module allocator.
struct Mem_object {
    static void* operator new(size_t size) { return memory().allocate(size); }
    static void operator delete(void* block) { memory().release(block); }
};

}  // namespace SYSTEM
}  // namespace QZ
