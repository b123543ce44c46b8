// Value blocks: layout, deep copies that own their text and elements, comparison, and paths into
// a value. Sizes and offsets are worked out by hand from the type table.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "graph/parameter.h"
#include "graph/value_block.h"
#include "support/test_support.h"

using namespace QZ::GRAPH;
using QZ::SYNTAX_TREE::Named_type;
using QZ::SYNTAX_TREE::Type;

namespace {

// struct Padded { Bool flag; Scalar x; String name; Int list[]; }: flag at 0, x at 4, name at 8,
// list (count at 16, elements at 24) — 32 bytes.
Named_type padded_struct()
{
    Named_type type("Padded", QZ::SYNTAX_TREE::TYPE_STRUCT);
    type.append_member(new Named_type("flag", QZ::SYNTAX_TREE::TYPE_BOOLEAN, 1, "Bool"));
    type.append_member(new Named_type("x", QZ::SYNTAX_TREE::TYPE_SCALAR, 1, "Scalar"));
    type.append_member(new Named_type("name", QZ::SYNTAX_TREE::TYPE_STRING, 1, "String"));
    type.append_member(new Named_type("list", QZ::SYNTAX_TREE::TYPE_INT32, 0, "Int"));
    return type;
}

void set_float(void* at, float value) { std::memcpy(at, &value, sizeof value); }

}  // namespace

TEST(Value_block, struct_layout_and_deep_copy)
{
    Parameter parameter("p", padded_struct());
    ASSERT_EQ(parameter.size(), 32u);
    ASSERT_NE(parameter.value, nullptr);
    uint8_t* block = static_cast<uint8_t*>(parameter.value);
    EXPECT_EQ(find_value(parameter, "flag", block), block);
    EXPECT_EQ(find_value(parameter, "x", block), block + 4);
    EXPECT_EQ(find_value(parameter, "name", block), block + 8);
    EXPECT_EQ(find_value(parameter, "list", block), block + 16);

    // Fill the text and the unsized list, then copy: the copy owns its own of both.
    *reinterpret_cast<char**>(block + 8) = duplicate_text("hello");
    int32_t* elements = static_cast<int32_t*>(allocate_bytes(3 * sizeof(int32_t)));
    elements[0] = 7;
    elements[1] = 8;
    elements[2] = 9;
    uint32_t count = 3;
    std::memcpy(block + 16, &count, 4);
    std::memcpy(block + 24, &elements, sizeof elements);

    Parameter copy(parameter);
    uint8_t* other = static_cast<uint8_t*>(copy.value);
    EXPECT_NE(*reinterpret_cast<char**>(other + 8), *reinterpret_cast<char**>(block + 8));
    EXPECT_STREQ(*reinterpret_cast<char**>(other + 8), "hello");
    EXPECT_NE(*reinterpret_cast<int32_t**>(other + 24), elements);
    EXPECT_TRUE(parameter.equals(copy));

    // Paths into the list: by the stored count, not by the type.
    EXPECT_EQ(*static_cast<int32_t*>(find_value(copy, "list[2]", other)), 9);
    EXPECT_EQ(find_value(copy, "list[3]", other), nullptr);
    EXPECT_EQ(find_value(copy, "list[-1]", other), nullptr);
    EXPECT_EQ(find_value(copy, "list[1", other), nullptr);
    EXPECT_EQ(find_value(copy, "missing", other), nullptr);
    EXPECT_EQ(find_value(copy, nullptr, other), nullptr);
    EXPECT_EQ(find_value(copy, "", other), other);

    // Unsized arrays compare by length first.
    *reinterpret_cast<int32_t**>(other + 24) = static_cast<int32_t*>(std::realloc(*reinterpret_cast<int32_t**>(other + 24), 4 * sizeof(int32_t)));
    (*reinterpret_cast<int32_t**>(other + 24))[3] = 9;
    count = 4;
    std::memcpy(other + 16, &count, 4);
    EXPECT_FALSE(parameter.equals(copy));
    count = 3;
    std::memcpy(other + 16, &count, 4);
    EXPECT_TRUE(parameter.equals(copy));
    (*reinterpret_cast<int32_t**>(other + 24))[1] = 1;
    EXPECT_FALSE(parameter.equals(copy));
}

TEST(Value_block, padding_bytes_do_not_count_and_members_do)
{
    Parameter a("p", padded_struct());
    Parameter b("p", padded_struct());
    // Bytes 1 to 3 are padding between flag and x.
    static_cast<uint8_t*>(b.value)[2] = 0x55;
    EXPECT_TRUE(a.equals(b));
    set_float(static_cast<uint8_t*>(b.value) + 4, 1.0f);
    EXPECT_FALSE(a.equals(b));
    set_float(static_cast<uint8_t*>(a.value) + 4, 1.0f);
    // A string member against a null one compares as text: "" and null are alike.
    *reinterpret_cast<char**>(static_cast<uint8_t*>(a.value) + 8) = duplicate_text("");
    EXPECT_TRUE(a.equals(b));
}

TEST(Value_block, scalars_compare_by_order_and_two_nans_differ)
{
    Parameter a("v", QZ::SYNTAX_TREE::TYPE_VECTOR3);
    Parameter b("v", QZ::SYNTAX_TREE::TYPE_VECTOR3);
    float* x = static_cast<float*>(a.value);
    float* y = static_cast<float*>(b.value);
    x[2] = 0.0f;
    y[2] = -0.0f;
    EXPECT_TRUE(a.equals(b)) << "0 and -0 are equal whatever their bits";
    x[2] = std::numeric_limits<float>::quiet_NaN();
    y[2] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(a.equals(b)) << "two NaNs make the comparison false";
    EXPECT_FALSE(a.equals(a)) << "even against itself";
    y[2] = 1.0f;
    x[2] = 1.0f;
    x[1] = 2.0f;
    EXPECT_FALSE(a.equals(b)) << "the second component counts";

    // A matrix compares all of its twelve components.
    Parameter m("m", QZ::SYNTAX_TREE::TYPE_MATRIX4X3);
    Parameter n("m", QZ::SYNTAX_TREE::TYPE_MATRIX4X3);
    static_cast<float*>(n.value)[11] = 1.0f;
    EXPECT_FALSE(m.equals(n));
}

TEST(Value_block, fixed_arrays_and_a_type_without_comparison)
{
    Parameter a("a", QZ::SYNTAX_TREE::TYPE_SCALAR, 4);
    Parameter b("a", QZ::SYNTAX_TREE::TYPE_SCALAR, 4);
    EXPECT_EQ(a.size(), 16u);
    EXPECT_EQ(find_value(a, "[3]", a.value), static_cast<uint8_t*>(a.value) + 12);
    EXPECT_EQ(find_value(a, "[4]", a.value), nullptr);
    EXPECT_EQ(find_value(a, "x", a.value), nullptr);
    static_cast<float*>(b.value)[3] = 5.0f;
    EXPECT_FALSE(a.equals(b));
    Parameter c("a", QZ::SYNTAX_TREE::TYPE_SCALAR, 3);
    EXPECT_FALSE(a.equals(c)) << "array sizes differ";

    vorn_test::Log_capture log;
    Parameter q("q", QZ::SYNTAX_TREE::TYPE_QUATERNION);
    Parameter r("q", QZ::SYNTAX_TREE::TYPE_QUATERNION);
    static_cast<float*>(r.value)[0] = 1.0f;
    EXPECT_TRUE(q.equals(r));
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back().module, 61);
    EXPECT_EQ(log.lines().back().code, 0);
    EXPECT_EQ(log.lines().back().text, "Can not compare parameters of type 'quaternion' -- assuming equality");
}

TEST(Value_block, nested_struct_and_array_paths)
{
    // struct Inner { Vector3 v; Scalar w[2]; }; struct Outer { Int i; Inner parts[2]; }
    Named_type inner("Inner", QZ::SYNTAX_TREE::TYPE_STRUCT);
    inner.append_member(new Named_type("v", QZ::SYNTAX_TREE::TYPE_VECTOR3, 1, "Vector3"));
    inner.append_member(new Named_type("w", QZ::SYNTAX_TREE::TYPE_SCALAR, 2, "Scalar"));
    Named_type outer("Outer", QZ::SYNTAX_TREE::TYPE_STRUCT);
    outer.append_member(new Named_type("i", QZ::SYNTAX_TREE::TYPE_INT32, 1, "Int"));
    Named_type* parts = new Named_type("parts", QZ::SYNTAX_TREE::TYPE_STRUCT, 2, "Inner");
    parts->set_first_member(inner.first_member()->clone());
    outer.append_member(parts);
    Parameter p("o", outer);
    ASSERT_EQ(p.size(), 4u + 2 * 20u);
    uint8_t* base = static_cast<uint8_t*>(p.value);
    EXPECT_EQ(find_value(p, "parts[1].w[1]", base), base + 4 + 20 + 12 + 4);
    EXPECT_EQ(find_value(p, "parts[1].v", base), base + 24);
    EXPECT_EQ(find_value(p, "parts[2].v", base), nullptr);
    EXPECT_EQ(find_value(p, "parts.v", base), nullptr) << "an array has no members";
    EXPECT_EQ(find_value(p, "parts[0]x", base), nullptr);
    EXPECT_EQ(find_value(p, "i[0]", base), nullptr) << "a plain value has no elements";
}

TEST(Value_block, small_values_held_in_the_parameter_follow_it_when_it_moves)
{
    // A String value is a pointer: it lives inside the parameter, and moves with it.
    std::vector<Parameter> list;
    for (int i = 0; i < 40; ++i) {
        Parameter text(("t" + std::to_string(i)).c_str(), QZ::SYNTAX_TREE::TYPE_STRING);
        std::string wanted = "value " + std::to_string(i);
        char* own = duplicate_text(wanted.c_str());
        text.set_value(&own);
        std::free(own);
        list.push_back(std::move(text));  // the list grows and moves what it holds
    }
    for (int i = 0; i < 40; ++i) {
        const Parameter& text = list[size_t(i)];
        ASSERT_NE(text.value, nullptr);
        EXPECT_STREQ(*static_cast<char* const*>(text.value), ("value " + std::to_string(i)).c_str());
    }
    std::swap(list[0], list[1]);
    EXPECT_STREQ(*static_cast<char* const*>(list[0].value), "value 1");
    EXPECT_STREQ(*static_cast<char* const*>(list[1].value), "value 0");

    // A value set from its own bytes; then a copy, which owns its own text.
    list[2].set_value(list[2].value);
    EXPECT_STREQ(*static_cast<char* const*>(list[2].value), "value 2");
    Parameter copy(list[2]);
    EXPECT_NE(*static_cast<char* const*>(copy.value), *static_cast<char* const*>(list[2].value));
    list[2] = copy;
    EXPECT_TRUE(list[2].equals(copy));

    // A type without size has no value at all.
    Parameter none("v", QZ::SYNTAX_TREE::TYPE_ILLEGAL);
    EXPECT_EQ(none.value, nullptr);
}
