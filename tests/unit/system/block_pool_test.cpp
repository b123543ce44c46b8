#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "system/block_pool.h"

using QZ::SYSTEM::Block_pool;

namespace {

// A block size of its own, so that no other user of the pool shares these blocks.
using Pool = Block_pool<40, 8>;

}  // namespace

// Blocks in use never overlap, keep their alignment, and keep what was written into them while
// others are freed and taken again, across more than one chunk.
TEST(Block_pool, blocks_in_use_are_distinct_aligned_and_keep_their_contents)
{
    std::vector<unsigned char*> blocks;
    for (int i = 0; i < 5000; ++i) {
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
    Pool::release(nullptr);
}
