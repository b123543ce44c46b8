#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "compiler/mod_compiler.h"
#include "log/mod_log.h"
#include "system/growth.h"
#include "system/mod_math.h"
#include "system/mod_mem.h"
#include "system/mod_string.h"
#include "system/module.h"
#include "system/sequence.h"
#include "system/text_hash_table.h"

using namespace QZ::SYSTEM;

TEST(Module_table, every_module_is_registered_while_running)
{
    const struct {
        int32_t id;
        const char* tag;
    } expected[] = {
        {0, "MAIN"},   {12, "HAL"},  {21, "CONF"}, {24, "LOG"},  {25, "MATH"}, {26, "MEM"},
        {27, "PLUG"},  {28, "PROP"}, {32, "STR"},  {37, "IMG"},  {42, "ANTL"}, {43, "CMDL"},
        {46, "SITE"},  {54, "CB12"}, {55, "COMP"}, {56, "CL12"}, {57, "CF12"}, {58, "CG"},
        {59, "FX"},    {60, "GSWR"}, {61, "SYNT"}, {62, "CT12"}, {118, "GL"}, {145, "BOVL"},
    };
    for (const auto& entry : expected) {
        ASSERT_NE(module_tag(entry.id), nullptr) << entry.id;
        EXPECT_STREQ(module_tag(entry.id), entry.tag) << entry.id;
        if (entry.id != 0) {
            EXPECT_EQ(module_at(entry.id)->id, entry.id);
            EXPECT_EQ(module_at(entry.id)->state, MODULE_RUNNING) << entry.tag;
        }
    }
    EXPECT_EQ(module_tag(1), nullptr);
    EXPECT_EQ(module_tag(-1), nullptr);
    EXPECT_EQ(module_tag(100000), nullptr);
}

TEST(Module_table, stop_clears_the_table_and_start_fills_it_again)
{
    stop_sequence();
    EXPECT_EQ(module_tag(55), nullptr);
    EXPECT_EQ(module_tag(24), nullptr);
    EXPECT_EQ(QZ::COMPILER::mod_compiler, nullptr);
    EXPECT_EQ(QZ::LOG::mod_log, nullptr);
    // The allocator outlives the stop: only the pointer to it is cleared.
    EXPECT_EQ(mod_mem, nullptr);
    EXPECT_STREQ(module_tag(26), "MEM");
    stop_sequence();  // a second stop finds nothing to do

    start_sequence();
    EXPECT_STREQ(module_tag(55), "COMP");
    EXPECT_NE(QZ::LOG::mod_log, nullptr);
}

TEST(Math_table, directions_are_unit_vectors_on_the_stated_grid)
{
    for (unsigned index : {0u, 1u, 127u, 128u, 40000u, 65535u}) {
        const float* d = mod_math->direction(index);
        EXPECT_NEAR(d[0] * d[0] + d[1] * d[1] + d[2] * d[2], 1.0, 1e-5) << index;
    }
    // Low 7 bits give phi from -pi/2 to +pi/2: index 0 points straight down, 127 straight up.
    EXPECT_NEAR(mod_math->direction(0)[2], -1.0, 1e-6);
    EXPECT_NEAR(mod_math->direction(127)[2], 1.0, 1e-6);
    // Theta steps by 2 pi / 511 per unit of the high 9 bits.
    const float* d = mod_math->direction((1u << 7) | 63u);
    double theta = std::atan2(d[1], d[0]);
    EXPECT_NEAR(theta, 2.0 * 3.14159265358979323846 / 511.0, 1e-5);
}

// The table is built from its separable factors; every entry must carry the bits of the direct
// formula, one sine and cosine pair per entry.
TEST(Math_table, directions_match_the_direct_formula_bit_for_bit)
{
    const double pi = 3.14159265358979323846;
    const float* table = mod_math->directions();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table, mod_math->directions());  // built once
    int differing = 0;
    for (unsigned index = 0; index < unsigned(Mod_math::DIRECTION_COUNT); ++index) {
        double theta = (index >> 7) * (2.0 * pi / 511.0);
        double phi = (index & 127) * (pi / 127.0) - pi / 2.0;
        const float expected[3] = {static_cast<float>(std::cos(phi) * std::cos(theta)),
                                   static_cast<float>(std::cos(phi) * std::sin(theta)),
                                   static_cast<float>(std::sin(phi))};
        if (std::memcmp(expected, table + 3 * index, sizeof expected) != 0 && differing++ < 5)
            ADD_FAILURE() << "entry " << index << " differs";
    }
    EXPECT_EQ(differing, 0);
}

namespace {
void* refuse_allocation(size_t) { return nullptr; }

int reclaim_calls = 0;
size_t reclaim(size_t bytes)
{
    ++reclaim_calls;
    // Give the system allocator back after the first refusal.
    memory().set_system_allocator(nullptr);
    return bytes;
}

void* refuse_once(size_t) { return nullptr; }
}  // namespace

TEST(Allocator, blocks_remember_their_size)
{
    void* block = memory().allocate(100);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(Mod_mem::block_size(block), 100u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u);
    memory().release(block);
    memory().release(nullptr);
}

TEST(Allocator, retries_once_after_reclaiming)
{
    reclaim_calls = 0;
    memory().set_system_allocator(&refuse_once);
    memory().set_reclaim_callback(&reclaim);
    void* block = memory().allocate(64);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(reclaim_calls, 1);
    memory().release(block);
    memory().set_reclaim_callback(nullptr);
}

TEST(Allocator_death, refusal_ends_the_process_with_a_message)
{
    EXPECT_EXIT(
        {
            memory().set_system_allocator(&refuse_allocation);
            memory().allocate(100);
        },
        ::testing::ExitedWithCode(1), "FATAL: Cannot allocate 100 bytes of memory\\.");
}

TEST(Text_hash_table, grows_past_its_buckets_and_keeps_every_entry)
{
    Text_hash_table<int> table(100);
    EXPECT_EQ(table.bucket_count(), 101u);
    for (int i = 0; i < 1000; ++i)
        table.insert("name" + std::to_string(i)) = i;
    EXPECT_EQ(table.size(), 1000u);
    EXPECT_GE(table.bucket_count(), 1000u);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(*table.find("name" + std::to_string(i)), i);
    EXPECT_TRUE(table.erase("name5"));
    EXPECT_FALSE(table.erase("name5"));
    EXPECT_EQ(table.find("name5"), nullptr);

    Text_hash_table<int> copy = table;
    table.insert("name6") = -1;
    EXPECT_EQ(*copy.find("name6"), 6);
    EXPECT_EQ(text_hash("ab"), uint32_t('a') * 5 + 'b');
}

TEST(Vector_growth, three_halves_and_at_least_one_more)
{
    EXPECT_EQ(grown_capacity(0, 1), 1u);
    EXPECT_EQ(grown_capacity(1, 2), 2u);
    EXPECT_EQ(grown_capacity(2, 3), 3u);
    EXPECT_EQ(grown_capacity(10, 11), 15u);
    std::vector<int> values;
    std::vector<size_t> capacities;
    for (int i = 0; i < 20; ++i) {
        reserve_for_one_more(values);
        values.push_back(i);
        if (capacities.empty() || capacities.back() != values.capacity())
            capacities.push_back(values.capacity());
    }
    EXPECT_EQ(capacities, (std::vector<size_t>{1, 2, 3, 4, 6, 9, 13, 19, 28}));
}
