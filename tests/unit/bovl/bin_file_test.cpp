// The binary compiled file: its frame (header, key, scrambling, sum, footer), every refusal with
// its message, and the edge cases of a file cut short, changed or foreign.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bovl/bin_file_stream.h"
#include "bovl/mod_bin_file.h"
#include "compiler/mod_compiler.h"
#include "serial/memory_stream.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"
#include "system/mod_string.h"
#include "trans12/mod_trans12.h"

using namespace QZ;
using namespace QZ::BOVL;
using SYNTAX_TREE::Compilation_unit;

namespace {

using Bytes = std::vector<uint8_t>;

const char* const small_source =
    "struct Pair { Scalar a; Int b; };\n"
    "shader S { input: Color c; output: Color result; void main() { result = c; } };\n";

double time_one() { return 1.0; }
double time_zero() { return 0.0; }

std::unique_ptr<Compilation_unit> compile(const char* text, const char* file = "small.ovl")
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(COMPILER::mod_compiler->compile_text(file, text, &errors));
    EXPECT_TRUE(unit && errors.empty() && unit->error_count() == 0);
    return unit;
}

std::unique_ptr<Compilation_unit> empty_unit()
{
    return std::unique_ptr<Compilation_unit>(TRANS12::mod_trans12->make_unit());
}

Bytes read_bytes(const std::string& path)
{
    std::string text = vorn_test::read_file(path);
    return Bytes(text.begin(), text.end());
}

void write_bytes(const std::string& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

// Saves with a fixed clock and gives back the file's bytes.
Bytes saved(const Compilation_unit& unit, const std::string& path, Clock clock = time_one)
{
    Clock before = mod_bin_file->clock();
    mod_bin_file->set_clock(clock);
    mod_bin_file->save_binary(unit, path.c_str());
    mod_bin_file->set_clock(before);
    return read_bytes(path);
}

struct Load_result {
    std::vector<vorn_test::Capture_target::Line> lines;
    bool has(int32_t module, int32_t code, int32_t severity, const std::string& text) const
    {
        for (const auto& line : lines)
            if (line.module == module && line.code == code && line.severity == severity &&
                line.text.find(text) != std::string::npos)
                return true;
        return false;
    }
};

Load_result load(Compilation_unit& unit, const std::string& path)
{
    vorn_test::Log_capture capture;
    mod_bin_file->load_binary(unit, path.c_str());
    return Load_result{capture.lines()};
}

// The footer as written: the bytes after the body, unscrambled from the body's key position.
Bytes decoded_footer(const Bytes& file)
{
    const uint8_t* key = file.data() + BIN_FILE_KEY_OFFSET;
    size_t body = file.size() - 2 * BIN_FILE_FRAME_SIZE;
    Bytes footer(file.end() - BIN_FILE_FRAME_SIZE, file.end());
    for (size_t i = 0; i < footer.size(); ++i)
        footer[i] ^= key[(body + i) % BIN_FILE_KEY_SIZE];
    return footer;
}

}  // namespace

TEST(Bin_file, key_from_the_time_by_hand)
{
    // At time 1 the first round gives 2^25, the second 2^76, which wraps to 0, and every later
    // round 0; each zero byte at position j becomes j.
    uint8_t key[BIN_FILE_KEY_SIZE];
    make_key(1.0, key);
    for (uint32_t j = 0; j < BIN_FILE_KEY_SIZE; ++j)
        EXPECT_EQ(key[j], j == 59 ? 2 : j) << "position " << j;
    // At time 0 every byte is its position, and position 0 keeps the zero.
    make_key(0.0, key);
    for (uint32_t j = 0; j < BIN_FILE_KEY_SIZE; ++j)
        EXPECT_EQ(key[j], j);
    // Times are taken as whole seconds; the fraction makes no difference.
    uint8_t other[BIN_FILE_KEY_SIZE];
    make_key(1700000000.0, key);
    make_key(1700000000.75, other);
    EXPECT_EQ(std::memcmp(key, other, sizeof key), 0);
    for (uint32_t j = 1; j < BIN_FILE_KEY_SIZE; ++j)
        EXPECT_NE(key[j], 0) << "only position 0 may hold a zero";
}

TEST(Bin_file, sum_terms_of_every_primitive)
{
    EXPECT_EQ(sum_term(-2.7), 0xFFFFFFFEu);  // toward zero, then to 32 bits
    EXPECT_EQ(sum_term(2.7), 2u);
    EXPECT_EQ(sum_term(4294967297.5), 1u);
    EXPECT_EQ(sum_term(1e300), sum_term(std::fmod(1e300, 4294967296.0)));
    EXPECT_EQ(sum_term(std::nan("")), 0u);
    EXPECT_EQ(sum_term(-1.0 / 0.0), 0u);
    EXPECT_EQ(sum_term(int64_t(-1)), 0xFFFFFFFFu);
    EXPECT_EQ(sum_term(uint64_t(0x100000005)), 5u);

    std::string path = vorn_test::make_temp_dir("bin_primitives") + "/p.bovl";
    Bin_file_serializer out(path.c_str(), time_one);
    ASSERT_TRUE(out.write_header());
    out.write_float64(-2.7);
    out.write_float32(3.9f);
    out.write_sint64(-1);
    out.write_sint32(-2);
    out.write_sint16(-3);
    out.write_sint8(-4);
    out.write_uint64(0x100000005ull);
    out.write_uint32(6);
    out.write_uint16(7);
    out.write_uint8(8);
    out.write_bool(true);
    out.write_bytes("raw", 3);  // raw bytes add nothing
    out.write_string("ab");     // a length and two bytes
    uint32_t expected = 0xFFFFFFFEu + 3 + 0xFFFFFFFFu + 0xFFFFFFFEu + 0xFFFFFFFDu + 0xFFFFFFFCu + 5 + 6 + 7 + 8 + 1 +
                        2 + 'a' + 'b';
    EXPECT_EQ(out.sum(), expected);
    ASSERT_TRUE(out.write_footer());
    out.close();

    Bytes file = read_bytes(path);
    // Header 128, values 8+4+8+4+2+1+8+4+2+1+1, raw 3, string 4+2, footer 128.
    ASSERT_EQ(file.size(), 128u + 43 + 3 + 6 + 128);
    Bytes footer = decoded_footer(file);
    uint32_t stored = uint32_t(footer[8]) | uint32_t(footer[9]) << 8 | uint32_t(footer[10]) << 16 |
                      uint32_t(footer[11]) << 24;
    EXPECT_EQ(stored, expected);

    Bin_file_deserializer in(path.c_str(), nullptr);
    ASSERT_TRUE(in.read_header());
    double f64;
    float f32;
    int64_t s64;
    int32_t s32;
    int16_t s16;
    int8_t s8;
    uint64_t u64;
    uint32_t u32;
    uint16_t u16;
    uint8_t u8;
    bool flag;
    char raw[3];
    char* text = nullptr;
    in.read_float64(&f64);
    in.read_float32(&f32);
    in.read_sint64(&s64);
    in.read_sint32(&s32);
    in.read_sint16(&s16);
    in.read_sint8(&s8);
    in.read_uint64(&u64);
    in.read_uint32(&u32);
    in.read_uint16(&u16);
    in.read_uint8(&u8);
    in.read_bool(&flag);
    in.read_bytes(raw, 3);
    in.read_string(&text);
    EXPECT_EQ(f64, -2.7);
    EXPECT_EQ(f32, 3.9f);
    EXPECT_EQ(s64, -1);
    EXPECT_EQ(s32, -2);
    EXPECT_EQ(s16, -3);
    EXPECT_EQ(s8, -4);
    EXPECT_EQ(u64, 0x100000005ull);
    EXPECT_EQ(u32 + u16 + u8, 21u);
    EXPECT_TRUE(flag);
    EXPECT_EQ(std::string(raw, 3), "raw");
    EXPECT_STREQ(text, "ab");
    delete[] text;
    EXPECT_EQ(in.sum(), expected);
    EXPECT_TRUE(in.read_footer());
}

TEST(Bin_file, empty_unit_loads_as_an_empty_tree)
{
    auto unit = empty_unit();
    std::string path = vorn_test::make_temp_dir("bin_empty") + "/empty.bovl";
    Bytes file = saved(*unit, path);
    auto copy = compile(small_source);
    Load_result result = load(*copy, path);
    EXPECT_TRUE(result.lines.empty());
    ASSERT_NE(copy->tree(), nullptr);
    EXPECT_EQ(copy->tree()->kind, SYNTAX_TREE::NODE_DECLARATION_LIST);
    EXPECT_EQ(copy->tree()->first_child, nullptr);
    EXPECT_EQ(copy->shader_count(), 0);
    EXPECT_EQ(copy->named_type_count(), 0);
}

TEST(Bin_file, key_comes_from_the_clock)
{
    auto unit = compile(small_source);
    std::string path = vorn_test::make_temp_dir("bin_key") + "/z.bovl";
    // At time 0 the key byte at position 0 is 0, so the body's first byte stands as it is: the
    // root's flags (it has children: 2).
    Bytes file = saved(*unit, path, time_zero);
    EXPECT_EQ(file[64], 0);
    EXPECT_EQ(file[128], 2);
    auto copy = empty_unit();
    EXPECT_TRUE(load(*copy, path).lines.empty());
    EXPECT_EQ(copy->shader_count(), 1);
    EXPECT_EQ(SYNTAX_TREE::tree_text(copy->tree()), SYNTAX_TREE::tree_text(unit->tree()));
    // Another time changes the key and what it scrambles, nothing else.
    Bytes later = saved(*unit, path, [] { return 1700000000.0; });
    ASSERT_EQ(later.size(), file.size());
    EXPECT_TRUE(std::equal(file.begin(), file.begin() + 64, later.begin()));
    EXPECT_FALSE(std::equal(file.begin() + 64, file.end(), later.begin() + 64));
}

TEST(Bin_file, header_refusals_leave_the_unit_untouched)
{
    auto unit = compile(small_source);
    std::string dir = vorn_test::make_temp_dir("bin_header");
    Bytes good = saved(*unit, dir + "/good.bovl");
    struct Case {
        size_t offset;
        uint8_t value;
        int32_t code;
        int32_t severity;
        const char* text;
    } cases[] = {
        {0, 0x58, 1, LOG::SEV_ERROR, "Magic number does not match."},
        {2, 2, 2, LOG::SEV_ERROR, "Major version does not match."},
        {3, 1, 1, LOG::SEV_WARN, "Minor version of file is greater than that of importer."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Bytes bad = good;
        bad[c.offset] = c.value;
        write_bytes(dir + "/bad.bovl", bad);
        auto target = compile("Scalar kept() { return 1.0; }", "kept.ovl");
        Load_result result = load(*target, dir + "/bad.bovl");
        EXPECT_TRUE(result.has(SYSTEM::MODULE_BOVL, c.code, c.severity, c.text));
        EXPECT_TRUE(result.has(SYSTEM::MODULE_CL12, 3, LOG::SEV_ERROR, "failed to read header of " + dir + "/bad.bovl"));
        EXPECT_EQ(target->function_count(), 1);
        EXPECT_FALSE(target->resolution_pending());
    }
    // A file shorter than a header gives only the failed header.
    write_bytes(dir + "/short.bovl", Bytes(good.begin(), good.begin() + 100));
    auto target = compile("Scalar kept() { return 1.0; }", "kept.ovl");
    Load_result result = load(*target, dir + "/short.bovl");
    ASSERT_EQ(result.lines.size(), 1u);
    EXPECT_TRUE(result.has(SYSTEM::MODULE_CL12, 3, LOG::SEV_ERROR, "failed to read header of"));
    EXPECT_EQ(target->function_count(), 1);
}

TEST(Bin_file, header_only_file_fails_at_the_footer)
{
    auto unit = compile(small_source);
    std::string dir = vorn_test::make_temp_dir("bin_header_only");
    Bytes good = saved(*unit, dir + "/good.bovl");
    write_bytes(dir + "/header.bovl", Bytes(good.begin(), good.begin() + BIN_FILE_FRAME_SIZE));
    auto target = empty_unit();
    Load_result result = load(*target, dir + "/header.bovl");
    EXPECT_TRUE(result.has(SYSTEM::MODULE_CL12, 4, LOG::SEV_ERROR, "failed to read footer of " + dir + "/header.bovl"));
    // The body fell short at once, so the footer is not compared.
    EXPECT_FALSE(result.has(SYSTEM::MODULE_BOVL, 5, LOG::SEV_ERROR, "File is corrupted."));
    ASSERT_NE(target->tree(), nullptr);
    EXPECT_EQ(target->tree()->first_child, nullptr);
}

TEST(Bin_file, changed_body_byte_is_code_5)
{
    auto unit = compile(small_source);
    std::string dir = vorn_test::make_temp_dir("bin_changed");
    Bytes good = saved(*unit, dir + "/good.bovl");
    // A letter of a file name: changing it changes the running sum and nothing of the layout.
    uint8_t key[BIN_FILE_KEY_SIZE];
    make_key(1.0, key);
    // Find the scrambled "small.ovl" of the root's file name and change its first letter.
    size_t at = 0;
    for (size_t i = BIN_FILE_FRAME_SIZE; i + 1 < good.size(); ++i)
        if (uint8_t(good[i] ^ key[(i - 128) % 64]) == 's' && uint8_t(good[i + 1] ^ key[(i - 127) % 64]) == 'm') {
            at = i;
            break;
        }
    ASSERT_NE(at, 0u);
    Bytes bad = good;
    bad[at] ^= 0x01;  // 's' becomes 'r'
    write_bytes(dir + "/bad.bovl", bad);
    auto target = empty_unit();
    Load_result result = load(*target, dir + "/bad.bovl");
    EXPECT_TRUE(result.has(SYSTEM::MODULE_BOVL, 5, LOG::SEV_ERROR, "File is corrupted."));
    EXPECT_TRUE(result.has(SYSTEM::MODULE_CL12, 4, LOG::SEV_ERROR, "failed to read footer of"));
    // What was read stays.
    EXPECT_EQ(target->shader_count(), 1);
    EXPECT_STREQ(target->tree()->file_name(), "rmall.ovl");

    // A footer with another magic number or version gives codes 3 and 4.
    size_t footer = good.size() - BIN_FILE_FRAME_SIZE;
    for (auto [offset, code] : {std::pair<size_t, int32_t>{0, 3}, {2, 4}, {3, 5}}) {
        bad = good;
        bad[footer + offset] ^= 0x10;
        write_bytes(dir + "/bad.bovl", bad);
        auto other = empty_unit();
        EXPECT_TRUE(load(*other, dir + "/bad.bovl").has(SYSTEM::MODULE_BOVL, code, LOG::SEV_ERROR, "File is corrupted."))
            << "footer byte " << offset;
    }
}

TEST(Bin_file, every_cut_and_every_flipped_byte_is_refused_cleanly)
{
    auto unit = compile("shader S { output: Color result; void main() { result = Color(1, 0, 0, 1); } };");
    std::string dir = vorn_test::make_temp_dir("bin_cuts");
    Bytes good = saved(*unit, dir + "/good.bovl");
    for (size_t cut = 0; cut < good.size(); ++cut) {
        write_bytes(dir + "/cut.bovl", Bytes(good.begin(), good.begin() + std::ptrdiff_t(cut)));
        auto target = empty_unit();
        Load_result result = load(*target, dir + "/cut.bovl");
        EXPECT_FALSE(result.lines.empty()) << "cut at " << cut;
        target->resolve();
    }
    // Every byte of the body and of the footer's magic, versions and sum; the footer's reserved
    // bytes are not read.
    size_t footer = good.size() - BIN_FILE_FRAME_SIZE;
    for (size_t at = BIN_FILE_FRAME_SIZE; at < footer + 12; ++at) {
        if (at >= footer + 4 && at < footer + 8)
            continue;
        Bytes bad = good;
        bad[at] ^= 0x40;
        write_bytes(dir + "/flip.bovl", bad);
        auto target = empty_unit();
        Load_result result = load(*target, dir + "/flip.bovl");
        EXPECT_FALSE(result.lines.empty()) << "flip at " << at;
        target->resolve();
    }
}

TEST(Bin_file, missing_files_and_the_search_path)
{
    auto unit = compile(small_source);
    std::string dir = vorn_test::make_temp_dir("bin_path");
    saved(*unit, dir + "/found.bovl");
    auto target = compile("Scalar kept() { return 1.0; }", "kept.ovl");
    Load_result result = load(*target, "nowhere.bovl");
    ASSERT_EQ(result.lines.size(), 1u);
    EXPECT_EQ(result.lines[0].module, 109);
    EXPECT_EQ(result.lines[0].code, 7);
    EXPECT_EQ(result.lines[0].text, "can not find path 'nowhere.bovl'");
    EXPECT_EQ(target->function_count(), 1);

    SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    result = load(*target, "found.bovl");
    SYSTEM::mod_string->set_path(2, "shader", "");
    EXPECT_TRUE(result.lines.empty());
    EXPECT_EQ(target->shader_count(), 1);
    EXPECT_EQ(target->function_count(), 0);
}

TEST(Bin_file, write_failures_name_header_and_footer)
{
    auto unit = compile(small_source);
    vorn_test::Log_capture capture;
    mod_bin_file->save_binary(*unit, "/nonexistent-directory/x.bovl");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].module, SYSTEM::MODULE_CL12);
    EXPECT_EQ(capture.lines()[0].code, 5);
    EXPECT_EQ(capture.lines()[0].text, "failed to write header of /nonexistent-directory/x.bovl");
    // A device that takes no bytes fails when the buffered bytes go out, at the footer.
    mod_bin_file->save_binary(*unit, "/dev/full");
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[1].code, 6);
    EXPECT_EQ(capture.lines()[1].text, "failed to write footer of /dev/full");
}

TEST(Bin_file, named_type_count_is_eight_bits)
{
    // 256 structs write a count of 0 and none of them; 257 write 1 and the first.
    std::string source;
    for (int i = 0; i < 257; ++i)
        source += "struct T" + std::to_string(i) + " { Scalar a; };\n";
    auto unit = compile(source.c_str());
    ASSERT_EQ(unit->named_type_count(), 257);
    SERIAL::Memory_serializer tree_only;
    unit->tree()->serialize(tree_only);
    SERIAL::Memory_serializer whole;
    unit->serialize(whole);
    ASSERT_GT(whole.bytes().size(), tree_only.bytes().size());
    EXPECT_EQ(whole.bytes()[tree_only.bytes().size()], 1);
    SYNTAX_TREE::Named_type first(*unit->named_type_at(0));
    SERIAL::Memory_serializer one_type;
    first.serialize(one_type);
    EXPECT_EQ(whole.bytes().size(), tree_only.bytes().size() + 1 + one_type.bytes().size());

    auto smaller = compile(source.substr(0, source.rfind("struct T256")).c_str());
    ASSERT_EQ(smaller->named_type_count(), 256);
    SERIAL::Memory_serializer lost;
    smaller->serialize(lost);
    SERIAL::Memory_serializer smaller_tree;
    smaller->tree()->serialize(smaller_tree);
    EXPECT_EQ(lost.bytes().size(), smaller_tree.bytes().size() + 1);
    EXPECT_EQ(lost.bytes().back(), 0);
}
