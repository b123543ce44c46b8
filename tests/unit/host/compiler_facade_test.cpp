#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/compiler_facade.h"
#include "log/mod_log.h"
#include "support/test_support.h"

using namespace QZ::HOST;

namespace {

template <typename T>
struct Released {
    T* object;
    explicit Released(T* o) : object(o) {}
    ~Released()
    {
        if (object)
            object->release();
    }
    T* operator->() { return object; }
};

}  // namespace

TEST(Compiler_options, shader_type_words)
{
    Released<Compiler_options_wrapper> options(new Compiler_options_wrapper);
    EXPECT_EQ(options->get_option("shader_type"), nullptr);
    options->set_option("shader_type", "surface");
    EXPECT_STREQ(options->get_option("shader_type"), "surface");
    EXPECT_EQ(options->options().shader_type, 1);
    options->set_option("shader_type", "volume");
    EXPECT_EQ(options->options().shader_type, 4);
    EXPECT_TRUE(options->option_equals("shader_type", "volume"));
}

TEST(Compiler_options, unknown_shader_type_is_kept_as_text)
{
    Released<Compiler_options_wrapper> options(new Compiler_options_wrapper);
    options->set_option("shader_type", "mesh");
    EXPECT_STREQ(options->get_option("shader_type"), "mesh");
    EXPECT_EQ(options->options().shader_type, 0);
}

TEST(Compiler_options, names_and_other_keys)
{
    Released<Compiler_options_wrapper> options(new Compiler_options_wrapper);
    EXPECT_STREQ(options->get_option("shader_name"), "");
    options->set_option("shader_name", "Phong");
    options->set_option("primary_output", nullptr);
    EXPECT_STREQ(options->get_option("shader_name"), "Phong");
    EXPECT_STREQ(options->get_option("primary_output"), "");
    EXPECT_EQ(options->options().attributes.count("shader_name"), 0u);

    options->set_option("format", "HLSL");
    EXPECT_TRUE(options->option_equals("format", "HLSL"));
    EXPECT_FALSE(options->option_equals("format", "hlsl"));
    options->set_option("two_sided", "True");
    EXPECT_FALSE(options->option_equals("two_sided", "true"));
    options->set_option("format", "");
    EXPECT_EQ(options->get_option("format"), nullptr);
    options->set_option("two_sided", nullptr);
    EXPECT_EQ(options->get_option("two_sided"), nullptr);
    options->set_option(nullptr, "x");
    options->set_option("", "x");
    EXPECT_TRUE(options->options().attributes.empty());
    EXPECT_EQ(options->get_option(nullptr), nullptr);
    EXPECT_FALSE(options->option_equals("format", nullptr));
}

TEST(Compiler_errors, indexes_run_over_all_lists_and_format_with_their_file)
{
    Released<Compiler_errors_wrapper> errors(new Compiler_errors_wrapper);
    QZ::SYNTAX_TREE::Error_record missing;
    missing.number = 26;
    missing.text = "a.ovl";
    QZ::SYNTAX_TREE::Error_record unknown;
    unknown.number = 7;
    unknown.line = 3;
    unknown.column = 9;
    unknown.extra_position = 12;
    unknown.text = "x";
    errors->add_list("first.ovl", {missing});
    errors->add_list("second.ovl", {unknown, unknown});
    EXPECT_EQ(errors->get_count(), 3u);
    EXPECT_EQ(errors->get_error_number(0), 26u);
    EXPECT_EQ(errors->get_error_number(2), 7u);
    EXPECT_EQ(errors->get_line(1), 3);
    EXPECT_EQ(errors->get_column(1), 9);
    EXPECT_EQ(errors->get_extra_position(1), 12);

    std::string expected = "Error in file 'second.ovl' line 3: unknown variable: \"x\"";
    EXPECT_EQ(errors->get_message_length(1), expected.size());
    char buffer[256];
    errors->get_message(1, buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer), expected);
    errors->get_message(0, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "Unable to open file 'a.ovl'.");

    // A small buffer takes what fits and ends in a zero byte; size 1 gives the empty text.
    errors->get_message(1, buffer, 6);
    EXPECT_STREQ(buffer, "Error");
    buffer[0] = 'x';
    errors->get_message(1, buffer, 1);
    EXPECT_STREQ(buffer, "");
    errors->get_message(1, nullptr, 10);
    errors->get_message(1, buffer, 0);
}

TEST(Compiler_errors, index_past_the_end_reads_as_an_empty_record)
{
    Released<Compiler_errors_wrapper> errors(new Compiler_errors_wrapper);
    EXPECT_EQ(errors->get_count(), 0u);
    EXPECT_EQ(errors->get_error_number(5), 0u);
    EXPECT_EQ(errors->get_line(5), -1);
    EXPECT_EQ(errors->get_column(5), -1);
    EXPECT_EQ(errors->get_extra_position(5), -1);
    char buffer[64];
    errors->get_message(5, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "Error in file '' line -1: ");
    EXPECT_EQ(errors->get_internal(), static_cast<void*>(errors.object));
}

TEST(Compiler_facade, interface_ids)
{
    Released<Vorn_compiler_impl> compiler(new Vorn_compiler_impl);
    EXPECT_EQ(compiler->get_internal(), nullptr);
    EXPECT_EQ(compiler->get_interface(0), nullptr);
    vorn::Interface* self = compiler->get_interface(vorn::IID_VORN_COMPILER);
    EXPECT_EQ(self, static_cast<vorn::Interface*>(compiler.object));
    self->release();
    auto* log = static_cast<vorn::ILog*>(compiler->get_interface(vorn::IID_LOG));
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(log->get_internal(), static_cast<void*>(QZ::LOG::mod_log));
    vorn_test::Log_capture capture;
    log->info("%d apples", 3);
    log->warning("w%s", "x");
    log->error("e");
    ASSERT_EQ(capture.lines().size(), 3u);
    EXPECT_EQ(capture.lines()[0].text, "3 apples");
    EXPECT_EQ(capture.lines()[0].module, 55);
    EXPECT_EQ(capture.lines()[1].code, 1);
    EXPECT_EQ(capture.lines()[2].code, 6);
    log->release();
}

TEST(Compiler_facade, missing_file_fills_the_collector)
{
    Released<Vorn_compiler_impl> compiler(new Vorn_compiler_impl);
    auto* errors = static_cast<Compiler_errors_wrapper*>(compiler->create_errors());
    vorn_test::Log_capture capture;
    EXPECT_EQ(compiler->compile_file("no/such.ovl", errors), nullptr);
    EXPECT_EQ(errors->get_count(), 1u);
    EXPECT_EQ(errors->get_error_number(0), 26u);
    ASSERT_EQ(errors->lists().size(), 1u);
    EXPECT_EQ(errors->lists()[0].file_name, "no/such.ovl");
    // A second compile empties the collector first.
    EXPECT_EQ(compiler->compile_file("no/other.ovl", errors), nullptr);
    EXPECT_EQ(errors->get_count(), 1u);
    EXPECT_EQ(compiler->compile_file("no/such.ovl", nullptr), nullptr);
    EXPECT_EQ(compiler->compile_file(nullptr, errors), nullptr);
    errors->release();
}

TEST(Compiler_facade, light_names)
{
    EXPECT_EQ(split_light_names("a, b,,c"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(split_light_names(",  x ,"), (std::vector<std::string>{"x "}));
    EXPECT_TRUE(split_light_names("").empty());
    EXPECT_TRUE(split_light_names(nullptr).empty());
}
