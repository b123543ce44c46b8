// Parameters of struct types whose members are structs again, as a compiled unit gives them:
// layout, paths, copies, comparison and defaults reach through every level. Offsets are worked
// out by hand from the type table (Bool 1, Scalar and Int 4, String a pointer of 8; a struct is
// aligned to its largest member).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph/value_block.h"
#include "graph_support.h"
#include "support/test_support.h"

using namespace QZ::GRAPH;
using QZ::SYNTAX_TREE::Named_type;
using QZ::SYNTAX_TREE::Type;
using graph_test::compile_source;

namespace {

// Inner: flag 0, v 4..16, tag 16..24; 24 bytes, aligned to 8.
// Outer: a 0, inner 8..32, after 32, pair 40..88; 88 bytes.
const char* const nested_source = R"(
struct Inner { Bool flag; Vector3 v; String tag; };
struct Outer { Scalar a; Inner inner; Int after; Inner pair[2]; };
shader Nest {
input:
    Outer o;
    Scalar one(0.5);
    Vector2 pair(1.0, 2.0);
output:
    Color result;
    void main() { result = Color(o.a, o.inner.v.x, pair.y, 1.0); }
};
)";

template <typename T>
T read(const void* at)
{
    T value{};
    std::memcpy(&value, at, sizeof value);
    return value;
}

const char* text_at(const void* at) { return read<const char*>(at); }

}  // namespace

TEST(Struct_parameter, members_of_struct_type_get_their_members_and_room)
{
    auto source = compile_source(nested_source);
    Velar_node_class node_class(source, "Nest");
    ASSERT_EQ(node_class.inputs.size(), 3u);
    Parameter& o = node_class.inputs[0];
    const Type* inner = o.find_member("inner");
    ASSERT_TRUE(inner);
    ASSERT_TRUE(inner->first_member()) << "the member of struct type has its members";
    EXPECT_EQ(inner->member_count(), 3u);
    const Type* pair = o.find_member("pair");
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->member_count(), 3u) << "an array of structs too";
    EXPECT_EQ(inner->size(), 24u);
    EXPECT_EQ(o.size(), 88u);
    EXPECT_EQ(o.alignment(), 8u);

    Graph_node* node = node_class.create_node("n");
    uint8_t* base = static_cast<uint8_t*>(node->find_value("o", true));
    ASSERT_TRUE(base);
    EXPECT_EQ(node->find_value("o.inner", true), base + 8);
    EXPECT_EQ(node->find_value("o.inner.v", true), base + 12);
    EXPECT_EQ(node->find_value("o.inner.tag", true), base + 24);
    EXPECT_EQ(node->find_value("o.after", true), base + 32);
    EXPECT_EQ(node->find_value("o.pair[1].tag", true), base + 40 + 24 + 16);
    EXPECT_EQ(node->find_value("o.inner.missing", true), nullptr);
    EXPECT_EQ(node->find_value("o.inner.v.x", true), nullptr) << "a vector has no members";
    EXPECT_EQ(node->find_value("o.pair[2].v", true), nullptr);
    delete node;
}

TEST(Struct_parameter, defaults_copies_and_comparison_reach_every_level)
{
    auto source = compile_source(nested_source);
    Velar_node_class node_class(source, "Nest");
    ASSERT_EQ(node_class.inputs.size(), 3u);
    // The language has no struct constructors: every level starts as zeroes.
    Parameter& o = node_class.inputs[0];
    const uint8_t* zero = static_cast<const uint8_t*>(o.value);
    ASSERT_TRUE(zero);
    for (uint32_t i = 0; i < 88; ++i)
        ASSERT_EQ(zero[i], 0) << i;
    // The constructor form hands over all its arguments.
    EXPECT_EQ(*static_cast<const float*>(node_class.inputs[1].value), 0.5f);
    const float* pair = static_cast<const float*>(node_class.inputs[2].value);
    EXPECT_EQ(pair[0], 1.0f);
    EXPECT_EQ(pair[1], 2.0f);

    // A default that the host sets on the class, two levels deep, goes to each new node as a
    // copy of its own.
    std::vector<uint8_t> bytes(88, 0);
    const float a = 1.5f, v[3] = {1.0f, 2.0f, 3.0f}, w = 6.0f;
    std::memcpy(bytes.data(), &a, sizeof a);
    bytes[8] = 1;
    std::memcpy(bytes.data() + 12, v, sizeof v);
    char* in = duplicate_text("in");
    char* p1 = duplicate_text("p1");
    std::memcpy(bytes.data() + 24, &in, sizeof in);
    std::memcpy(bytes.data() + 40 + 24 + 12, &w, sizeof w);
    std::memcpy(bytes.data() + 40 + 24 + 16, &p1, sizeof p1);
    node_class.set_value(o, bytes.data());
    std::free(in);
    std::free(p1);
    const uint8_t* defaults = static_cast<const uint8_t*>(o.value);
    EXPECT_STREQ(text_at(defaults + 24), "in");

    Graph_node* node = node_class.create_node("n");
    Parameter& mine = *node->find_input("o");
    uint8_t* copy = static_cast<uint8_t*>(mine.value);
    EXPECT_EQ(read<float>(node->find_value("o.a", true)), 1.5f);
    EXPECT_EQ(read<float>(node->find_value("o.inner.v", true)), 1.0f);
    EXPECT_STREQ(text_at(node->find_value("o.inner.tag", true)), "in");
    EXPECT_STREQ(text_at(node->find_value("o.pair[1].tag", true)), "p1");
    EXPECT_EQ(text_at(node->find_value("o.pair[0].tag", true)), nullptr);
    EXPECT_NE(text_at(copy + 24), text_at(defaults + 24)) << "texts at every level are the node's own";
    EXPECT_NE(text_at(copy + 80), text_at(defaults + 80));
    EXPECT_TRUE(mine.equals(o));

    // Padding inside the inner struct does not count; a member two levels down does.
    copy[9] = 0x5a;
    EXPECT_TRUE(mine.equals(o));
    float y = 9.0f;
    std::memcpy(node->find_value("o.pair[1].v", true), &y, sizeof y);
    EXPECT_FALSE(mine.equals(o));
    y = 0.0f;
    std::memcpy(node->find_value("o.pair[1].v", true), &y, sizeof y);
    EXPECT_TRUE(mine.equals(o));
    EXPECT_EQ(static_cast<const float*>(node->find_value("o.pair[1].v", true))[2], 6.0f);
    char** tag = static_cast<char**>(node->find_value("o.inner.tag", true));
    std::free(*tag);
    *tag = duplicate_text("other");
    EXPECT_FALSE(mine.equals(o));

    // Setting a value copies it deeply too, also from the parameter's own bytes.
    Parameter other(mine);
    mine.set_value(mine.value);
    EXPECT_TRUE(mine.equals(other));
    EXPECT_STREQ(text_at(static_cast<uint8_t*>(mine.value) + 24), "other");
    delete node;
}

TEST(Struct_parameter, a_type_that_names_itself_stops_at_the_nesting_limit)
{
    // struct Loop { Scalar x; Loop next; }: only a host could make it.
    Named_type loop("Loop", QZ::SYNTAX_TREE::TYPE_STRUCT);
    loop.append_member(new Named_type("x", QZ::SYNTAX_TREE::TYPE_SCALAR, 1, "Scalar"));
    loop.append_member(new Named_type("next", QZ::SYNTAX_TREE::TYPE_STRUCT, 1, "Loop"));
    Named_type root("l", QZ::SYNTAX_TREE::TYPE_STRUCT, 1, "Loop");
    complete_struct_members(root, [&](const char* name) -> const Type* {
        return name && std::strcmp(name, "Loop") == 0 ? &loop : nullptr;
    });
    int depth = 0;
    for (const Type* at = &root; at && at->first_member(); at = at->first_member()->next_member())
        ++depth;
    EXPECT_EQ(depth, MAX_STRUCT_NESTING);

    // Two struct members a level double each time: the count of members ends it.
    Named_type wide("Wide", QZ::SYNTAX_TREE::TYPE_STRUCT);
    wide.append_member(new Named_type("a", QZ::SYNTAX_TREE::TYPE_STRUCT, 1, "Wide"));
    wide.append_member(new Named_type("b", QZ::SYNTAX_TREE::TYPE_STRUCT, 1, "Wide"));
    Named_type top("w", QZ::SYNTAX_TREE::TYPE_STRUCT, 1, "Wide");
    complete_struct_members(top, [&](const char*) -> const Type* { return &wide; });
    size_t count = 0;
    std::vector<const Type*> work{&top};
    while (!work.empty()) {
        const Type* at = work.back();
        work.pop_back();
        for (const Type* member = at->first_member(); member; member = member->next_member()) {
            ++count;
            work.push_back(member);
        }
    }
    EXPECT_LE(count, MAX_COMPLETED_MEMBERS + 2);
    EXPECT_GT(count, MAX_COMPLETED_MEMBERS / 2);
}

namespace {

const char* const file_source = R"(
struct Inner { Bool flag; Vector3 v; String tag; };
struct Outer { Scalar a; Inner inner; Inner pair[2]; };
shader Nest {
input:
    Outer o;
output:
    Color result;
    void main() { result = Color(o.a, o.inner.v.x, 0.0, 1.0); }
};
)";

// Written by hand: a struct member's value is a struct_value inside its member_value, and an
// array member holds one struct_value per element.
const char* const file_text = R"(<root xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xsi:noNamespaceSchemaLocation="schemas/vorn_file_io.xsd">
  <ovrel_code file_name="nested.ovl"/>
  <node name="n" class="Nest">
    <input name="o">
      <struct_value>
        <member_value name="a">
          <simple_value value="0.5"/>
        </member_value>
        <member_value name="inner">
          <struct_value>
            <member_value name="flag">
              <simple_value value="true"/>
            </member_value>
            <member_value name="v">
              <simple_value value="1 2.5 -3"/>
            </member_value>
            <member_value name="tag">
              <simple_value value="deep"/>
            </member_value>
          </struct_value>
        </member_value>
        <member_value name="pair">
          <struct_value>
            <member_value name="flag">
              <simple_value value="false"/>
            </member_value>
            <member_value name="v">
              <simple_value value="0 0 0"/>
            </member_value>
            <member_value name="tag">
              <simple_value value="p0"/>
            </member_value>
          </struct_value>
          <struct_value>
            <member_value name="flag">
              <simple_value value="true"/>
            </member_value>
            <member_value name="v">
              <simple_value value="4 5 6"/>
            </member_value>
            <member_value name="tag">
              <simple_value value="p1"/>
            </member_value>
          </struct_value>
        </member_value>
      </struct_value>
    </input>
    <output name="result" value="0 0 0 0"/>
  </node>
</root>
)";

}  // namespace

TEST(Struct_parameter, nested_values_read_from_a_graph_file_and_write_back_the_same_bytes)
{
    const std::string dir = vorn_test::make_temp_dir("graph_nested_struct");
    std::ofstream(dir + "/nested.ovl", std::ios::binary) << file_source;
    std::ofstream(dir + "/nested.xovl", std::ios::binary) << file_text;

    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Graph_library> library(load_file((dir + "/nested.xovl").c_str(), nullptr, &errors));
    ASSERT_TRUE(library);
    EXPECT_TRUE(errors.empty());
    ASSERT_EQ(library->nodes.size(), 1u);
    Graph_node& node = *library->nodes[0];
    EXPECT_EQ(read<float>(node.find_value("o.a", true)), 0.5f);
    EXPECT_EQ(read<uint8_t>(node.find_value("o.inner.flag", true)), 1);
    EXPECT_EQ(static_cast<const float*>(node.find_value("o.inner.v", true))[1], 2.5f);
    EXPECT_STREQ(text_at(node.find_value("o.inner.tag", true)), "deep");
    EXPECT_STREQ(text_at(node.find_value("o.pair[0].tag", true)), "p0");
    EXPECT_EQ(static_cast<const float*>(node.find_value("o.pair[1].v", true))[2], 6.0f);
    EXPECT_STREQ(text_at(node.find_value("o.pair[1].tag", true)), "p1");

    ASSERT_TRUE(library->save((dir + "/saved.xovl").c_str()));
    EXPECT_EQ(vorn_test::read_file(dir + "/saved.xovl"), file_text);
    std::unique_ptr<Graph_library> again(load_file((dir + "/saved.xovl").c_str(), nullptr, &errors));
    ASSERT_TRUE(again);
    ASSERT_EQ(again->nodes.size(), 1u);
    EXPECT_TRUE(graph_nodes_equal(library->nodes[0], again->nodes[0], Class_map()));
    // A change two levels down is seen by the comparison after a round trip too.
    *static_cast<float*>(again->nodes[0]->find_value("o.pair[1].v", true)) = 7.0f;
    EXPECT_FALSE(graph_nodes_equal(library->nodes[0], again->nodes[0], Class_map()));
}

// A struct input's brace list is its class parameter's value, member by member; a list shorter
// than the members leaves the rest zero. (A brace list has one type for all its items, and
// brace lists do not nest, so only structs of members of one type have one.)
TEST(Struct_parameter, a_brace_list_gives_the_default_member_by_member)
{
    auto source = compile_source(R"(
struct Frame { Vector3 origin; Vector3 toward; };
struct Names { String first; String second; };
struct Trio { Scalar a; Scalar b; Scalar c; };
shader Braced {
input:
    Frame f = {Vector3(1.0, 2.0, 3.0), Vector3(4.0)};
    Names n = {"one", "two"};
    Trio short_list = {1.5, -2.5};
output:
    Color result;
    void main() { result = Color(f.origin.x, short_list.a, 0.0, 1.0); }
};
)");
    Velar_node_class node_class(source, "Braced");
    ASSERT_EQ(node_class.inputs.size(), 3u);
    const uint8_t* f = static_cast<const uint8_t*>(node_class.inputs[0].value);
    ASSERT_TRUE(f);
    EXPECT_EQ(read<float>(f), 1.0f);
    EXPECT_EQ(read<float>(f + 8), 3.0f);
    EXPECT_EQ(read<float>(f + 12), 4.0f);
    EXPECT_EQ(read<float>(f + 20), 4.0f) << "one component fills the vector";
    const uint8_t* n = static_cast<const uint8_t*>(node_class.inputs[1].value);
    ASSERT_TRUE(n);
    EXPECT_STREQ(text_at(n), "one");
    EXPECT_STREQ(text_at(n + 8), "two");
    const uint8_t* partial = static_cast<const uint8_t*>(node_class.inputs[2].value);
    ASSERT_TRUE(partial);
    EXPECT_EQ(read<float>(partial), 1.5f);
    EXPECT_EQ(read<float>(partial + 4), -2.5f);
    EXPECT_EQ(read<float>(partial + 8), 0.0f) << "members past the list stay zero";
}
