// The file of a small unit, saved at a fixed time, byte for byte against a golden file that
// scripts/update_bovl_golden.sh regenerates; and the golden file read field by field by a reader
// written here from the file's description alone, which also recomputes the running sum.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bovl/bin_file_stream.h"
#include "bovl/mod_bin_file.h"
#include "compiler/mod_compiler.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"

using namespace QZ;

namespace {

const char* const golden_source =
    "struct Pair { Scalar a; Int b; };\n"
    "shader S { input: Color c; output: Color result; void main() { result = c; } };\n";
const double golden_time = 1700000000.0;

// Reads the unscrambled body as the file's description gives it, adding up the sum.
class Body_reader {
public:
    explicit Body_reader(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}

    uint32_t number(int width)
    {
        uint32_t value = 0;
        for (int i = 0; i < width; ++i)
            value |= uint32_t(byte()) << (8 * i);
        return value;
    }
    uint8_t u8() { return add(number(1)); }
    int32_t s32() { return int32_t(add(number(4))); }
    uint32_t u32() { return add(number(4)); }
    std::string text()
    {
        uint32_t length = u32();
        std::string out;
        for (uint32_t i = 0; i < length && ok; ++i)
            out += char(u8());
        return out;
    }

    // One node's own fields; returns its flags.
    uint8_t node(std::vector<std::string>& kinds)
    {
        uint8_t flags = u8();
        uint8_t kind = u8();
        s32();  // type index
        std::string file = text();
        int32_t length = s32();
        if (length >= 0)
            for (int32_t i = 0; i < length && ok; ++i)
                s32();
        else
            text();
        s32();  // column
        s32();  // extra position
        s32();  // line
        kinds.push_back(std::to_string(kind) + "@" + file);
        return flags;
    }

    // The whole tree: a node, then its sibling's chain, then its child.
    void tree(std::vector<std::string>& kinds)
    {
        std::vector<int> pending{1};
        while (!pending.empty() && ok) {
            pending.pop_back();
            uint8_t flags = node(kinds);
            if (flags & 2)
                pending.push_back(1);
            if (flags & 1)
                pending.push_back(1);
        }
    }

    // A named type and its sub-types, first before second.
    void named_type(std::vector<std::string>& names)
    {
        std::vector<int> pending{1};
        while (!pending.empty() && ok) {
            pending.pop_back();
            uint8_t flags = u8();
            names.push_back(text());
            s32();  // type code
            u8();   // two modifiers and a false, as bools
            u8();
            EXPECT_EQ(u8(), 0);
            if (flags & 8)
                u32();
            text();  // second name
            if (flags & 2)
                pending.push_back(2);
            if (flags & 1)
                pending.push_back(1);
        }
    }

    bool at_end() const { return position_ == bytes_.size(); }
    uint32_t sum = 0;
    bool ok = true;

private:
    uint8_t byte()
    {
        if (position_ >= bytes_.size()) {
            ok = false;
            return 0;
        }
        return bytes_[position_++];
    }
    uint32_t add(uint32_t value)
    {
        sum += value;
        return value;
    }

    std::vector<uint8_t> bytes_;
    size_t position_ = 0;
};

std::vector<uint8_t> file_bytes(const std::string& path)
{
    std::string text = vorn_test::read_file(path);
    return std::vector<uint8_t>(text.begin(), text.end());
}

}  // namespace

TEST(Bin_file_golden, small_unit_is_the_golden_file)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(
        COMPILER::mod_compiler->compile_text("small.ovl", golden_source, &errors));
    ASSERT_TRUE(unit && errors.empty() && unit->error_count() == 0);
    std::string dir = std::string(VORN_TEST_BINARY_DIR) + "/bovl_golden";
    ASSERT_EQ(std::system(("mkdir -p '" + dir + "'").c_str()), 0);
    BOVL::mod_bin_file->set_clock([] { return golden_time; });
    BOVL::mod_bin_file->save_binary(*unit, (dir + "/small.bovl").c_str());
    BOVL::mod_bin_file->set_clock(nullptr);
    std::vector<uint8_t> actual = file_bytes(dir + "/small.bovl");
    std::vector<uint8_t> golden = file_bytes(std::string(VORN_TEST_DATA_DIR) + "/bovl/small.bovl");
    ASSERT_FALSE(golden.empty());
    EXPECT_EQ(actual, golden) << "see scripts/update_bovl_golden.sh";
}

TEST(Bin_file_golden, golden_file_read_by_its_description)
{
    std::vector<uint8_t> file = file_bytes(std::string(VORN_TEST_DATA_DIR) + "/bovl/small.bovl");
    ASSERT_GT(file.size(), 256u);
    // Header: magic 59991 little-endian, version 1.0, 60 reserved bytes (zeros as we write
    // them), then the key of the time.
    EXPECT_EQ(file[0] | file[1] << 8, 59991);
    EXPECT_EQ(file[2], 1);
    EXPECT_EQ(file[3], 0);
    for (int i = 4; i < 64; ++i)
        EXPECT_EQ(file[size_t(i)], 0);
    uint8_t key[64];
    BOVL::make_key(golden_time, key);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(file[size_t(64 + i)], key[i]) << "key byte " << i;

    // Body and footer are scrambled by key position, counting from the body's first byte.
    std::vector<uint8_t> clear(file.begin() + 128, file.end());
    for (size_t i = 0; i < clear.size(); ++i)
        clear[i] ^= key[i % 64];
    std::vector<uint8_t> footer(clear.end() - 128, clear.end());
    clear.resize(clear.size() - 128);

    Body_reader body(clear);
    std::vector<std::string> kinds, names;
    body.tree(kinds);
    uint8_t count = body.u8();
    for (uint8_t i = 0; i < count; ++i)
        body.named_type(names);
    ASSERT_TRUE(body.ok);
    EXPECT_TRUE(body.at_end()) << "the body ends where the footer begins";
    // The root, a DECLARATION_LIST (0), then the struct (17) and the shader (17), from small.ovl.
    ASSERT_GE(kinds.size(), 3u);
    EXPECT_EQ(kinds[0], "0@small.ovl");
    EXPECT_EQ(kinds[1], "17@small.ovl");
    EXPECT_EQ(kinds[2], "17@small.ovl");
    EXPECT_EQ(count, 1);
    EXPECT_EQ(names, (std::vector<std::string>{"Pair", "a", "b"}));

    // Footer: magic, version, 4 reserved bytes, the sum, 116 reserved bytes.
    EXPECT_EQ(footer[0] | footer[1] << 8, 59991);
    EXPECT_EQ(footer[2], 1);
    EXPECT_EQ(footer[3], 0);
    uint32_t sum = uint32_t(footer[8]) | uint32_t(footer[9]) << 8 | uint32_t(footer[10]) << 16 |
                   uint32_t(footer[11]) << 24;
    EXPECT_EQ(sum, body.sum);
}
