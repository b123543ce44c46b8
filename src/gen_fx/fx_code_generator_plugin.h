// The "FX" target: effect files, a hardware target.
#pragma once

#include "back12/code_generator.h"

namespace QZ {
namespace GEN_FX {

class Fx_code_generator_plugin : public BACK12::Code_generator12_plugin {
public:
    const char* get_name() override { return "Fx_code_generator_plugin"; }
    // The effect file is the one fragment program; there is no vertex program text of its own.
    // Null when the unit has no function to generate.
    BACK12::Generated_shader* generate(SYNTAX_TREE::Compilation_unit* unit, COMPILER::Compile_options options) override;
    const char* get_target_name() override { return "FX"; }
    int32_t get_code_type() override { return 0; }
};

}  // namespace GEN_FX
}  // namespace QZ
