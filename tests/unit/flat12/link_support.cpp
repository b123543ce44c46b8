#include "unit/flat12/link_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "back12/generated_shader.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/source_printer.h"
#include "syntax_tree/tree_printer.h"

using namespace QZ;
using QZ::SYNTAX_TREE::Compilation_unit;

namespace link_test {

namespace {

std::string tree(const Compilation_unit& unit) { return SYNTAX_TREE::tree_text(unit.tree()); }

bool write(const std::string& path, const std::string* text)
{
    std::ofstream out(path, std::ios::binary);
    if (text)
        out << *text;
    return text && out.good();
}

COMPILER::Compile_options target_options(const std::string& target)
{
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    if (target == "FX")
        options.attributes["format"] = "HLSL";
    return options;
}

std::vector<std::string> program_texts(Compilation_unit* unit, const std::string& target)
{
    std::unique_ptr<BACK12::Generated_shader> shader(
        COMPILER::mod_compiler->generate_shader(unit, target.c_str(), target_options(target)));
    std::vector<std::string> texts;
    for (uint32_t i = 0; shader && i < shader->program_count(); ++i)
        texts.push_back(shader->program_text(i) ? *shader->program_text(i) : std::string("<null>"));
    return texts;
}

// The unit printed as source compiles again with no diagnostic and generates the same texts.
void expect_round_trip(Compilation_unit* unit, const std::string& name)
{
    std::string source;
    std::string error;
    ASSERT_TRUE(SYNTAX_TREE::print_source(unit->tree(), source, &error)) << name << ": " << error;
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> again(
        COMPILER::mod_compiler->compile_text("printed.ovl", source.c_str(), &errors));
    ASSERT_NE(again, nullptr) << name;
    for (const auto& found : errors)
        ADD_FAILURE() << name << ": " << SYNTAX_TREE::format_error(found, "printed.ovl") << "\n" << source;
    for (const auto& found : again->errors())
        ADD_FAILURE() << name << ": " << SYNTAX_TREE::format_error(found, "printed.ovl") << "\n" << source;
    for (const char* target : {"GL", "FX"}) {
        std::vector<std::string> linked = program_texts(unit, target);
        EXPECT_FALSE(linked.empty()) << name << " " << target;
        EXPECT_EQ(program_texts(again.get(), target), linked) << name << " " << target << " from\n" << source;
    }
}

}  // namespace

void expect_valid(Compilation_unit* unit, const std::string& name, const std::string& gl_prefix,
                  const std::string& fx_prefix)
{
    ASSERT_NE(unit, nullptr) << name;
    for (const auto& error : unit->errors())
        ADD_FAILURE() << name << ": " << SYNTAX_TREE::format_error(error, "__generated") << "\n" << tree(*unit);
    if (!unit->errors().empty())
        return;
    expect_round_trip(unit, name);
    std::string dir = vorn_test::make_temp_dir("linker_" + name);
    for (const char* target : {"GL", "FX"}) {
        std::vector<std::string> texts = program_texts(unit, target);
        ASSERT_FALSE(texts.empty()) << name << " " << target;
        if (std::string(target) == "GL") {
            ASSERT_EQ(texts.size(), 2u) << name;
            ASSERT_TRUE(write(dir + "/s.vert", &texts[0]));
            std::string fragment = gl_prefix + texts[1];
            ASSERT_TRUE(write(dir + "/s.frag", &fragment));
            for (const char* stage : {"vert", "frag"}) {
                std::string command = "glslangValidator -d " + dir + "/s." + stage + " >" + dir + "/" + stage + ".log 2>&1";
                EXPECT_EQ(std::system(command.c_str()), 0)
                    << name << " GL " << stage << ":\n" << vorn_test::read_file(dir + "/" + stage + ".log") << "\n"
                    << vorn_test::read_file(dir + "/s." + stage);
            }
            continue;
        }
        std::string effect = fx_prefix + texts[0];
        ASSERT_TRUE(write(dir + "/s.fx", &effect));
        std::string cut = "perl -0777 -pe 's/^technique .*?^\\}\\n//ms; s/^texture \\w+ <.*?^>;\\n//msg; "
                          "s/\\s*=\\s*sampler_state\\s*\\{.*?\\};/;/sg; s/\\b0f\\b/0.0f/g;' " +
                          dir + "/s.fx >" + dir + "/s.hlsl";
        ASSERT_EQ(std::system(cut.c_str()), 0);
        for (const char* stage : {"vert", "frag"}) {
            std::string entry = std::string(stage) == "vert" ? "vertex_main" : "fragment_main";
            std::string command = "glslangValidator -D -V --hlsl-dx9-compatible -S " + std::string(stage) + " -e " +
                                  entry + " -o " + dir + "/s." + stage + ".spv " + dir + "/s.hlsl >" + dir + "/fx." +
                                  stage + ".log 2>&1";
            EXPECT_EQ(std::system(command.c_str()), 0)
                << name << " FX " << stage << ":\n" << vorn_test::read_file(dir + "/fx." + stage + ".log") << "\n"
                << vorn_test::read_file(dir + "/s.hlsl");
        }
    }
}

}  // namespace link_test
