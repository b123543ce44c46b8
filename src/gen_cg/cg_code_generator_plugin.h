// The "Cg" target: the generated struct, and with complete_program the renderer's main files, a
// hardware target.
#pragma once

#include "back12/code_generator.h"

namespace QZ {
namespace GEN_CG {

class Cg_code_generator_plugin : public BACK12::Code_generator12_plugin {
public:
    const char* get_name() override { return "Cg_code_generator_plugin"; }
    // With complete_program: vertex program "main_v.cg", fragment programs
    // "main_vorn_nimbal_f.cg" and the generated text; without it the generated text alone. Null
    // when the unit has no function or a main file is missing.
    BACK12::Generated_shader* generate(SYNTAX_TREE::Compilation_unit* unit, COMPILER::Compile_options options) override;
    const char* get_target_name() override { return "Cg"; }
    int32_t get_code_type() override { return 0; }
};

}  // namespace GEN_CG
}  // namespace QZ
