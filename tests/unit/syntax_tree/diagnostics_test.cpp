#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "front12/token.h"
#include "log/mod_log.h"
#include "support/test_support.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/st_node.h"

using namespace QZ::SYNTAX_TREE;

namespace {

Error_record record(uint32_t number, int32_t line, const std::string& text = std::string(), int32_t value = 0)
{
    Error_record error;
    error.number = number;
    error.line = line;
    error.text = text;
    error.value = value;
    return error;
}

}  // namespace

TEST(Diagnostics_format, file_line_text_and_value_fill_the_template_in_order)
{
    EXPECT_EQ(format_error(record(1, 3, "unexpected ';'"), "a.ovl"),
              "Error in file 'a.ovl' line 3: syntax error: unexpected ';'");
    EXPECT_EQ(format_error(record(3, 9, "", -2), "a.ovl"),
              "Error in file 'a.ovl' line 9: illegal array declaration with size = -2");
    EXPECT_EQ(format_error(record(29, 4, "weights", 3), "b.ovl"),
              "Error in file 'b.ovl' line 4: array initialization of variable \"weights\", array size of 3 does not "
              "match declared size");
    EXPECT_EQ(format_error(record(68, 1, "Color", 2), "c.ovl"),
              "Error in file 'c.ovl' line 1: Color: illegal constructor argument in position 2");
    EXPECT_EQ(format_error(record(40, 7, "foo"), "p.ovl"),
              "Error in file 'p.ovl' line 7: unknown preprocessor directive \"foo\"");
    EXPECT_EQ(format_error(record(37, 2), nullptr),
              "Error in file '' line 2: preprocessor encountered an unexpected end of file");
}

TEST(Diagnostics_format, open_failure_and_empty_graph_have_no_position)
{
    EXPECT_EQ(format_error(record(26, -1, "shaders/missing.ovl"), ""), "Unable to open file 'shaders/missing.ovl'.");
    EXPECT_EQ(format_error(record(26, -1), "missing.ovl"), "Unable to open file 'missing.ovl'.");
    EXPECT_EQ(format_error(record(53, -1), ""), "Empty xovl string, cannot be parsed");
}

TEST(Diagnostics_format, number_65_and_unknown_numbers_print_the_bare_prefix)
{
    EXPECT_EQ(format_error(record(65, 7, "ignored", 5), "f.ovl"), "Error in file 'f.ovl' line 7: ");
    EXPECT_EQ(format_error(record(0, 1), "f.ovl"), "Error in file 'f.ovl' line 1: ");
    EXPECT_EQ(format_error(record(75, 2), "f.ovl"), "Error in file 'f.ovl' line 2: ");
    EXPECT_EQ(format_error(record(100000, 3), "f.ovl"), "Error in file 'f.ovl' line 3: ");
    EXPECT_EQ(diagnostic_template(65), nullptr);
}

TEST(Diagnostics_format, number_70_chooses_its_form_by_value)
{
    EXPECT_EQ(format_error(record(70, 5, "operator+", 0), "g.ovl"),
              "Error in file 'g.ovl' line 5: operator+: illegal operator argument");
    EXPECT_EQ(format_error(record(70, 5, "operator+", 1), "g.ovl"),
              "Error in file 'g.ovl' line 5: operator+: illegal left operator argument");
    EXPECT_EQ(format_error(record(70, 5, "operator+", 2), "g.ovl"),
              "Error in file 'g.ovl' line 5: operator+: illegal right operator argument");
}

// A template out of step with its number would show as a message without the usual prefix.
TEST(Diagnostics_format, every_positioned_template_starts_with_the_position)
{
    const std::string prefix = "Error in file '%s' line %d: ";
    for (uint32_t number = 1; number <= LAST_DIAGNOSTIC; ++number) {
        const char* form = diagnostic_template(number);
        if (number == 26 || number == 53 || number == 65)
            continue;
        ASSERT_NE(form, nullptr) << number;
        EXPECT_EQ(std::string(form).compare(0, prefix.size(), prefix), 0) << number;
    }
}

TEST(Diagnostics_format, long_texts_are_cut_at_the_buffer_end)
{
    struct Guarded {
        char buffer[ERROR_TEXT_SIZE];
        char guard[32];
    } out;
    std::memset(out.guard, 0x5a, sizeof out.guard);
    std::string name(5000, 'n');
    size_t length = format_error(record(7, 12, name), "long.ovl", out.buffer);
    EXPECT_EQ(length, ERROR_TEXT_SIZE - 1);
    EXPECT_EQ(out.buffer[ERROR_TEXT_SIZE - 1], '\0');
    EXPECT_EQ(std::string(out.buffer).rfind("Error in file 'long.ovl' line 12: unknown variable: \"nnn", 0), 0u);
    for (char c : out.guard)
        EXPECT_EQ(c, 0x5a);

    // The file name itself may be the long part.
    std::string file(3000, 'f');
    std::string message = format_error(record(1, 1, "x"), file.c_str());
    EXPECT_EQ(message.size(), ERROR_TEXT_SIZE - 1);
    EXPECT_EQ(message.back(), 'f');
}

TEST(Diagnostics_records, built_from_a_node_or_a_token)
{
    QZ::SYNTAX_TREE::St_node node(NODE_VARIABLE_ID, make_file_name("n.ovl"), 8, 3, "x", -1, 5);
    Error_record from_node = make_error(node, 7, "x");
    EXPECT_EQ(from_node.line, 8);
    EXPECT_EQ(from_node.column, 3);
    EXPECT_EQ(from_node.extra_position, 5);
    EXPECT_EQ(from_node.number, 7u);
    EXPECT_EQ(format_error(from_node, node.file_name()), "Error in file 'n.ovl' line 8: unknown variable: \"x\"");

    QZ::FRONT12::Token token;
    token.type = QZ::FRONT12::TOKEN_SEMICOLON;
    token.line = 4;
    token.column = 10;
    token.text = ";";
    Error_record from_token = make_error(token, 1, "unexpected ';'");
    EXPECT_EQ(from_token.line, 4);
    EXPECT_EQ(from_token.column, 10);
    EXPECT_EQ(from_token.extra_position, -1);
    EXPECT_EQ(from_token.value, 0);
}

TEST(Diagnostics_log, logs_the_message_at_error_level)
{
    vorn_test::Log_capture capture;
    log_error(record(11, 6, "lerp"), "l.ovl");
    ASSERT_EQ(capture.lines().size(), 1u);
    const auto& line = capture.lines()[0];
    EXPECT_EQ(line.module, 55);
    EXPECT_EQ(line.category, QZ::LOG::CAT_PLUG);
    EXPECT_EQ(line.severity, QZ::LOG::SEV_ERROR);
    EXPECT_EQ(line.text, "Error in file 'l.ovl' line 6: unknown function: \"lerp\"");
}
