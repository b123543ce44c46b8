// Trees printed back to Ovrel: the text reads back to the same tree, units compiled from the
// printed text generate the same target texts, and trees with no source form fail cleanly.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "back12/generated_shader.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "front12/ovrel_parser.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/source_printer.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"

using namespace QZ;
using SYNTAX_TREE::Compilation_unit;
using SYNTAX_TREE::St_node;

namespace {

std::string printed(const St_node* node)
{
    std::string text;
    std::string error;
    EXPECT_TRUE(SYNTAX_TREE::print_source(node, text, &error)) << error << "\n" << text;
    return text;
}

// The tree dump without positions: what the parser built, not where.
std::string shape(const St_node* node)
{
    static const std::regex position(" -?[0-9]+:-?[0-9]+$", std::regex::multiline);
    return std::regex_replace(SYNTAX_TREE::tree_text(node), position, "");
}

std::unique_ptr<St_node> parse(const std::string& text)
{
    FRONT12::Parse_result result = FRONT12::parse_text(text, "printed.ovl");
    for (const auto& error : result.errors)
        ADD_FAILURE() << SYNTAX_TREE::format_error(error, "printed.ovl") << "\n" << text;
    return std::move(result.tree);
}

St_node* node(int32_t kind, const char* text = nullptr, std::initializer_list<St_node*> children = {})
{
    auto file = SYNTAX_TREE::make_file_name("t");
    return text ? new St_node(kind, file, text, children) : new St_node(kind, file, children);
}

St_node* id(const char* name) { return node(SYNTAX_TREE::NODE_VARIABLE_ID, name); }

std::vector<std::string> program_texts(Compilation_unit* unit, const char* target)
{
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    std::unique_ptr<BACK12::Generated_shader> shader(COMPILER::mod_compiler->generate_shader(unit, target, options));
    std::vector<std::string> texts;
    for (uint32_t i = 0; shader && i < shader->program_count(); ++i)
        texts.push_back(*shader->program_text(i));
    return texts;
}

}  // namespace

// Every statement and expression form of the grammar, read, printed and read again.
TEST(Source_printer, every_form_reads_back_to_the_same_tree)
{
    const char* source = R"(#import <lib.ovl>
enum Mode { FLAT, SOFT = 4 };
struct Pair { Scalar a; Scalar b[2]; };
native Scalar outside(Scalar x, out Int n[3]);
Scalar twice(in Scalar x) { return x * 2.0; }
shader S : Base::Other
{
    Scalar plain;
input:
    Color tint = Color(1.0, 0.5, 0.25, 1.0) { ui("color"); range(0, 1); };
    Scalar list[2] = {1.0, 2.0}, made(3.0);
output:
    Color result;
member:
    static Int count;
    Scalar helper(Scalar v) { return -v; }
    void main()
    {
        Scalar a = 1, b = 2, c = 3;
        a = b = c;
        a = (b = c);
        a = b ? c : a ? b : c;
        a = (b ? c : a) ? b : c;
        a = b - (c - a) - b / (c * a) * b;
        a = -(-b) + !(a < b) + -((Scalar)c) + (Scalar)((Int)c) + ++a - b--;
        a += (a, b);
        a = a || b ^^ c && a == b != (c > a) <= b;
        a = (a || b) && (b ^^ c);
        a = (1.0).x + Color(1, 0, 0, 1).r + list[0].y + tint.rgb.x + helper(a).x;
        a = Mode::SOFT + f() + "text" + 0x1f + 017 + true + 1.5e3;
        Pair p;
        if (a)
            b = 1;
        else if (b)
        {
            c = 2;
        }
        else
            c = 3;
        if (a)
        {
            if (b)
                c = 1;
        }
        else
            c = 2;
        while (Bool go = a < b)
            a++;
        while (a)
        {
        }
        do
            --a;
        while (a > 0);
        for (Int i = 0; i < 3; i++)
            ;
        for (;;)
            break;
        for (a = 0, b = 1; ; a++, b++)
            continue;
        foreach (lights)
        {
        }
        switch (count)
        {
        case 1:
        case -2:
            a = 1;
            break;
        case Mode::FLAT:
        case FLAT:
        default:
            return;
        }
    }
} { note("shader"); };
technique T { };
)";
    std::unique_ptr<St_node> first = parse(source);
    ASSERT_TRUE(first);
    std::string text = printed(first.get());
    std::unique_ptr<St_node> second = parse(text);
    ASSERT_TRUE(second);
    EXPECT_EQ(shape(second.get()), shape(first.get())) << text;
    EXPECT_EQ(printed(second.get()), text) << "printing is a fixed point";
}

// Trees that code builds rather than the parser: the parentheses must carry what the nesting
// says, signed constants and numbers before a dot must read back as one operand.
TEST(Source_printer, built_trees_keep_their_grouping)
{
    using namespace SYNTAX_TREE;
    // same_shape: the text reads back to the very tree; a signed constant reads back as a sign
    // over a number, which prints the same again.
    struct Case {
        St_node* tree;
        const char* text;
        bool same_shape;
    } cases[] = {
        {node(NODE_ADDITIVE_EXPRESSION, "-", {id("a"), node(NODE_ADDITIVE_EXPRESSION, "-", {id("b"), id("c")})}),
         "a - (b - c)", true},
        {node(NODE_ASSIGNMENT_EXPRESSION, "=", {id("a"), node(NODE_ASSIGNMENT_EXPRESSION, "=", {id("b"), id("c")})}),
         "a = (b = c)", true},
        {node(NODE_MULTIPLICATIVE_EXPRESSION, "*",
              {node(NODE_ADDITIVE_EXPRESSION, "+", {id("a"), id("b")}), node(NODE_INT_CONSTANT, "-5")}),
         "(a + b) * -5", false},
        {node(NODE_UNARY_EXPRESSION, "-", {node(NODE_FLOAT_CONSTANT, "-1.000000")}), "-(-1.000000)", false},
        {node(NODE_CLASS_MEMBER_REF_EXPRESSION, nullptr,
              {node(NODE_FLOAT_CONSTANT, "2.0"), node(NODE_MEMBER_VARIABLE_ID, "x")}),
         "(2.0).x", true},
        {node(NODE_CONDITIONAL_EXPRESSION, "?",
              {node(NODE_CONDITIONAL_EXPRESSION, "?", {id("a"), id("b"), id("c")}),
               node(NODE_EXPRESSION_LIST, nullptr, {id("d"), id("e")}), id("f")}),
         "(a ? b : c) ? d, e : f", true},
        // The passes name a call of a class's own method by its scoped name.
        {node(NODE_FUNCTION_CALL_EXPRESSION, "S::helper",
              {node(NODE_FUNCTION_CALL_PARAMETERS, nullptr, {node(NODE_EXPRESSION_LIST, nullptr, {id("a"), id("b")})})}),
         "helper((a, b))", false},
    };
    for (const Case& c : cases) {
        std::unique_ptr<St_node> tree(c.tree);
        std::string text = printed(tree.get());
        EXPECT_EQ(text, c.text);
        SYNTAX_TREE::Error_list errors;
        std::unique_ptr<St_node> back(FRONT12::parse_expression(text, errors));
        ASSERT_TRUE(back) << text;
        EXPECT_EQ(printed(back.get()), text);
        if (c.same_shape) {
            EXPECT_EQ(shape(back.get()), shape(tree.get())) << text;
        }
    }

    // An else whose if would otherwise take it is given braces.
    std::unique_ptr<St_node> dangling(node(NODE_CONDITION_STATEMENT, nullptr,
                                           {id("a"),
                                            node(NODE_WHILE_STATEMENT, nullptr,
                                                 {node(NODE_CONDITION, "expression", {id("b")}),
                                                  node(NODE_CONDITION_STATEMENT, nullptr,
                                                       {id("c"), node(NODE_JUMP_STATEMENT, "break")})}),
                                            node(NODE_JUMP_STATEMENT, "return")}));
    std::string text = printed(dangling.get());
    std::unique_ptr<St_node> back = parse("void f() { " + text + " }");
    ASSERT_TRUE(back);
    const St_node* statement = back->first_child->child(1)->first_child;
    ASSERT_EQ(statement->kind, NODE_CONDITION_STATEMENT) << text;
    EXPECT_EQ(statement->child_count(), 3) << "the else stays with the outer if:\n" << text;
}

TEST(Source_printer, what_has_no_source_form_fails_with_a_reason)
{
    using namespace SYNTAX_TREE;
    std::string text;
    std::string error;
    std::unique_ptr<St_node> quoted(node(NODE_STRING_CONSTANT, "say \"hi\""));
    EXPECT_FALSE(print_source(quoted.get(), text, &error));
    EXPECT_NE(error.find("quote"), std::string::npos) << error;

    int32_t index = STATE_VARIABLE_COUNT;
    std::unique_ptr<St_node> state(new St_node(NODE_STATE_VARIABLE_REFERENCE, make_file_name("t"), -1, -1,
                                               reinterpret_cast<const char*>(&index), sizeof index, -1));
    EXPECT_FALSE(print_source(state.get(), text, &error));
    EXPECT_NE(error.find("state"), std::string::npos) << error;

    std::unique_ptr<St_node> stray(node(NODE_EXPRESSION_STATEMENT, nullptr, {node(NODE_ENUM_MEMBER, "A")}));
    EXPECT_FALSE(print_source(stray.get(), text, &error));
    EXPECT_NE(error.find("ENUM_MEMBER"), std::string::npos) << error;

    // Nesting beyond what any walk enters: a clean failure, not a stack overflow.
    St_node* deep = id("x");
    for (int i = 0; i < 100000; ++i)
        deep = node(NODE_UNARY_EXPRESSION, "!", {deep});
    std::unique_ptr<St_node> owner(deep);
    EXPECT_FALSE(print_source(deep, text, &error));
    EXPECT_NE(error.find("deep"), std::string::npos) << error;

    // A long chain of one operator nests down its left side, and prints without recursion.
    St_node* chain = id("a");
    std::string sum = "a";
    for (int i = 0; i < 20000; ++i) {
        chain = node(NODE_ADDITIVE_EXPRESSION, "+", {chain, id("a")});
        sum += " + a";
    }
    std::unique_ptr<St_node> chain_owner(chain);
    EXPECT_EQ(printed(chain), sum);
}

// Whole units of the generator tests, state names and class-scoped calls among them, compiled
// again from their printed text: no diagnostic and the same GL and FX texts.
TEST(Source_printer, units_compiled_from_their_printed_text_generate_the_same_programs)
{
    const std::string gen = std::string(VORN_TEST_DATA_DIR) + "/gen/";
    for (const char* file : {"alpha.ovl", "clashes.ovl", "expressions.ovl", "imports.ovl", "results.ovl",
                             "state_functions.ovl", "state_params.ovl", "state_varying.ovl", "statements.ovl",
                             "textures.ovl", "types.ovl", "light.ovl", "debug.ovl"}) {
        SYNTAX_TREE::Error_list errors;
        std::unique_ptr<Compilation_unit> unit(COMPILER::mod_compiler->compile_file((gen + file).c_str(), &errors));
        ASSERT_TRUE(unit) << file;
        ASSERT_TRUE(errors.empty()) << file;
        std::string text = printed(unit->tree());
        std::unique_ptr<Compilation_unit> again(
            COMPILER::mod_compiler->compile_text((gen + "printed.ovl").c_str(), text.c_str(), &errors));
        ASSERT_TRUE(again) << file;
        for (const auto& error : errors)
            ADD_FAILURE() << file << ": " << SYNTAX_TREE::format_error(error, "printed.ovl") << "\n" << text;
        for (const auto& error : again->errors())
            ADD_FAILURE() << file << ": " << SYNTAX_TREE::format_error(error, "printed.ovl") << "\n" << text;
        for (const char* target : {"GL", "FX"}) {
            std::vector<std::string> expected = program_texts(unit.get(), target);
            EXPECT_FALSE(expected.empty()) << file << " " << target;
            EXPECT_EQ(program_texts(again.get(), target), expected) << file << " " << target << " from\n" << text;
        }
    }
}

// The linker's copied methods are free functions handed the state; their printed source must
// read state names again, while a function without the state still may not.
TEST(Source_printer, a_free_function_handed_the_state_reads_state_names)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> handed(COMPILER::mod_compiler->compile_text(
        "handed.ovl",
        "void lit(State state, out Vector3 r) { r = normal * dot_nd; }\n"
        "shader S { output: Color c; void main() { Vector3 r; lit(state, r); c = Color(r.x, r.y, r.z, 1.0); } };\n",
        &errors));
    ASSERT_TRUE(handed);
    EXPECT_TRUE(errors.empty());
    EXPECT_TRUE(handed->errors().empty());
    std::string tree = SYNTAX_TREE::tree_text(handed->tree());
    EXPECT_EQ(tree.find("VARIABLE_ID \"normal\""), std::string::npos) << tree;
    EXPECT_EQ(tree.find("VARIABLE_ID \"state\""), std::string::npos) << tree;
    std::vector<std::string> gl = program_texts(handed.get(), "GL");
    ASSERT_EQ(gl.size(), 2u);
    EXPECT_NE(gl[1].find("ovl_r = state.normal * state.dot_nd;"), std::string::npos) << gl[1];
    std::string dir = vorn_test::make_temp_dir("handed_state");
    std::ofstream(dir + "/s.frag") << gl[1];
    std::string command = "glslangValidator -d " + dir + "/s.frag >" + dir + "/log 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << vorn_test::read_file(dir + "/log") << gl[1];

    std::unique_ptr<Compilation_unit> bare(COMPILER::mod_compiler->compile_text(
        "bare.ovl", "Vector3 lit(Scalar k) { return normal * k; }\n", &errors));
    ASSERT_TRUE(bare);
    ASSERT_EQ(bare->errors().size(), 1u);
    EXPECT_NE(SYNTAX_TREE::format_error(bare->errors()[0], "bare.ovl").find("normal"), std::string::npos);
}
