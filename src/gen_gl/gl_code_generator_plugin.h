// The "GL" target: a vertex and a fragment text, a hardware target.
#pragma once

#include "back12/code_generator.h"

namespace QZ {
namespace GEN_GL {

class Gl_code_generator_plugin : public BACK12::Code_generator12_plugin {
public:
    const char* get_name() override { return "Gl_code_generator_plugin"; }
    // One vertex program and one fragment program, each with the entry "main". Null when the
    // unit has no function to generate.
    BACK12::Generated_shader* generate(SYNTAX_TREE::Compilation_unit* unit, COMPILER::Compile_options options) override;
    const char* get_target_name() override { return "GL"; }
    int32_t get_code_type() override { return 0; }
};

}  // namespace GEN_GL
}  // namespace QZ
