// The host's reading of generated text, and the option record as generators read it.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "host/compiler_facade.h"
#include "host/generated_shader_wrapper.h"
#include "host/unit_facade.h"
#include "plug/mod_plug.h"
#include "syntax_tree/compilation_unit.h"

using namespace QZ;
using QZ::HOST::Generated_shader_wrapper;

namespace {

Generated_shader_wrapper* hardware_wrapper()
{
    auto* shader = new BACK12::Hardware_shader("Hard");
    shader->add_vertex_program("vs", "vertex text");
    shader->add_fragment_program("ps", "frag");
    shader->add_fragment_program("ps2", "");
    return new Generated_shader_wrapper(shader);
}

}  // namespace

TEST(Back12_generated_shader_wrapper, programs_are_vertex_then_fragment)
{
    Generated_shader_wrapper* wrapper = hardware_wrapper();
    EXPECT_STREQ(wrapper->get_target(), "Hard");
    ASSERT_EQ(wrapper->get_program_count(), 3u);
    EXPECT_STREQ(wrapper->get_entry_name(0), "vs");
    EXPECT_STREQ(wrapper->get_entry_name(1), "ps");
    EXPECT_STREQ(wrapper->get_entry_name(2), "ps2");
    EXPECT_EQ(wrapper->get_entry_name(3), nullptr);
    // Sizes count the terminating zero.
    EXPECT_EQ(wrapper->get_program_size(0), 12u);
    EXPECT_EQ(wrapper->get_program_size(1), 5u);
    EXPECT_EQ(wrapper->get_program_size(2), 1u);
    EXPECT_EQ(wrapper->get_program_size(3), 0u);
    char buffer[32];
    wrapper->copy_program(1, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "frag");
    wrapper->release();
}

TEST(Back12_generated_shader_wrapper, copy_takes_at_most_the_size_given)
{
    Generated_shader_wrapper* wrapper = hardware_wrapper();
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    wrapper->copy_program(0, buffer, 4);
    EXPECT_EQ(std::string(buffer, 8), "vert####");
    std::memset(buffer, '#', sizeof buffer);
    wrapper->copy_program(1, buffer, 5);
    EXPECT_EQ(std::string(buffer, 6), std::string("frag\0#", 6));
    // Out of range: the empty text.
    std::memset(buffer, '#', sizeof buffer);
    wrapper->copy_program(7, buffer, sizeof buffer);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '#');
    wrapper->copy_program(0, buffer, 0);
    wrapper->copy_program(0, nullptr, 8);
    wrapper->release();
}

TEST(Back12_generated_shader_wrapper, software_programs_by_index)
{
    auto* shader = new BACK12::Software_shader("Swrc");
    shader->add_program("a.cpp", "int a;");
    auto* wrapper = new Generated_shader_wrapper(shader);
    EXPECT_EQ(wrapper->get_program_count(), 1u);
    EXPECT_STREQ(wrapper->get_entry_name(0), "a.cpp");
    EXPECT_EQ(wrapper->get_program_size(0), 7u);
    EXPECT_EQ(wrapper->get_internal(), shader);
    EXPECT_EQ(wrapper->get_interface(vorn::IID_GENERATED_SHADER), wrapper);
    wrapper->release();
    wrapper->release();
}

TEST(Back12_generated_shader_wrapper, unit_generate_reaches_the_dispatch)
{
    ASSERT_TRUE(PLUG::mod_plug->load_library(
        (std::string(VORN_TEST_BINARY_DIR) + "/plugins/test_generator_set.so").c_str()));
    SYNTAX_TREE::Error_list errors;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(COMPILER::mod_compiler->compile_text(
        "wired.ovl", "shader W { output: Color r; void main() { r = Color(0,0,0,1); } };\n", &errors));
    ASSERT_TRUE(unit);
    auto* unit_wrapper = new HOST::Compilation_unit_wrapper(unit);
    auto* options = new HOST::Compiler_options_wrapper;
    options->set_option("greeting", "hi");

    vorn::IGenerated_shader* shader = unit_wrapper->generate("Hard", options);
    ASSERT_NE(shader, nullptr);
    EXPECT_STREQ(shader->get_target(), "Hard");
    EXPECT_EQ(shader->get_program_count(), 2u);
    std::string expected = "fragment shaders=1 first=W greeting=hi type=(none)";
    EXPECT_EQ(shader->get_program_size(1), expected.size() + 1);
    std::string text(expected.size() + 1, '#');
    shader->copy_program(1, &text[0], uint32_t(text.size()));
    EXPECT_EQ(text, expected + '\0');
    shader->release();

    // Without options the default record; an unknown target gives null.
    vorn::IGenerated_shader* plain = unit_wrapper->generate("Hard", nullptr);
    ASSERT_NE(plain, nullptr);
    plain->release();
    EXPECT_EQ(unit_wrapper->generate("hard", options), nullptr);
    options->release();
    unit_wrapper->release();
}

TEST(Back12_options, boolean_options_are_true_only_for_the_exact_word)
{
    COMPILER::Compile_options options;
    options.attributes["a"] = "true";
    options.attributes["b"] = "True";
    options.attributes["c"] = "1";
    options.attributes["d"] = "False";
    EXPECT_TRUE(options.attribute_equals("a", "true"));
    EXPECT_FALSE(options.attribute_equals("b", "true"));
    EXPECT_FALSE(options.attribute_equals("c", "true"));
    EXPECT_FALSE(options.attribute_equals("missing", "true"));
    // An option that is on unless it says "false": "False" keeps it on.
    EXPECT_FALSE(options.attribute_equals("d", "false"));
    EXPECT_FALSE(options.attribute_equals("a", nullptr));
}

TEST(Back12_options, attribute_names_are_case_sensitive)
{
    COMPILER::Compile_options options;
    options.attributes["Format"] = "HLSL";
    EXPECT_EQ(options.get_attribute("format"), nullptr);
    EXPECT_STREQ(options.get_attribute("Format"), "HLSL");
    EXPECT_EQ(options.get_attribute(""), nullptr);
}
