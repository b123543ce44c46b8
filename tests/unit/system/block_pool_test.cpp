#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "system/block_pool.h"

using QZ::SYSTEM::Block_pool;

namespace {

// A block size of its own, so that no other user of the pool shares these blocks.
using Pool = Block_pool<40, 8>;

}  // namespace

// Blocks in use never overlap, keep their alignment, and keep what was written into them while
// others are freed and taken again, across more than one chunk: 5000 blocks (200 KB) stay in the
// first small chunks, 120,000 (4.8 MB) reach the large ones.
TEST(Block_pool, blocks_in_use_are_distinct_aligned_and_keep_their_contents)
{
    for (int count : {5000, 120000}) {
        std::vector<unsigned char*> blocks;
        for (int i = 0; i < count; ++i) {
            auto* block = static_cast<unsigned char*>(Pool::allocate());
            ASSERT_EQ(reinterpret_cast<uintptr_t>(block) % 8, 0u);
            std::memset(block, i & 0xff, 40);
            blocks.push_back(block);
        }
        // Free every other block; the freed ones come back, the kept ones are left alone.
        for (size_t i = 0; i < blocks.size(); i += 2)
            Pool::release(blocks[i]);
        for (size_t i = 0; i < blocks.size(); i += 2) {
            auto* block = static_cast<unsigned char*>(Pool::allocate());
            std::memset(block, 0xee, 40);
            blocks[i] = block;
        }
        std::set<unsigned char*> distinct(blocks.begin(), blocks.end());
        EXPECT_EQ(distinct.size(), blocks.size());
        for (size_t i = 1; i < blocks.size(); i += 2)
            for (int b = 0; b < 40; ++b)
                ASSERT_EQ(blocks[i][b], static_cast<unsigned char>(i & 0xff)) << "block " << i << " byte " << b;
        for (unsigned char* block : blocks)
            Pool::release(block);
    }
    Pool::release(nullptr);
}

// Two threads take blocks at once, each from its own list; blocks are then freed by the thread
// that did not take them and taken again. No block is handed out twice and none loses its
// contents meanwhile.
TEST(Block_pool, threads_take_and_free_each_others_blocks)
{
    using Thread_pool = Block_pool<24, 8>;
    constexpr size_t COUNT = 100000;
    std::vector<unsigned char*> taken[2];
    auto take = [&taken](int thread) {
        for (size_t i = 0; i < COUNT; ++i) {
            auto* block = static_cast<unsigned char*>(Thread_pool::allocate());
            std::memset(block, thread + 1, 24);
            taken[thread].push_back(block);
        }
    };
    auto swap_half = [&taken](int thread) {
        // Frees the other thread's even blocks and puts blocks of its own in their place.
        std::vector<unsigned char*>& other = taken[1 - thread];
        for (size_t i = 0; i < other.size(); i += 2)
            Thread_pool::release(other[i]);
        for (size_t i = 0; i < other.size(); i += 2) {
            other[i] = static_cast<unsigned char*>(Thread_pool::allocate());
            std::memset(other[i], 2 - thread, 24);
        }
    };
    std::thread first(take, 0);
    std::thread second(take, 1);
    first.join();
    second.join();
    std::thread third(swap_half, 0);
    third.join();
    std::thread fourth(swap_half, 1);
    fourth.join();

    std::set<unsigned char*> distinct;
    for (int thread = 0; thread < 2; ++thread)
        for (unsigned char* block : taken[thread]) {
            distinct.insert(block);
            for (int b = 0; b < 24; ++b)
                ASSERT_EQ(block[b], thread + 1);
        }
    EXPECT_EQ(distinct.size(), 2 * COUNT);
    for (int thread = 0; thread < 2; ++thread)
        for (unsigned char* block : taken[thread])
            Thread_pool::release(block);
}
