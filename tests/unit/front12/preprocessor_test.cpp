#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "front12/ovrel_lexer.h"
#include "front12/ovrel_parser.h"
#include "front12/ovrel_preprocessor.h"
#include "front12/token.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/st_node.h"

using namespace QZ::FRONT12;
using QZ::SYNTAX_TREE::Error_list;
using QZ::SYNTAX_TREE::Error_record;
using QZ::SYNTAX_TREE::St_node;

namespace {

// The parser's expression rule, as the driver hands it to the preprocessor.
St_node* parse_expression_for_tests(const std::string& text, Error_list& errors)
{
    return parse_expression(text, errors);
}

// A token with its own copy of the text: the source and the preprocessor are gone when a
// result is looked at.
struct Kept_token {
    int32_t type;
    int32_t line;
    int32_t column;
    std::string text;
};

struct Result {
    std::vector<Kept_token> tokens;  // before EOF
    std::string text;           // token texts joined by blanks
    Error_list diagnostics;
    bool failed = false;
};

// Runs lexer and preprocessor over the text to the end or the first error.
Result preprocess(const std::string& source, Ovrel_preprocessor::Expression_parser parser = parse_expression_for_tests)
{
    Ovrel_lexer lexer(source.data(), source.size(), "pp.ovl");
    Ovrel_preprocessor pp(lexer, "pp.ovl");
    pp.set_expression_parser(parser);
    Result r;
    try {
        for (Token t = pp.next_token(); t.type != TOKEN_EOF; t = pp.next_token()) {
            r.tokens.push_back({t.type, t.line, t.column, std::string(t.text)});
            r.text += (r.text.empty() ? "" : " ") + std::string(t.text);
        }
    } catch (const Preprocessor_exception& e) {
        r.failed = true;
        EXPECT_EQ(e.file(), "pp.ovl");
        EXPECT_EQ(pp.next_token().type, TOKEN_EOF) << "a failed preprocessor hands out only EOF";
    }
    r.diagnostics = pp.diagnostics();
    return r;
}

std::string expand(const std::string& source)
{
    Result r = preprocess(source);
    EXPECT_FALSE(r.failed) << "error " << (r.diagnostics.empty() ? 0u : r.diagnostics[0].number) << " for:\n"
                           << source;
    return r.text;
}

// The one diagnostic the text raises; number 0 when it raises none.
Error_record error_of(const std::string& source)
{
    Result r = preprocess(source);
    if (!r.failed) {
        ADD_FAILURE() << "no error for:\n" << source;
        return {};
    }
    EXPECT_EQ(r.diagnostics.size(), 1u);
    return r.diagnostics.empty() ? Error_record{} : r.diagnostics[0];
}

}  // namespace

// Sources and the token texts they expand to, group by group.
TEST(Ovrel_preprocessor, macros_and_conditional_blocks_expand_as_listed)
{
    const std::pair<const char*, const char*> cases[] = {
        // Object macros: define, redefine, undef.
        {"#define A 1\nA + A", "1 + 1"},
        {"#define A 1\n#define A 2\nA", "2"},
        {"#define A 1 2\n#define A\n[A]", "[ ]"},  // the old body goes
        {"#define A 1\n#undef A\nA", "A"},
        {"#undef NEVER\nx", "x"},
        // Bodies are kept unexpanded and expanded at each use.
        {"#define B 1\n#define A B\n#undef B\nA", "B"},
        // No check that a name is an identifier.
        {"#define 1 2\n1", "2"},
        // A macro without parameters reads nothing, even when defined with ().
        {"#define A() 5\nA()", "5 ( )"},
        // Macros with parameters.
        {"#define ADD(a, b) a + b\nADD(x, (y, f(z)))", "x + ( y , f ( z ) )"},
        {"#define F(a) [a]\nF()", "[ ]"},
        {"#define F(a, b) b a\nF(1,\n2)", "2 1"},
        // Arguments are not expanded before substitution but on the rescan.
        {"#define ONE 1\n#define ID(x) x\nID(ONE)", "1"},
        {"#define ID(x) x\n#define ONE 1\nID(ID(ONE))", "ID ( 1 )"},
        // `#define A (1)` is a macro with one parameter named "1" and an empty body.
        {"#define A (1)\nx A(7) y", "x y"},
        // A "(" on a later line doesn't open a parameter list.
        {"#define A\n(x)", "( x )"},
        {"#define F(a,) a\nF(3)", "3"},
        // Nested and recursive macros.
        {"#define A B\n#define B C\nA", "C"},
        {"#define A A + 1\nA", "A + 1"},
        {"#define A B\n#define B A\nA B", "A B"},
        {"#define X X\nX X", "X X"},
        {"#define F(x) G(x) x\n#define G(y) F(y) y\nF(1)", "F ( 1 ) 1 1"},
        // A backslash continues a definition.
        {"#define A 1 \\\n + 2\nA", "1 + 2"},
        // Mid-line too: it adds one line to the body, wherever it stands.
        {"#define A 1 \\ 2\n3\n4\nA", "4 1 2 3"},
        {"#define A 1 \\\n2 \\\n3\nA", "1 2 3"},
        // Straight after the name or the parameter list.
        {"#define A \\\n 7\nA", "7"},
        {"#define F(x) \\\n x x\nF(2)", "2 2"},
        // Without one, the next line is not part of the body.
        {"#define A 1\n+ 2\nA", "+ 2 1"},
        // #ifdef, #ifndef and #else.
        {"#ifdef A\nx\n#else\ny\n#endif", "y"},
        {"#define A\n#ifdef A\nx\n#else\ny\n#endif", "x"},
        {"#ifndef A\nx\n#else\ny\n#endif", "x"},
        {"#define A\n#ifndef A\nx\n#else\ny\n#endif z", "y z"},
        // Nested blocks inside a skipped branch are counted, their #else ignored.
        {"#ifdef NO\n#ifdef X\na\n#else\nb\n#endif\nc\n#else\nd\n#endif", "d"},
        {"#define YES\n#ifdef YES\n#ifdef NO\na\n#else\nb\n#endif\nc\n#else\nd\n#endif", "b c"},
        // A skipped block may hold any directive word.
        {"#ifdef NO\n#foo bar\n#if 1/0\n#endif\n#endif\nx", "x"},
        // A #if left open while its branch is read ends quietly with the file.
        {"#ifndef A\nx", "x"},
        // #elif chains.
        {"#if 0\na\n#elif 0\nb\n#elif 1\nc\n#else\nd\n#endif", "c"},
        {"#if 0\na\n#elif 0\nb\n#else\nd\n#endif", "d"},
        // After a taken branch #elif is skipped unevaluated: 1/0 would be error 39.
        {"#if 1\na\n#elif 1/0\nb\n#endif", "a"},
        {"#if 1\na\n#elif UNDEFINED\nb\n#else\nc\n#endif", "a"},
        // Two #else in one block: met in the forward skip of a taken branch, the first wins;
        {"#if 1\na\n#else\nb\n#else\nc\n#endif", "a"},
        // taken from a skip, the second ends that branch.
        {"#if 0\na\n#else\nb\n#else\nc\n#endif", "b"},
        // #if with macros and defined.
        {"#define N 3\n#if N * 2 == 6\nyes\n#endif", "yes"},
        {"#if defined(FOO)\nyes\n#else\nno\n#endif", "no"},
        {"#define FOO\n#if defined(FOO)\nyes\n#else\nno\n#endif", "yes"},
        // `!` doesn't negate, so !defined(FOO) holds when FOO is defined.
        {"#define FOO\n#if !defined(FOO)\nyes\n#else\nno\n#endif", "yes"},
        {"#if !defined(FOO)\nyes\n#else\nno\n#endif", "no"},
        // Only defined(NAME) works: the token after `defined` is dropped and the next one is
        // taken as the name.
        {"#define FOO\n#if defined FOO FOO x\nyes\n#endif", "yes"},
        {"#define FOO\n#if defined FOO BAR x\nyes\n#endif", ""},
        // `defined` is an ordinary word outside #if.
        {"defined(X)", "defined ( X )"},
        // A macro's body is rescanned inside #if, `defined` included.
        {"#define FOO\n#define HAVE(x) defined(x)\n#if HAVE(FOO)\nyes\n#endif", "yes"},
    };
    for (const auto& [source, expected] : cases)
        EXPECT_EQ(expand(source), expected) << source;
    // A call inside a body can't take its arguments from the text after the body.
    EXPECT_EQ(error_of("#define F(x) x\n#define G F\nG(1)").number, 36u);
}

TEST(Ovrel_preprocessor, long_chains_of_macros_use_no_deep_recursion)
{
    std::string text = "#define M0 end\n";
    const int count = 100000;
    for (int i = 1; i <= count; ++i)
        text += "#define M" + std::to_string(i) + " M" + std::to_string(i - 1) + "\n";
    text += "M" + std::to_string(count);
    EXPECT_EQ(expand(text), "end");
}

TEST(Ovrel_preprocessor, runaway_expansion_stops_with_an_error)
{
    // Each level doubles: 2^30 tokens if nothing stopped it.
    std::string text = "#define A0 x\n";
    for (int i = 1; i <= 30; ++i)
        text += "#define A" + std::to_string(i) + " A" + std::to_string(i - 1) + " A" + std::to_string(i - 1) + "\n";
    text += "\n  A30";
    Error_record e = error_of(text);
    EXPECT_EQ(e.number, 55u);
    EXPECT_EQ(e.line, 33);
    EXPECT_EQ(e.column, 3);
    EXPECT_NE(e.text.find("A30"), std::string::npos) << e.text;
}

TEST(Ovrel_preprocessor, expanded_tokens_stand_at_the_call)
{
    Result r = preprocess("#define P(a) a + 1\n  y = P(\nz)\n  ;");
    ASSERT_FALSE(r.failed);
    ASSERT_EQ(r.text, "y = z + 1 ;");
    const int32_t expected[][2] = {{2, 3}, {2, 5}, {2, 7}, {2, 7}, {2, 7}, {4, 3}};
    for (size_t i = 0; i < r.tokens.size(); ++i) {
        EXPECT_EQ(r.tokens[i].line, expected[i][0]) << i;
        EXPECT_EQ(r.tokens[i].column, expected[i][1]) << i;
    }
    // Through nested macros too: everything stands at the outermost call.
    r = preprocess("#define A B B\n#define B 7\n\n   A");
    ASSERT_EQ(r.text, "7 7");
    for (const Kept_token& t : r.tokens) {
        EXPECT_EQ(t.line, 4);
        EXPECT_EQ(t.column, 4);
    }
}

TEST(Ovrel_preprocessor, definition_on_the_last_line_keeps_eof_out)
{
    std::string text = "x\n#define A 1 2";
    Ovrel_lexer lexer(text.data(), text.size(), "pp.ovl");
    Ovrel_preprocessor pp(lexer, "pp.ovl");
    EXPECT_EQ(pp.next_token().text, "x");
    EXPECT_EQ(pp.next_token().type, TOKEN_EOF);
    EXPECT_EQ(pp.next_token().type, TOKEN_EOF);
    Macro_table macros = pp.get_macros();
    const Macro* a = macros.find("A");
    ASSERT_NE(a, nullptr);
    ASSERT_NE(a->body, nullptr);
    ASSERT_EQ(a->body->tokens.size(), 2u);
    EXPECT_EQ(a->body->tokens[1].text, "2");
    EXPECT_EQ(expand("#define E"), "");
}

TEST(Ovrel_preprocessor, adjacent_strings_merge_everywhere)
{
    Result r = preprocess("x \"a\" \"b\"\n  \"c\" y");
    ASSERT_EQ(r.text, "x \"abc\" y");
    EXPECT_EQ(r.tokens[1].type, TOKEN_STRING_CONSTANT);
    EXPECT_EQ(r.tokens[1].line, 1);
    EXPECT_EQ(r.tokens[1].column, 3);
    EXPECT_EQ(expand("#define S \"x\" \"y\"\nS \"z\""), "\"xy\" \"z\"");
    EXPECT_EQ(expand("\"\" \"\""), "\"\"");
}

TEST(Ovrel_preprocessor, directives_only_at_the_start_of_a_line)
{
    Result r = preprocess("a # define X 1\nX");
    EXPECT_EQ(r.text, "a # define X 1 X");
    EXPECT_EQ(r.tokens[1].type, TOKEN_HASH);
    // "# include" reaches the parser as two tokens; the usual spelling is one token.
    r = preprocess("# include <x>\n#include <y.ovl>\n#import <z.ovl>");
    ASSERT_EQ(r.tokens.size(), 7u);
    EXPECT_EQ(r.tokens[0].type, TOKEN_HASH);
    EXPECT_EQ(r.tokens[1].text, "include");
    EXPECT_EQ(r.tokens[5].type, TOKEN_INCLUDE);
    EXPECT_EQ(r.tokens[6].type, TOKEN_IMPORT);
    // The main loop goes line by line: after a call whose arguments end on a later line, the
    // first token it sees there may start a directive.
    EXPECT_EQ(expand("#define F(a, b) a b\nF(1,\n2) #define X 9\nX"), "1 2 9");
}

TEST(Ovrel_preprocessor, if_expression_values)
{
    auto holds = [](const std::string& expression) {
        Result r = preprocess("#if " + expression + "\nyes\n#else\nno\n#endif");
        EXPECT_FALSE(r.failed) << expression;
        return r.text == "yes";
    };
    EXPECT_TRUE(holds("1"));
    EXPECT_FALSE(holds("0"));
    EXPECT_TRUE(holds("true"));
    EXPECT_FALSE(holds("false"));
    EXPECT_TRUE(holds("12L"));
    EXPECT_TRUE(holds("7 / 2 == 3"));
    EXPECT_TRUE(holds("-7 / 2 == -3"));  // truncation toward zero
    EXPECT_FALSE(holds("2 * 3 - 6"));
    EXPECT_TRUE(holds("1 < 2"));
    EXPECT_TRUE(holds("3 > 2"));
    EXPECT_FALSE(holds("5 != 5"));
    EXPECT_TRUE(holds("1 ? 2 : 0"));
    EXPECT_FALSE(holds("0 ? 2 : 0"));
    EXPECT_FALSE(holds("1 ^^ 1"));
    EXPECT_TRUE(holds("0 ^^ 5"));
    EXPECT_TRUE(holds("1 || 0 && 0"));
    EXPECT_FALSE(holds("(1 || 0) && 0"));
    EXPECT_TRUE(holds("-2147483647 - 1 < 0"));
    EXPECT_TRUE(holds("4294967297 == 1"));  // 32 bits, wrapping
    // Only the first character of the operator counts: <= is <, >= is >.
    EXPECT_FALSE(holds("1 <= 1"));
    EXPECT_FALSE(holds("2 >= 2"));
    EXPECT_TRUE(holds("1 <= 2"));
    // `!` leaves the value as it is.
    EXPECT_TRUE(holds("!1"));
    EXPECT_FALSE(holds("!0"));
    EXPECT_TRUE(holds("+3"));
}

TEST(Ovrel_preprocessor, if_failures_are_error_39)
{
    for (const char* expression : {"1/0", "FOO", "0x1", "01", "1.0", "1 ? 1 : 1/0", "", "1 +", "\"s\"", "x = 1"}) {
        SCOPED_TRACE(expression);
        Error_record e = error_of(std::string("\n#if ") + expression + "\n#endif");
        EXPECT_EQ(e.number, 39u);
        EXPECT_EQ(e.line, 2);
    }
    EXPECT_EQ(error_of("#if 0\n#elif FOO\n#endif").number, 39u);
    // No parser to hand the line to.
    Result r = preprocess("#if 1\n#endif", nullptr);
    ASSERT_TRUE(r.failed);
    EXPECT_EQ(r.diagnostics[0].number, 39u);
}

TEST(Ovrel_preprocessor, errors_34_to_40)
{
    struct Case {
        std::string text;
        uint32_t number;
        int32_t line;
        int32_t column;
        std::string word;
    };
    const std::vector<Case> cases = {
        {"x\n#else", 34, 2, 2, ""},
        {"#elif 1", 34, 1, 2, ""},
        {"#if 1\n#endif\n#else", 34, 3, 2, ""},
        {"\n #endif", 35, 2, 3, ""},
        {"#define F(a) a\nF x", 36, 2, 3, ""},      // not "("
        {"#define F(a) a\nF(1, 2)", 36, 2, 4, ""},  // "," after the last
        {"#define G(a, b) a\nG(1)", 36, 2, 4, ""},  // ")" too early
        {"#define F(a) a\nF(1", 36, 2, 4, ""},      // end of file
        {"#define F(a) a\nF", 36, 2, 2, ""},
        {"#define F(", 37, 1, 11, ""},
        {"#if 0\nx", 37, 2, 2, ""},
        {"#ifdef A\n#else\n#if 0\n", 37, 4, 1, ""},
        {"#define A (1+2)", 38, 1, 13, ""},
        {"#define F(a b) a", 38, 1, 13, ""},
        {"#define F(a", 38, 1, 12, ""},
        {"x\n  #warning y", 40, 2, 4, "warning"},
        {"#pragma once", 40, 1, 2, "pragma"},
        {"#", 40, 1, 2, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Error_record e = error_of(c.text);
        EXPECT_EQ(e.number, c.number);
        EXPECT_EQ(e.line, c.line);
        EXPECT_EQ(e.column, c.column);
        EXPECT_EQ(e.text, c.word);
    }
}

TEST(Ovrel_preprocessor, errors_stop_after_the_tokens_before_them)
{
    Result r = preprocess("a b\n#endif\nc");
    EXPECT_TRUE(r.failed);
    EXPECT_EQ(r.text, "a b");
    ASSERT_EQ(r.diagnostics.size(), 1u);
    EXPECT_EQ(r.diagnostics[0].number, 35u);
}

TEST(Ovrel_preprocessor, lexical_errors_pass_through)
{
    std::string text = "a\n#if 0\n&\n#endif";
    Ovrel_lexer lexer(text.data(), text.size(), "pp.ovl");
    Ovrel_preprocessor pp(lexer, "pp.ovl");
    EXPECT_EQ(pp.next_token().text, "a");
    EXPECT_THROW(pp.next_token(), Recognition_error);
}

TEST(Ovrel_preprocessor, macro_tables_copy_out_and_merge_in)
{
    Macro_table imported;
    {
        std::string text = "#define A 1\n#define B(x) x + A\n#define C old";
        Ovrel_lexer lexer(text.data(), text.size(), "lib.ovl");
        Ovrel_preprocessor pp(lexer, "lib.ovl");
        EXPECT_EQ(pp.next_token().type, TOKEN_EOF);
        imported = pp.get_macros();
        text.assign(text.size(), '?');  // the bodies must not depend on the source text
    }
    EXPECT_EQ(imported.size(), 3u);
    EXPECT_EQ(imported.bucket_count(), 101u);

    std::string text = "#define C mine\n#define D own\nC D B(2)";
    Ovrel_lexer lexer(text.data(), text.size(), "main.ovl");
    Ovrel_preprocessor pp(lexer, "main.ovl");
    pp.add_macros(imported);
    // Definitions read later replace merged ones of the same name.
    std::string out;
    for (Token t = pp.next_token(); t.type != TOKEN_EOF; t = pp.next_token())
        out += std::string(t.text) + " ";
    EXPECT_EQ(out, "mine own 2 + 1 ");

    // A merged macro replaces one already there.
    Ovrel_preprocessor other(lexer, "x.ovl");
    Macro_table table = pp.get_macros();
    other.add_macros(table);
    Macro_table one;
    one.insert("C").parameters = {"p"};
    other.add_macros(one);
    Macro_table merged = other.get_macros();
    ASSERT_NE(merged.find("C"), nullptr);
    EXPECT_EQ(merged.find("C")->parameters, std::vector<std::string>{"p"});
    EXPECT_EQ(merged.find("C")->body, nullptr);
    EXPECT_NE(merged.find("D"), nullptr);
}

TEST(Ovrel_preprocessor, deep_if_trees_evaluate_without_recursion)
{
    // The parser bounds the depth of what it builds; the evaluator doesn't rely on that.
    const int depth = 200000;
    auto deep_sum = [](const std::string&, Error_list&) {
        using namespace QZ::SYNTAX_TREE;
        File_name file = make_file_name("deep");
        St_node* tree = new St_node(NODE_INT_CONSTANT, file, "0");
        for (int i = 0; i < depth; ++i)
            tree = new St_node(NODE_ADDITIVE_EXPRESSION, file, i % 2 ? "-" : "+",
                               {tree, new St_node(NODE_INT_CONSTANT, file, "3")});
        return tree;
    };
    EXPECT_EQ(preprocess("#if x\nno\n#endif", deep_sum).text, "");  // 0 + 3 - 3 + ... = 0
    auto deep_negation = [](const std::string&, Error_list&) {
        using namespace QZ::SYNTAX_TREE;
        File_name file = make_file_name("deep");
        St_node* tree = new St_node(NODE_INT_CONSTANT, file, "5");
        for (int i = 0; i < depth + 1; ++i)
            tree = new St_node(NODE_UNARY_EXPRESSION, file, "-", {tree});
        return tree;
    };
    EXPECT_EQ(preprocess("#if x\nyes\n#endif", deep_negation).text, "yes");
    // Malformed trees (an operator short of operands) fail instead of reading past the end.
    auto short_tree = [](const std::string&, Error_list&) {
        using namespace QZ::SYNTAX_TREE;
        File_name file = make_file_name("short");
        return new St_node(NODE_ADDITIVE_EXPRESSION, file, "+", {new St_node(NODE_INT_CONSTANT, file, "1")});
    };
    Result r = preprocess("#if x\n#endif", short_tree);
    ASSERT_TRUE(r.failed);
    EXPECT_EQ(r.diagnostics[0].number, 39u);
    // A long chain through the real parser.
    std::string expression = "0";
    for (int i = 0; i < 1000; ++i)
        expression += "+1";
    EXPECT_EQ(expand("#if " + expression + " == 1000\nyes\n#endif"), "yes");
}

TEST(Ovrel_preprocessor, exception_text_is_the_diagnostic)
{
    std::string text = "x\n#pragma once";
    Ovrel_lexer lexer(text.data(), text.size(), "shaders/a.ovl");
    Ovrel_preprocessor pp(lexer, "shaders/a.ovl");
    EXPECT_EQ(pp.next_token().text, "x");
    try {
        pp.next_token();
        FAIL() << "no error";
    } catch (const Preprocessor_exception& e) {
        EXPECT_STREQ(e.what(), "Error in file 'shaders/a.ovl' line 2: unknown preprocessor directive \"pragma\"");
        EXPECT_EQ(e.file(), "shaders/a.ovl");
        EXPECT_EQ(pp.file_name(), "shaders/a.ovl");
    }
}

// Random and mutated inputs through lexer and preprocessor: only our own exceptions may come
// out, and every run must end.
TEST(Ovrel_preprocessor, survives_random_and_mutated_input)
{
    const std::vector<std::string> fragments = {
        "#define ", "#undef ", "#if ", "#ifdef ", "#ifndef ", "#else", "#elif ", "#endif", "#include <a>",
        "# include", "#import <b>", "#", "\\", "\n", "\r\n", "\r", " ", "\t", "(", ")", ",", "A", "B", "F",
        "F(", "G(x, y)", "defined", "defined(A)", "1", "0", "0x1f", "017", "1.5e3", ".5", "\"s\"", "\"t\" \"u\"",
        "//c\n", "/*c*/", "/*\n*/", "+", "-", "*", "/", "==", "<=", "!", "&&", "||", "^^", "?", ":", ";",
        "{", "}", "Scalar", "x", "A(", "B)", "#define F(a,b) a b\n", "#define A B A\n", "#define B A\n",
        "#if 1\n", "#if 0\n", "#else\n", "#endif\n", "%", "~", "'", "&", "\x01", "\xff",
    };
    const std::vector<std::string> seeds = {
        "#define F(a, b) a + b\n#if defined(F) && 2 > 1\nScalar x = F(1, (2, 3));\n#else\n#error\n#endif\n",
        "#define A(x) B(x) x\n#define B(y) A(y)\n#ifdef A\nA(1)\n#elif 1/0\n#endif\n\"a\" \"b\"\n",
        "shader S { Color c = Color(1, 0, 0, 1); // x\n /* y */ }\n#ifndef Q\n#define Q \\\n 1 \\\n 2\n#endif\n",
    };
    std::mt19937 random(20240611);
    auto pick = [&random](size_t n) { return static_cast<size_t>(random() % n); };

    size_t runs = 0;
    size_t own_errors = 0;
    auto started = std::chrono::steady_clock::now();
    for (int round = 0; round < 5000; ++round) {
        std::string input;
        if (round % 2 == 0) {
            size_t count = 1 + pick(40);
            for (size_t i = 0; i < count; ++i)
                input += fragments[pick(fragments.size())];
        } else {
            input = seeds[pick(seeds.size())];
            size_t edits = 1 + pick(6);
            for (size_t i = 0; i < edits && !input.empty(); ++i) {
                size_t at = pick(input.size());
                switch (pick(4)) {
                case 0: input.erase(at, 1 + pick(8)); break;
                case 1: input.insert(at, fragments[pick(fragments.size())]); break;
                case 2: input[at] = static_cast<char>(pick(256)); break;
                case 3: input.insert(at, input.substr(pick(input.size()), pick(30))); break;
                }
            }
        }
        Ovrel_lexer lexer(input.data(), input.size(), "fuzz.ovl");
        Ovrel_preprocessor pp(lexer, "fuzz.ovl");
        pp.set_expression_parser(parse_expression_for_tests);
        try {
            size_t tokens = 0;
            while (pp.next_token().type != TOKEN_EOF)
                ASSERT_LT(++tokens, 10u * Ovrel_preprocessor::EXPANSION_LIMIT) << input;
        } catch (const Recognition_error&) {
            ++own_errors;
        } catch (const Preprocessor_exception& e) {
            ++own_errors;
            EXPECT_EQ(pp.diagnostics().size(), 1u);
            EXPECT_EQ(pp.diagnostics()[0].number, e.record().number);
        }
        ++runs;
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    EXPECT_EQ(runs, 5000u);
    // Both kinds of outcome must be common, or the inputs test little.
    EXPECT_GT(own_errors, 500u);
    EXPECT_LT(own_errors, 4900u);
    RecordProperty("seconds", std::to_string(seconds));
}
