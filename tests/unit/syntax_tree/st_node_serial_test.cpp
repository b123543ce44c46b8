#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "front12/ovrel_parser.h"
#include "serial/memory_stream.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"

using namespace QZ::SYNTAX_TREE;
using QZ::SERIAL::Memory_deserializer;
using QZ::SERIAL::Memory_serializer;

namespace {

std::string printed(const St_node* node)
{
    std::string out;
    print_tree(node, out);
    return out;
}

std::unique_ptr<St_node> round_trip(const St_node& node, size_t cut = size_t(-1))
{
    Memory_serializer out;
    node.serialize(out);
    std::vector<uint8_t> bytes = out.take_bytes();
    if (cut < bytes.size())
        bytes.resize(cut);
    Memory_deserializer in(std::move(bytes));
    auto copy = std::make_unique<St_node>(NODE_NO_OP, File_name());
    copy->deserialize(in);
    return copy;
}

}  // namespace

TEST(St_node_serial, parsed_tree_comes_back_alike)
{
    QZ::FRONT12::Parse_result parsed = QZ::FRONT12::parse_text(
        "shader S { input: Color c = Color(1, 0.5, 0, 1) { ui(\"Color\"); }; output: Color result;\n"
        "void main() { for (Int i = 0; i < 3; i++) result = c * 2; } };\n",
        "s.ovl");
    ASSERT_TRUE(parsed.tree);
    parsed.tree->first_child->type_index = 7;
    auto copy = round_trip(*parsed.tree);
    EXPECT_EQ(printed(copy.get()), printed(parsed.tree.get()));
    EXPECT_EQ(copy->first_child->type_index, 7);
    EXPECT_STREQ(copy->first_child->file_name(), "s.ovl");
    // Nodes read one after another share one file name.
    EXPECT_EQ(copy->first_child->file.get(), copy->first_child->first_child->file.get());
}

TEST(St_node_serial, written_form_of_one_node)
{
    St_node node(NODE_STATE_VARIABLE_REFERENCE, make_file_name("f"), 3, 4, nullptr, 0, 5);
    int32_t index = -2;
    node.set_binary_text(&index, 4);
    Memory_serializer out;
    node.serialize(out);
    // flags, kind, type index, file ("f"), length 4, four bytes as sign-extended 32-bit values,
    // column, extra position, line.
    Memory_serializer expected;
    expected.write_uint8(0);
    expected.write_uint8(NODE_STATE_VARIABLE_REFERENCE);
    expected.write_sint32(-1);
    expected.write_string("f");
    expected.write_sint32(4);
    for (int i = 0; i < 4; ++i)
        expected.write_sint32(int32_t(int8_t(reinterpret_cast<const char*>(&index)[i])));
    expected.write_sint32(4);
    expected.write_sint32(5);
    expected.write_sint32(3);
    EXPECT_EQ(out.bytes(), expected.bytes());

    auto copy = round_trip(node);
    EXPECT_EQ(copy->text_size, 4);
    int32_t back = 0;
    std::memcpy(&back, copy->text, 4);
    EXPECT_EQ(back, -2);
}

TEST(St_node_serial, siblings_are_written_before_children)
{
    File_name file = make_file_name("f");
    St_node root(NODE_DECLARATION_LIST, file,
                 {new St_node(NODE_IDENTIFIER, file, "a", {new St_node(NODE_IDENTIFIER, file, "a1")}),
                  new St_node(NODE_IDENTIFIER, file, "b")});
    Memory_serializer out;
    root.serialize(out);
    // The texts appear in the order root's child a, then a's sibling b, then a's child a1.
    std::string bytes(out.bytes().begin(), out.bytes().end());
    size_t a = bytes.find('a'), b = bytes.find('b'), a1 = bytes.find("a1");
    EXPECT_LT(a, b);
    EXPECT_LT(b, a1);
    EXPECT_EQ(printed(round_trip(root).get()), printed(&root));
}

TEST(St_node_serial, long_chains_and_cut_streams)
{
    File_name file = make_file_name("f");
    St_node root(NODE_STATEMENT_BLOCK, file);
    St_node* last = nullptr;
    for (int i = 0; i < 200000; ++i) {
        auto* statement = new St_node(NODE_EXPRESSION_STATEMENT, file);
        if (last)
            last->next_sibling = statement;
        else
            root.first_child = statement;
        last = statement;
    }
    auto copy = round_trip(root);
    EXPECT_EQ(copy->child_count(), 200000);
    // Every cut of a small tree's stream reads without a fault.
    QZ::FRONT12::Parse_result parsed = QZ::FRONT12::parse_text("Scalar x = 1; Int f(Int a) { return a; }", "c.ovl");
    ASSERT_TRUE(parsed.tree);
    Memory_serializer out;
    parsed.tree->serialize(out);
    for (size_t cut = 0; cut < out.bytes().size(); cut += 3)
        round_trip(*parsed.tree, cut);
}

#include "compiler/mod_compiler.h"
#include "db/element.h"
#include "serial/deserialization_manager.h"
#include "syntax_tree/compilation_unit.h"

TEST(Compilation_unit_serial, unit_comes_back_through_its_class_factory)
{
    Error_list errors;
    std::unique_ptr<Compilation_unit> unit(QZ::COMPILER::mod_compiler->compile_text(
        "u.ovl",
        "struct Pair { Scalar a; Int b; };\n"
        "shader S { input: Color c; output: Color result; void main() { result = c * 0.5; } };\n"
        "Scalar twice(Scalar x) { return x * 2.0; }\n",
        &errors));
    ASSERT_TRUE(unit);
    ASSERT_TRUE(errors.empty());
    Memory_serializer out;
    unit->serialize(out);

    std::unique_ptr<QZ::SERIAL::Serializable> made(
        QZ::SERIAL::deserialization_manager().construct(QZ::DB::_CoU));
    auto* copy = dynamic_cast<Compilation_unit*>(made.get());
    ASSERT_NE(copy, nullptr);
    Memory_deserializer in(out.bytes());
    copy->deserialize(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(printed(copy->tree()), printed(unit->tree()));
    // The declaration pass rebuilt the lists from the tree.
    EXPECT_EQ(copy->shader_count(), 1);
    EXPECT_EQ(copy->function_count(), unit->function_count());
    ASSERT_NE(copy->shader_at(0)->main_method, nullptr);
    EXPECT_GE(copy->find_named_type("Pair"), 0);
    EXPECT_EQ(copy->get_class_id(), QZ::DB::_CoU);
}
