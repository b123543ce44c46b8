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
