#include <gtest/gtest.h>

#include <fstream>
#include <memory>

#include "front12/mod_front12.h"
#include "support/test_support.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"
#include "system/mod_string.h"

using QZ::FRONT12::mod_front12;
using QZ::SYNTAX_TREE::Error_list;
using QZ::SYNTAX_TREE::St_node;

namespace {

void write(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

std::unique_ptr<St_node> parse(const std::string& text, Error_list* errors = nullptr, const char* name = "test.ovl")
{
    return std::unique_ptr<St_node>(mod_front12->parse(text.c_str(), name, errors));
}

// Text of the first INIT_IDENTIFIER's initialiser in a one-declaration file.
std::string initialiser_text(const St_node* list)
{
    const St_node* init = list->first_child->child(1)->first_child;
    const St_node* value = init->first_child;
    return value ? std::string(value->text_view()) : std::string();
}

}  // namespace

TEST(Front_end, prelude_macros_are_defined_in_every_file_and_undef_stays_local)
{
    auto tree = parse("Scalar x = PI;");
    ASSERT_TRUE(tree);
    EXPECT_EQ(initialiser_text(tree.get()), "3.14159265358979323846f");

    tree = parse("#undef PI\nScalar x = PI;");
    ASSERT_TRUE(tree);
    EXPECT_EQ(initialiser_text(tree.get()), "PI");
    tree = parse("Scalar y = TWO_PI;");
    ASSERT_TRUE(tree);
    EXPECT_EQ(initialiser_text(tree.get()), "6.28318530717958647692f");
}

TEST(Front_end, prelude_is_parsed_once_and_holds_the_builtin_types)
{
    const St_node* prelude = mod_front12->prelude();
    ASSERT_NE(prelude, nullptr);
    parse("Scalar a;");
    parse("Scalar b;");
    EXPECT_EQ(mod_front12->prelude_parse_count(), 1);
    // The illumination prototype comes first, the built-in struct types after it; the built-in
    // functions are made from their table when a unit first names them.
    ASSERT_NE(prelude->first_child, nullptr);
    EXPECT_EQ(prelude->first_child->kind, QZ::SYNTAX_TREE::NODE_FUNCTION_DECLARATION);
    EXPECT_STREQ(prelude->first_child->file_name(), "stdlib.ovl");
    int structs = 0;
    for (const St_node* node = prelude->first_child->next_sibling; node; node = node->next_sibling) {
        EXPECT_EQ(node->kind, QZ::SYNTAX_TREE::NODE_CLASS_DECLARATION);
        EXPECT_STREQ(node->file_name(), "stdlib.ovl");
        ++structs;
    }
    EXPECT_GT(structs, 16);  // the samplers and the library's structs
}

TEST(Front_end, errors_give_no_tree)
{
    Error_list errors;
    EXPECT_FALSE(parse("Scalar x = ;", &errors));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, 1u);
    EXPECT_FALSE(parse("Scalar x = ;", nullptr));

    errors.clear();
    vorn_test::Log_capture capture;
    EXPECT_FALSE(parse("#endif\nScalar x;", &errors));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, 35u);
    // Preprocessor errors go to the caller's list, or to the log when there is none, never to
    // both: a caller that prints its list showed each one twice.
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_FALSE(parse("#endif\nScalar x;", nullptr));
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "Error in file 'test.ovl' line 1: unexpected #endif");
}

TEST(Front_end, include_is_textual_and_carries_macros_both_ways)
{
    std::string dir = vorn_test::make_temp_dir("front_include");
    write(dir + "/inc.ovl", "#ifndef GUARD\n#define GUARD\nScalar from_include = OUTER;\n#define INNER 7\n#endif\n");
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    auto tree = parse("#define OUTER 3\n#include <inc.ovl>\n#include <inc.ovl>\nInt after = INNER;");
    ASSERT_TRUE(tree);
    ASSERT_EQ(tree->child_count(), 2);  // the guard holds the second inclusion back
    EXPECT_STREQ(tree->first_child->file_name(), "inc.ovl");
    EXPECT_EQ(initialiser_text(tree.get()), "3");
    EXPECT_EQ(std::string(tree->child(1)->child(1)->first_child->first_child->text_view()), "7");
}

TEST(Front_end, include_without_a_guard_gives_two_copies)
{
    std::string dir = vorn_test::make_temp_dir("front_include_twice");
    write(dir + "/inc.ovl", "Scalar twice;\n");
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    auto tree = parse("#include <inc.ovl>\n#include <inc.ovl>\n");
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->child_count(), 2);
}

TEST(Front_end, included_errors_are_only_warnings)
{
    std::string dir = vorn_test::make_temp_dir("front_include_errors");
    write(dir + "/bad.ovl", "Scalar = ;\n");
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    vorn_test::Log_capture capture;
    Error_list errors;
    auto tree = parse("#include <bad.ovl>\nScalar ok;", &errors);
    ASSERT_TRUE(tree);
    EXPECT_TRUE(errors.empty());
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].severity, QZ::LOG::SEV_WARN);
    EXPECT_EQ(capture.lines()[0].text.rfind("Error in file 'bad.ovl' line 1: syntax error: ", 0), 0u);
}

TEST(Front_end, missing_include_and_stdlib_include)
{
    vorn_test::Log_capture capture;
    auto tree = parse("#include <stdlib.ovl>\n#include <nowhere.ovl>\nScalar ok;");
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->child_count(), 1);
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[0].text,
              "Explicit inclusion of stdlib.ovl will be ignored(stdlib.ovl is automatically included).");
    EXPECT_EQ(capture.lines()[1].text, "Unable to open source file: nowhere.ovl");
}

TEST(Front_end, a_file_that_includes_itself_ends)
{
    std::string dir = vorn_test::make_temp_dir("front_include_self");
    write(dir + "/self.ovl", "#include <self.ovl>\nScalar s;\n");
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    vorn_test::Log_capture capture;
    // With an error at the directive, not with 64 copies of the declaration.
    EXPECT_FALSE(parse("#include <self.ovl>\n"));
    EXPECT_TRUE(capture.contains("Error in file 'test.ovl' line 1: files are included more than 64 levels deep "
                                 "through \"self.ovl\""));
}

TEST(Front_end, includes_are_found_next_to_the_including_file_first)
{
    std::string dir = vorn_test::make_temp_dir("front_include_beside");
    std::string other = vorn_test::make_temp_dir("front_include_beside_other");
    write(dir + "/near.ovl", "Scalar near_one;\n");
    write(other + "/near.ovl", "Scalar far_one;\n");
    QZ::SYSTEM::mod_string->set_path(2, "shader", other.c_str());
    auto tree = parse("#include <near.ovl>\n", nullptr, (dir + "/main.ovl").c_str());
    ASSERT_TRUE(tree);
    EXPECT_EQ(std::string(tree->first_child->child(1)->first_child->text_view()), "near_one");
}

TEST(Front_end, plugin_identity)
{
    QZ::FRONT12::Parser12_plugin& parser = mod_front12->parser();
    EXPECT_STREQ(parser.get_name(), "Parser_ovrel_12");
    EXPECT_STREQ(parser.get_type(), "Parser12_plugin");
    EXPECT_STREQ(parser.get_language(), "ovrel 1/2");
    EXPECT_TRUE(mod_front12->has_parser());
}
