#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "front12/ovrel_lexer.h"
#include "front12/ovrel_parser.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"

using namespace QZ::FRONT12;
using namespace QZ::SYNTAX_TREE;

namespace {

Parse_result parse(const std::string& text) { return parse_text(text, "test.ovl"); }

std::string repeat(const std::string& part, int count)
{
    std::string out;
    out.reserve(part.size() * size_t(count));
    for (int i = 0; i < count; ++i)
        out += part;
    return out;
}

// Messages of all errors, one per line, for readable failures.
std::string messages(const Error_list& errors)
{
    std::string out;
    for (const Error_record& error : errors)
        out += format_error(error, "test.ovl") + "\n";
    return out;
}

size_t count_containing(const Error_list& errors, const std::string& text)
{
    size_t count = 0;
    for (const Error_record& error : errors)
        if (error.text.find(text) != std::string::npos)
            ++count;
    return count;
}

// The statements of the body of the only function of a file.
const St_node* body_of_first_function(const Parse_result& result)
{
    const St_node* definition = result.tree ? result.tree->find_child(NODE_FUNCTION_DEFINITION) : nullptr;
    return definition ? definition->find_child(NODE_STATEMENT_BLOCK) : nullptr;
}

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

TEST(Parser_expression, parses_one_expression_of_a_text)
{
    Error_list errors;
    std::unique_ptr<St_node> tree(parse_expression("1 + 2 * 3 == 7", errors));
    ASSERT_TRUE(tree) << messages(errors);
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(tree_text(tree.get()), "EQUALITY_EXPRESSION \"==\" 1:11\n"
                                     "  ADDITIVE_EXPRESSION \"+\" 1:3\n"
                                     "    INT_CONSTANT \"1\" 1:1\n"
                                     "    MULTIPLICATIVE_EXPRESSION \"*\" 1:7\n"
                                     "      INT_CONSTANT \"2\" 1:5\n"
                                     "      INT_CONSTANT \"3\" 1:9\n"
                                     "  INT_CONSTANT \"7\" 1:14\n");
}

TEST(Parser_expression, errors_give_no_tree)
{
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"1 +", "unexpected end of file, expected an expression"},
        {"1 2", "unexpected '2', expected the end of the expression"},
        {"", "unexpected end of file, expected an expression"},
        {"a & b", "expected '&'"},
    };
    for (const Case& c : cases) {
        Error_list errors;
        std::unique_ptr<St_node> tree(parse_expression(c.text, errors));
        EXPECT_FALSE(tree) << c.text;
        ASSERT_EQ(errors.size(), 1u) << c.text;
        EXPECT_EQ(errors[0].number, DIAG_SYNTAX_ERROR);
        EXPECT_NE(errors[0].text.find(c.message), std::string::npos) << errors[0].text;
    }
}

TEST(Parser_errors, lexical_error_ends_parsing_without_a_tree)
{
    Parse_result result = parse("Int x;\nvoid f() { y = 1 +; }\nInt z = a | b;\nInt w = ;\n");
    ASSERT_EQ(result.errors.size(), 2u) << messages(result.errors);
    EXPECT_EQ(result.errors[0].line, 2);
    EXPECT_EQ(result.errors[1].line, 3);
    EXPECT_EQ(result.errors[1].column, 12);
    EXPECT_FALSE(result.tree);
}

TEST(Parser_errors, preprocessor_error_comes_first_and_drops_the_tree)
{
    Parse_result result = parse("void f() { x = ; }\n#endif\nInt y;\n");
    ASSERT_EQ(result.errors.size(), 2u) << messages(result.errors);
    EXPECT_EQ(result.errors[0].number, 35u);
    EXPECT_EQ(result.errors[0].line, 2);
    EXPECT_EQ(result.errors[1].number, DIAG_SYNTAX_ERROR);
    EXPECT_EQ(result.errors[1].line, 1);
    EXPECT_FALSE(result.tree);
}

TEST(Parser_errors, same_faulty_source_gives_the_same_errors)
{
    const std::string text = "void f() { x = ; if (a { } y = 1 }\nclass A : B, C { };\nInt ok;\n";
    Parse_result first = parse(text);
    Parse_result second = parse(text);
    EXPECT_EQ(messages(first.errors), messages(second.errors));
    EXPECT_GE(first.errors.size(), 3u) << messages(first.errors);
    EXPECT_EQ(tree_text(first.tree.get()), tree_text(second.tree.get()));
}

TEST(Parser_nesting, parentheses_within_the_limit_parse)
{
    Parse_result result = parse("void f() { x = " + repeat("(", 250) + "1" + repeat(")", 250) + "; }");
    EXPECT_TRUE(result.errors.empty()) << messages(result.errors);
    EXPECT_TRUE(result.tree);
}

// Deep nesting of every recursive form: one clear error each, no crash, and the declarations
// around it are still read.
TEST(Parser_nesting, deep_nesting_is_a_syntax_error)
{
    const int depth = 100000;
    const std::string forms[] = {
        "void f() { x = " + repeat("(", depth) + "1" + repeat(")", depth) + "; }",
        "void f() { " + repeat("{", depth) + repeat("}", depth) + " }",
        "void f() { x = " + repeat("-", depth) + "1; }",
        "void f() { x = " + repeat("!(", depth) + "1" + repeat(")", depth) + "; }",
        "void f() { x = " + repeat("g(", depth) + "1" + repeat(")", depth) + "; }",
        "void f() { x = " + repeat("c ? a : ", depth) + "e; }",
        "void f() { x = " + repeat("(Int)(", depth) + "e" + repeat(")", depth) + "; }",
        "void f() { x = a" + repeat("[b", depth) + repeat("]", depth) + "; }",
        "Scalar v[2] = {" + repeat("(", depth) + "1" + repeat(")", depth) + "};",
        repeat("struct A { ", 2000) + repeat("};", 2000),
        "void f() { " + repeat("if (a) ", 5000) + "x = 1; }",
    };
    for (const std::string& text : forms) {
        Parse_result result = parse("Int before;\n" + text + "\nInt after;\n");
        EXPECT_GE(count_containing(result.errors, "nesting too deep"), 1u) << text.substr(0, 40);
        ASSERT_TRUE(result.tree) << text.substr(0, 40);
        EXPECT_EQ(result.tree->child(0)->kind, NODE_VARIABLE_DECLARATION);
        const St_node* last = result.tree->child(result.tree->child_count() - 1);
        EXPECT_EQ(tree_text(last->find_child(NODE_INIT_IDENTIFIER_LIST)),
                  "INIT_IDENTIFIER_LIST 3:5\n  INIT_IDENTIFIER \"after\" 3:5\n")
            << text.substr(0, 40) << "\n" << messages(result.errors);
    }
}

// Operator chains are read in a loop, but their trees grow as deep as they are long.
TEST(Parser_nesting, overlong_operator_chain_is_reported_and_dropped)
{
    Parse_result fine = parse("void f() { x = a" + repeat(" + a", 1000) + "; }");
    EXPECT_TRUE(fine.errors.empty()) << messages(fine.errors);
    Parse_result result = parse("void f() { x = a" + repeat(" + a", 100000) + "; }\nInt after;\n");
    ASSERT_EQ(result.errors.size(), 1u) << messages(result.errors);
    EXPECT_NE(result.errors[0].text.find("more than 2048 levels"), std::string::npos);
    ASSERT_TRUE(result.tree);
    EXPECT_EQ(result.tree->child_count(), 1);
    EXPECT_EQ(result.tree->child(0)->kind, NODE_VARIABLE_DECLARATION);
}

// Statement and declaration lists are loops: long ones need no deep recursion. Declarations make
// trial parses, which keep tokens until they finish, across the buffer's release points.
TEST(Parser_lists, long_statement_and_declaration_lists)
{
    const int count = 100000;
    Parse_result result = parse("void f() {\n" + repeat("Scalar s = (Scalar) i; x = Color(1, 2, 3, 4).r;\n", count / 2) +
                                "}\n" + repeat("Int g;\n", count));
    EXPECT_TRUE(result.errors.empty()) << messages(result.errors);
    ASSERT_TRUE(result.tree);
    EXPECT_EQ(result.tree->child_count(), count + 1);
    ASSERT_TRUE(body_of_first_function(result));
    EXPECT_EQ(body_of_first_function(result)->child_count(), count);
}

// Each level tries a cast whose operand holds the next level; every trial fails at the end. A
// parser that forgot failed trials would take 2^n steps here.
TEST(Parser_trials, failed_trials_are_not_repeated)
{
    auto start = std::chrono::steady_clock::now();
    Parse_result result = parse("void f() { x = " + repeat("(a) - (", 60) + "; }\nInt after;\n");
    EXPECT_LT(seconds_since(start), 5.0);
    EXPECT_FALSE(result.errors.empty());
    ASSERT_TRUE(result.tree);
    EXPECT_EQ(result.tree->child(1)->kind, NODE_VARIABLE_DECLARATION) << messages(result.errors);

    start = std::chrono::steady_clock::now();
    result = parse("void f() { x = " + repeat("Color(", 200) + "; }\n");
    EXPECT_LT(seconds_since(start), 5.0);
    EXPECT_FALSE(result.errors.empty());
}

TEST(Parser_includes, hook_result_is_spliced_in_place_and_import_makes_a_node)
{
    std::vector<std::string> asked;
    auto hook = [&asked](const std::string& name, const Token& token) -> St_node* {
        asked.push_back(name + "@" + std::to_string(token.line));
        if (name == "empty.ovl")
            return nullptr;
        File_name file = make_file_name(name);
        return new St_node(NODE_DECLARATION_LIST, file,
                           {new St_node(NODE_VARIABLE_DECLARATION, file, "first"),
                            new St_node(NODE_VARIABLE_DECLARATION, file, "second")});
    };
    Parse_result result =
        parse_text("Int a;\n#include <lib/shared.ovl>\n#include <empty.ovl>\n#import <other.ovl>\nInt b;\n", "main.ovl",
                   hook);
    EXPECT_TRUE(result.errors.empty()) << messages(result.errors);
    EXPECT_EQ(asked, (std::vector<std::string>{"lib/shared.ovl@2", "empty.ovl@3"}));
    ASSERT_TRUE(result.tree);
    ASSERT_EQ(result.tree->child_count(), 5);
    EXPECT_EQ(result.tree->child(1)->text_view(), "first");
    EXPECT_STREQ(result.tree->child(1)->file_name(), "lib/shared.ovl");
    EXPECT_EQ(result.tree->child(2)->text_view(), "second");
    EXPECT_EQ(result.tree->child(3)->kind, NODE_IMPORT_DECLARATION);
    EXPECT_EQ(result.tree->child(3)->text_view(), "other.ovl");
    EXPECT_EQ(result.tree->child(4)->kind, NODE_VARIABLE_DECLARATION);

    // Without a hook the include is skipped; an include alone makes no tree.
    Parse_result skipped = parse("#include <lib/shared.ovl>\n");
    EXPECT_TRUE(skipped.errors.empty());
    EXPECT_FALSE(skipped.tree);
}

TEST(Parser_nodes, all_nodes_of_a_parse_share_one_file_name)
{
    Parse_result result = parse("shader S { input: Scalar x = 1; void main() { x = x + 1; } };");
    ASSERT_TRUE(result.tree);
    const std::string* shared = result.tree->file.get();
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(*shared, "test.ovl");
    std::vector<const St_node*> pending{result.tree.get()};
    size_t nodes = 0;
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        ++nodes;
        EXPECT_EQ(node->file.get(), shared);
        EXPECT_EQ(node->type_index, -1);
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
    EXPECT_GT(nodes, 20u);
}

// The rule order decides between readings that both parse.
TEST(Parser_alternatives, declaration_wins_over_expression_only_when_it_parses)
{
    Parse_result result = parse("void f() { a * b; foo bar; foo::bar = 1; Int(2); Scalar s(1); }");
    EXPECT_TRUE(result.errors.empty()) << messages(result.errors);
    const St_node* body = body_of_first_function(result);
    ASSERT_TRUE(body);
    ASSERT_EQ(body->child_count(), 5);
    EXPECT_EQ(body->child(0)->kind, NODE_EXPRESSION_STATEMENT);
    EXPECT_EQ(body->child(1)->kind, NODE_VARIABLE_DECLARATION);
    EXPECT_EQ(body->child(2)->kind, NODE_EXPRESSION_STATEMENT);
    EXPECT_EQ(body->child(2)->child(0)->child(0)->text_view(), "foo::bar");
    EXPECT_EQ(body->child(3)->child(0)->kind, NODE_CONSTRUCTOR_CALL_EXPRESSION);
    EXPECT_EQ(body->child(4)->kind, NODE_VARIABLE_DECLARATION);
}

// Two parses at once on two threads build the same trees as one alone (each thread frees its
// last tree while the other parses), and a tree built on one thread may be freed on another.
TEST(Parser_nodes, parses_on_two_threads_at_once_build_the_same_trees)
{
    std::string source;
    for (int i = 0; i < 300; ++i)
        source += "Scalar helper_" + std::to_string(i) + "(Scalar x, Vector3 v)\n{\n"
                  "    Scalar s = x * " + std::to_string(i) + ".5 + dot(v, v);\n"
                  "    if (s > 1.0) { s = s - 1.0; } else { s = s + v.x; }\n"
                  "    return s * 0.5;\n}\n";
    Parse_result reference = parse(source);
    ASSERT_TRUE(reference.tree);
    ASSERT_TRUE(reference.errors.empty()) << messages(reference.errors);
    const std::string expected = tree_text(reference.tree.get());
    reference.tree.reset();

    Parse_result results[2];
    std::string texts[2];
    auto work = [&](int thread) {
        for (int round = 0; round < 3; ++round) {
            results[thread] = parse(source);
            texts[thread] = tree_text(results[thread].tree.get());
            if (texts[thread] != expected)
                return;
        }
    };
    std::thread first(work, 0);
    std::thread second(work, 1);
    first.join();
    second.join();
    EXPECT_EQ(texts[0], expected);
    EXPECT_EQ(texts[1], expected);
    std::thread([&results] { results[0].tree.reset(); }).join();
    results[1].tree.reset();
}
