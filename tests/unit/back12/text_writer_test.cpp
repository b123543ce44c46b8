#include <gtest/gtest.h>

#include <string>

#include "back12/text_writer.h"

using QZ::BACK12::Text_writer;

TEST(Back12_text_writer, braces_drive_tab_indentation)
{
    Text_writer out;
    out.print("struct %s {\n", "S");
    out.print("float %s;\n", "x");
    out.write("if (a) {\nb = 1;\n}\n");
    out.write("};\n\n");
    out.print("%s", "done\n");
    EXPECT_EQ(out.text(), "struct S {\n\tfloat x;\n\tif (a) {\n\t\tb = 1;\n\t}\n};\n\ndone\n");
    EXPECT_EQ(out.depth(), 0);
}

TEST(Back12_text_writer, lines_are_indented_when_they_start_not_when_they_end)
{
    Text_writer out;
    out.write("{\n");
    out.write("a");
    out.write("b\n");
    out.write("\n");  // an empty line takes no tabs
    out.write("x = {1, 2};\n");  // braces closing on their own line keep the level
    out.write("}\n");
    EXPECT_EQ(out.text(), "{\n\tab\n\n\tx = {1, 2};\n}\n");
}

TEST(Back12_text_writer, explicit_indent_and_verbatim_blocks)
{
    Text_writer out;
    out.indent();
    out.write("a\n");
    out.write_verbatim("  fixed {\n");
    out.write("b\n");  // the verbatim brace did not count
    out.unindent();
    out.write("c\n");
    EXPECT_EQ(out.text(), "\ta\n  fixed {\n\tb\nc\n");
}

TEST(Back12_text_writer, long_text_is_retried_past_the_first_buffer)
{
    for (size_t length : {2046u, 2047u, 2048u, 2049u, 100000u}) {
        Text_writer out;
        std::string long_text(length, 'x');
        out.print("<%s>", long_text.c_str());
        EXPECT_EQ(out.text(), "<" + long_text + ">") << length;
    }
}

TEST(Back12_text_writer, unbalanced_closing_braces_stay_at_depth_zero)
{
    Text_writer out;
    out.write("}\n");
    out.write("a } b\n");
    out.write("{\n");
    out.write("c\n");
    EXPECT_EQ(out.unbalanced_closings(), 2);
    EXPECT_EQ(out.text(), "}\na } b\n{\n\tc\n");
    out.clear();
    EXPECT_EQ(out.unbalanced_closings(), 0);
    EXPECT_EQ(out.depth(), 0);
    EXPECT_EQ(out.text(), "");
}

TEST(Back12_text_writer, take_text_leaves_a_fresh_writer)
{
    Text_writer out;
    out.write("{\nx\n");
    EXPECT_EQ(out.take_text(), "{\n\tx\n");
    out.write("y\n");
    EXPECT_EQ(out.text(), "y\n");
}
