#include <gtest/gtest.h>

#include "compiler/mod_compiler.h"
#include "front12/mod_front12.h"
#include "support/test_support.h"
#include "system/mod_string.h"

using QZ::COMPILER::mod_compiler;
using QZ::SYNTAX_TREE::Error_list;

TEST(Compile_driver, missing_file_gives_error_26_and_one_log_line)
{
    vorn_test::Log_capture capture;
    Error_list errors;
    EXPECT_EQ(mod_compiler->compile_file("no/such/file.ovl", &errors), nullptr);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].number, 26u);
    EXPECT_EQ(errors[0].text, "no/such/file.ovl");
    EXPECT_EQ(errors[0].line, -1);
    EXPECT_EQ(errors[0].column, -1);
    EXPECT_EQ(errors[0].extra_position, -1);
    EXPECT_EQ(errors[0].value, 0);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "Unable to open source file: no/such/file.ovl");
    EXPECT_EQ(capture.lines()[0].severity, QZ::LOG::SEV_ERROR);
}

TEST(Compile_driver, missing_file_without_a_collector)
{
    vorn_test::Log_capture capture;
    EXPECT_EQ(mod_compiler->compile_file("no/such/file.ovl", nullptr), nullptr);
    EXPECT_EQ(mod_compiler->compile_file(nullptr, nullptr), nullptr);
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(Compile_driver, source_files_are_read_through_the_shader_path)
{
    std::string dir = vorn_test::make_temp_dir("driver_read");
    {
        FILE* file = std::fopen((dir + "/sub.ovl").c_str(), "wb");
        ASSERT_NE(file, nullptr);
        std::fputs("Scalar x;\n", file);
        std::fclose(file);
    }
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    char* text = QZ::FRONT12::mod_front12->read_source_file("sub.ovl");
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "Scalar x;\n");
    delete[] text;
}

TEST(Compile_options, boolean_attributes_are_true_only_for_the_exact_text)
{
    QZ::COMPILER::Compile_options options;
    EXPECT_EQ(options.shader_type, 0);
    EXPECT_EQ(options.complete_program, 0);
    options.attributes["two_sided"] = "True";
    options.attributes["swap"] = "true";
    EXPECT_FALSE(options.attribute_equals("two_sided", "true"));
    EXPECT_TRUE(options.attribute_equals("swap", "true"));
    EXPECT_FALSE(options.attribute_equals("missing", "true"));
    EXPECT_EQ(options.get_attribute("missing"), nullptr);
}
