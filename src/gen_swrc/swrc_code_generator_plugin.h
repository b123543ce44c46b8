// The "Swrc" target: C++ source of a software shader and its declaration for the renderer, a
// software target.
#pragma once

#include "back12/code_generator.h"

namespace QZ {
namespace GEN_SWRC {

class Swrc_code_generator_plugin : public BACK12::Code_generator12_plugin {
public:
    const char* get_name() override { return "Swrc_code_generator_plugin"; }
    // Text 0 the C++ source, text 1 the declaration. Unlike the hardware targets it runs for a
    // unit without functions too, and gives a result with no texts.
    BACK12::Generated_shader* generate(SYNTAX_TREE::Compilation_unit* unit, COMPILER::Compile_options options) override;
    const char* get_target_name() override { return "Swrc"; }
    int32_t get_code_type() override { return 1; }
};

}  // namespace GEN_SWRC
}  // namespace QZ
