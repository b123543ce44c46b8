#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "compiler/mod_compiler.h"
#include "host/tree_facade.h"
#include "host/unit_facade.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"

using namespace QZ::HOST;
using namespace QZ::SYNTAX_TREE;

namespace {

std::shared_ptr<Compilation_unit> compile(const char* text)
{
    Error_list errors;
    Compilation_unit* unit = QZ::COMPILER::mod_compiler->compile_text("t.ovl", text, &errors);
    EXPECT_TRUE(errors.empty());
    return std::shared_ptr<Compilation_unit>(unit);
}

}  // namespace

TEST(Tree_facade, kinds_trade_56_and_57)
{
    EXPECT_EQ(Syntax_tree_wrapper::host_kind(NODE_OCT_CONSTANT), 56);
    EXPECT_EQ(Syntax_tree_wrapper::host_kind(NODE_HEX_CONSTANT), 57);
    EXPECT_EQ(Syntax_tree_wrapper::host_kind(NODE_INT_CONSTANT), 55);
    EXPECT_EQ(Syntax_tree_wrapper::host_kind(200), 72);
    EXPECT_STREQ(vorn::syntax_tree_kind_name(56), "OCT_CONSTANT");
    EXPECT_STREQ(vorn::syntax_tree_kind_name(57), "HEX_CONSTANT");
    EXPECT_STREQ(vorn::syntax_tree_kind_name(73), "unknown");
}

TEST(Tree_facade, values_of_constants_and_state_references)
{
    auto unit = compile("shader S { output: Vector3 result; void main() { Int h = 0x1f; Bool b = true; "
                        "Scalar f = 2.5; result = normal; } };");
    ASSERT_TRUE(unit);
    Compilation_unit_wrapper wrapper(unit);
    vorn::ISyntax_tree* shader = wrapper.get_shader(0);
    ASSERT_NE(shader, nullptr);
    EXPECT_EQ(wrapper.get_shader(1), nullptr);

    // Walk to the constants and the state reference of main's body.
    St_node* main = unit->shader_at(0)->main_method;
    ASSERT_NE(main, nullptr);
    St_node* body = main->find_child(NODE_STATEMENT_BLOCK);
    auto initialiser = [&](int n) { return body->child(n)->child(1)->first_child->first_child; };
    Syntax_tree_wrapper hex(initialiser(0), unit), boolean(initialiser(1), unit), scalar(initialiser(2), unit);
    EXPECT_EQ(hex.get_kind(), 57);
    EXPECT_EQ(hex.get_value_as_int(), 31);
    EXPECT_TRUE(boolean.get_value_as_bool());
    EXPECT_FALSE(hex.get_value_as_bool());
    EXPECT_DOUBLE_EQ(scalar.get_value_as_float(), 2.5);
    EXPECT_DOUBLE_EQ(hex.get_value_as_float(), 0.0);

    St_node* reference = body->child(3)->first_child->child(1);
    ASSERT_EQ(reference->kind, NODE_STATE_VARIABLE_REFERENCE);
    Syntax_tree_wrapper state(reference, unit);
    EXPECT_EQ(state.get_value_length(), 4);
    EXPECT_EQ(state.get_value_as_int(), 2);
    EXPECT_STREQ(state.get_value_as_text(), "normal");
    shader->release();
}

TEST(Tree_facade, children_setters_and_range)
{
    auto unit = compile("Scalar twice(Scalar x) { return x * 2.0; }");
    ASSERT_TRUE(unit);
    Compilation_unit_wrapper wrapper(unit);
    EXPECT_EQ(wrapper.get_function_count(), 1u);
    vorn::ISyntax_tree* function = wrapper.get_function(0);
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function->get_kind(), NODE_FUNCTION_DEFINITION);
    EXPECT_EQ(function->get_child_count(), 2);
    vorn::ISyntax_tree* first = function->get_child(0);
    vorn::ISyntax_tree* again = function->get_child(0);
    EXPECT_EQ(first, again);  // one wrapper per child
    first->release();
    again->release();

    first = function->get_child(0);
    first->set_value_text(nullptr);
    EXPECT_EQ(first->get_value(), nullptr);
    EXPECT_EQ(first->get_value_length(), 0);
    first->set_value_int(-7);
    EXPECT_STREQ(static_cast<const char*>(first->get_value()), "-7");
    EXPECT_EQ(first->get_value_length(), -1);
    first->set_value_float(0.5);
    EXPECT_STREQ(static_cast<const char*>(first->get_value()), "0.500000");
    first->set_value(3, "abc");
    EXPECT_EQ(first->get_value_length(), 3);
    EXPECT_STREQ(first->get_value_as_text(), "<binary data>");
    first->release();
    function->release();
}

TEST(Tree_facade, child_past_the_end_raises_the_range_error)
{
    // Uncaught at the host, it ends the process there.
    auto unit = compile("Scalar one() { return 1.0; }");
    ASSERT_TRUE(unit);
    Syntax_tree_wrapper function(unit->function_at(0), unit);
    try {
        function.get_child(2);
        ADD_FAILURE() << "no range error";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "vector");
    }
}

// Types, declarations and nodes made by hand

#include "host/type_facade.h"
#include "log/mod_log.h"
#include "support/test_support.h"

namespace {

// Releases an interface at the end of a scope.
template <typename T>
struct Held {
    explicit Held(T* pointer) : p(pointer) {}
    ~Held()
    {
        if (p)
            p->release();
    }
    T* operator->() const { return p; }
    T* p;
};

const char* const declarations_source =
    "struct Pair { Scalar a; Int b; };\n"
    "enum Mode { FLAT, SMOOTH = 5, SHARP };\n"
    "Scalar scale[3];\n"
    "Scalar twice(Scalar x, out Int y[2]) { y[0] = 1; y[1] = 2; Scalar z = x; return z * 2.0; }\n"
    "shader S { input: Color c; output: Color result;\n"
    "  void main() { Pair p; p.a = 1.0; Int i[2]; result = c * twice(p.a, i); } };\n";

St_node* child_path(St_node* node, std::initializer_list<int> path)
{
    for (int n : path)
        node = node ? node->child(n) : nullptr;
    return node;
}

}  // namespace

TEST(Tree_facade, type_kinds_follow_the_table_both_ways)
{
    // Host kind by type code, as the interface defines them; every other code gives 0.
    const std::pair<uint32_t, int32_t> table[] = {
        {1, 4},   {4, 3},   {6, 2},   {7, 5},   {8, 6},   {9, 7},   {18, 22}, {22, 8},  {24, 9},  {32, 1},
        {34, 10}, {35, 11}, {36, 12}, {37, 13}, {38, 14}, {39, 15}, {40, 16}, {41, 17}, {42, 18}, {43, 19},
        {44, 20}, {45, 21}, {46, 23}, {47, 24}, {48, 25}, {49, 26}, {50, 27}, {51, 28},
    };
    for (uint32_t code = 0; code < 300; ++code) {
        int32_t expected = 0;
        for (const auto& row : table)
            if (row.first == code)
                expected = row.second;
        EXPECT_EQ(Type_wrapper::host_kind(code), expected) << "code " << code;
        if (expected) {
            EXPECT_EQ(Type_wrapper::type_code(expected), code);
        }
    }
    EXPECT_EQ(Type_wrapper::type_code(0), 0);
    EXPECT_EQ(Type_wrapper::type_code(29), 0);
    EXPECT_EQ(Type_wrapper::type_code(-3), 0);
}

TEST(Tree_facade, named_types_members_sizes_and_enumerators)
{
    auto unit = compile(declarations_source);
    ASSERT_TRUE(unit);
    Compilation_unit_wrapper wrapper(unit);
    ASSERT_EQ(wrapper.get_type_count(), 2u);
    ASSERT_STREQ(wrapper.get_type_name(0), "Pair");
    Held<vorn::IType> pair(wrapper.get_type(0));
    EXPECT_TRUE(pair->is_valid());
    EXPECT_EQ(pair->get_kind(), vorn::TYPE_KIND_STRUCT);
    EXPECT_EQ(pair->get_array_size(), 1u);
    EXPECT_EQ(pair->get_size_of(), 8u);
    EXPECT_EQ(pair->get_alignment(), 4u);
    EXPECT_EQ(pair->get_packed_size(), 8u);
    uint32_t position = 99, size = 99;
    Held<vorn::IType> b(pair->find_member("b", &position, &size));
    ASSERT_NE(b.p, nullptr);
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(b->get_kind(), vorn::TYPE_KIND_INT);
    EXPECT_STREQ(b->get_display_name(), "Int");
    EXPECT_EQ(pair->find_member("c", nullptr, nullptr), nullptr);
    EXPECT_EQ(pair->find_member(nullptr, nullptr, nullptr), nullptr);
    Held<vorn::IType> a(pair->get_first_type());
    ASSERT_NE(a.p, nullptr);
    EXPECT_STREQ(a->get_name(), "a");
    Held<vorn::IType> after_a(a->get_second_type());
    ASSERT_NE(after_a.p, nullptr);
    EXPECT_TRUE(after_a->equals(b.p));
    EXPECT_FALSE(a->equals(b.p));
    EXPECT_EQ(b->get_second_type(), nullptr);
    EXPECT_EQ(pair->get_enumerator_count(), 0u);

    Held<vorn::IType> mode(wrapper.get_type(1));
    EXPECT_EQ(mode->get_kind(), vorn::TYPE_KIND_INT);
    ASSERT_EQ(mode->get_enumerator_count(), 3u);
    // Sorted by name.
    EXPECT_STREQ(mode->get_enumerator_name(0), "FLAT");
    EXPECT_STREQ(mode->get_enumerator_name(1), "SHARP");
    EXPECT_STREQ(mode->get_enumerator_name(2), "SMOOTH");
    EXPECT_EQ(mode->get_enumerator_value(1), 6);
    EXPECT_EQ(mode->get_enumerator_value(2), 5);
    EXPECT_EQ(mode->get_enumerator_name(3), nullptr);
    EXPECT_EQ(mode->get_enumerator_value(3), 0);

    for (int32_t index : {-1, 2, 1000}) {
        Held<vorn::IType> none(wrapper.get_type(index));
        ASSERT_NE(none.p, nullptr);
        EXPECT_FALSE(none->is_valid());
        EXPECT_EQ(none->get_name(), nullptr);
        EXPECT_EQ(none->get_kind(), 0);
        EXPECT_EQ(none->get_size_of(), 0u);
        EXPECT_FALSE(none->equals(none.p));
        none->set_name("x");
        none->set_first_type(pair.p);
        none->finish();
    }
}

TEST(Tree_facade, value_block_sizes_of_strings_and_textures)
{
    auto unit = compile("String names[3]; Texture2d maps[]; String one; Vector3 v[2];"
                        "Scalar f() { return 1.0; }");
    ASSERT_TRUE(unit);
    auto size_of = [&](const char* name, uint32_t array_size) {
        Type_wrapper* type = Type_wrapper::of_index(unit->lookup_type(name, array_size), unit);
        uint32_t size = type->get_size_of();
        type->release();
        return size;
    };
    EXPECT_EQ(size_of("String", 3), 24u);
    EXPECT_EQ(size_of("Texture2d", 0), 16u);
    EXPECT_EQ(size_of("String", 1), 8u);
    EXPECT_EQ(size_of("Vector3", 2), 24u);
}

TEST(Tree_facade, node_types_shared_types_stay_unchanged)
{
    auto unit = compile(declarations_source);
    ASSERT_TRUE(unit);
    // The expression c * twice(...) of main has the type Color, which all units share.
    St_node* main = unit->shader_at(0)->main_method;
    St_node* assignment = child_path(main->find_child(NODE_STATEMENT_BLOCK), {3, 0});
    ASSERT_NE(assignment, nullptr);
    ASSERT_EQ(assignment->kind, NODE_ASSIGNMENT_EXPRESSION);
    Syntax_tree_wrapper node(assignment->child(1), unit);
    Held<vorn::IType> type(node.get_type());
    EXPECT_EQ(type->get_kind(), vorn::TYPE_KIND_COLOR);
    EXPECT_STREQ(type->get_name(), "Color");
    type->set_name("Paint");
    type->set_kind(vorn::TYPE_KIND_INT);
    EXPECT_STREQ(type->get_name(), "Color");
    EXPECT_EQ(unit->type_at(TYPE_COLOR)->code(), TYPE_COLOR);
    // A node without a type gives a type object of no type.
    Syntax_tree_wrapper root(unit->tree(), unit);
    Held<vorn::IType> none(root.get_type());
    EXPECT_FALSE(none->is_valid());
}

TEST(Tree_facade, type_edits_copy_links_and_keep_old_views_readable)
{
    auto unit = compile(declarations_source);
    ASSERT_TRUE(unit);
    Compilation_unit_wrapper wrapper(unit);
    Held<vorn::IType> pair(wrapper.get_type(0));
    Held<vorn::IType> old_first(pair->get_first_type());
    Held<vorn::IType> b(pair->find_member("b", nullptr, nullptr));
    // b alone (not the list it stands in) becomes the first member; a's view stays readable.
    pair->set_first_type(b.p);
    EXPECT_STREQ(old_first->get_name(), "a");
    Held<vorn::IType> first(pair->get_first_type());
    EXPECT_STREQ(first->get_name(), "b");
    EXPECT_EQ(first->get_second_type(), nullptr);
    EXPECT_EQ(pair->get_size_of(), 4u);
    // Setting a type's link to itself copies it first.
    pair->set_first_type(first.p);
    Held<vorn::IType> again(pair->get_first_type());
    EXPECT_STREQ(again->get_name(), "b");
    pair->set_second_type(pair.p);
    Held<vorn::IType> second(pair->get_second_type());
    EXPECT_STREQ(second->get_name(), "Pair");
    pair->set_second_type(nullptr);
    EXPECT_EQ(pair->get_second_type(), nullptr);

    // A rename is found under the new name once the type is finished.
    pair->set_name("Couple");
    pair->set_display_name("shown");
    EXPECT_STREQ(pair->get_display_name(), "shown");
    EXPECT_LT(unit->find_named_type("Couple"), 0);
    pair->finish();
    EXPECT_EQ(unit->find_named_type("Couple"), 0);
    EXPECT_LT(unit->find_named_type("Pair"), 0);
    pair->set_kind(vorn::TYPE_KIND_VECTOR3);
    pair->set_array_size(4);
    EXPECT_EQ(unit->named_type_at(0)->code(), TYPE_VECTOR3);
    EXPECT_EQ(pair->get_array_size(), 4u);
}

TEST(Tree_facade, declarations_of_every_kind)
{
    auto unit = compile(declarations_source);
    ASSERT_TRUE(unit);
    St_node* root = unit->tree();
    St_node* global = child_path(root, {2, 1, 0});  // scale
    St_node* function = unit->function_at(0);       // twice
    St_node* parameters = function->first_child->find_child(NODE_FUNCTION_PARAMETER_LIST);
    St_node* body = function->find_child(NODE_STATEMENT_BLOCK);
    St_node* local = child_path(body, {2, 1, 0});  // z
    const Shader_declaration& shader = *unit->shader_at(0);
    St_node* input = child_path(shader.input_variables[0], {1, 0});
    St_node* output = child_path(shader.output_variables[0], {1, 0});
    St_node* structure = root->child(0);
    St_node* member = child_path(structure, {1, 0, 0, 1, 0});  // a
    St_node* enumeration = root->child(1);
    St_node* enumerator = child_path(enumeration, {2});  // SHARP

    struct Case {
        St_node* node;
        int flag;
        int32_t value;
        const char* type;
    } cases[] = {
        {global, 0, 3, "Scalar"},        {input, 1, 1, "Color"},          {output, 2, 1, "Color"},
        {member, 3, 1, "Scalar"},        {function, 4, 2, "Scalar"},      {parameters->child(1), 5, 2, "Int"},
        {local, 6, 1, "Scalar"},         {shader.class_node, 7, 0, nullptr}, {structure, 7, 2, "Pair"},
        {enumeration, 7, 3, "Mode"},     {enumerator, 8, 6, "Int"},
    };
    for (const Case& c : cases) {
        ASSERT_NE(c.node, nullptr);
        SCOPED_TRACE(std::string(St_node::kind_name(c.node->kind)) + " " + std::string(c.node->text_view()));
        Syntax_tree_wrapper node(c.node, unit);
        Held<vorn::IDeclaration> declaration(node.get_declaration());
        ASSERT_NE(declaration.p, nullptr);
        vorn::IDeclaration* d = declaration.p;
        const bool flags[9] = {d->is_flag_0(), d->is_flag_1(), d->is_flag_2(), d->is_flag_3(), d->is_flag_4(),
                               d->is_flag_5(), d->is_flag_6(), d->is_flag_7(), d->is_flag_8()};
        for (int bit = 0; bit < 9; ++bit)
            EXPECT_EQ(flags[bit], bit == c.flag) << "bit " << bit;
        EXPECT_EQ(declaration->lacks_flag_6(), c.flag != 6);
        EXPECT_EQ(declaration->get_value(), c.value);
        Held<vorn::IType> type(declaration->get_type());
        if (c.type)
            EXPECT_STREQ(type->get_name(), c.type);
        else
            EXPECT_FALSE(type->is_valid());
        Held<vorn::ISyntax_tree> tree(declaration->get_tree());
        EXPECT_EQ(tree->get_internal(), c.node);
        EXPECT_EQ(declaration->get_interface(0), nullptr);
        EXPECT_EQ(declaration->get_interface(-1), nullptr);
    }
    // A node that only uses a name declares nothing.
    Syntax_tree_wrapper use(child_path(body, {3, 0, 0}), unit);
    EXPECT_EQ(use.get_declaration(), nullptr);
}

TEST(Tree_facade, nodes_made_by_hand_join_one_tree_only)
{
    auto unit = compile("Scalar one() { return 1.0; }");
    ASSERT_TRUE(unit);
    Compilation_unit_wrapper wrapper(unit);
    Held<vorn::ISyntax_tree> list(wrapper.create_tree_node(NODE_STATEMENT_BLOCK));
    Held<vorn::ISyntax_tree> hex(wrapper.create_tree_node(56));
    Held<vorn::ISyntax_tree> high(wrapper.create_tree_node(500));
    auto* hex_node = static_cast<St_node*>(hex->get_internal());
    EXPECT_STREQ(hex_node->file_name(), "<internal>");
    EXPECT_EQ(hex_node->kind, NODE_OCT_CONSTANT);
    EXPECT_EQ(hex->get_kind(), 56);
    EXPECT_EQ(high->get_kind(), 72);
    hex->set_value_text("0x1f");
    EXPECT_FALSE(hex->get_value_as_bool());
    hex->set_value_bool(true);
    EXPECT_FALSE(hex->get_value_as_bool());  // true only for kind 59

    vorn_test::Log_capture capture;
    list->add_child(hex.p);
    EXPECT_EQ(list->get_child_count(), 1);
    list->add_child(hex.p);  // already in a tree
    list->add_child(list.p);  // itself
    high->add_child(list.p);
    list->add_child(high.p);  // holds the list now
    EXPECT_EQ(list->get_child_count(), 1);
    EXPECT_EQ(high->get_child_count(), 1);
    // Nodes of another unit and nodes of the compiled tree are refused.
    auto other = compile("Scalar two() { return 2.0; }");
    Compilation_unit_wrapper other_wrapper(other);
    Held<vorn::ISyntax_tree> foreign(other_wrapper.create_tree_node(NODE_NO_OP));
    list->add_child(foreign.p);
    Held<vorn::ISyntax_tree> function(wrapper.get_function(0));
    Held<vorn::ISyntax_tree> in_tree(function->get_child(0));
    list->add_child(in_tree.p);
    list->add_child(nullptr);
    EXPECT_EQ(list->get_child_count(), 1);
    EXPECT_EQ(capture.lines().size(), 6u);
    // A made node added to the compiled tree belongs to it from then on.
    function->add_child(high.p);
    EXPECT_EQ(function->get_child_count(), 3);
    EXPECT_FALSE(unit->is_loose_node(static_cast<St_node*>(high->get_internal())));
}
