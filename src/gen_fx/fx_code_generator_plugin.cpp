#include "gen_fx/fx_code_generator_plugin.h"

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "gen_fx/fx_code_generator.h"

namespace QZ {
namespace GEN_FX {

BACK12::Generated_shader* Fx_code_generator_plugin::generate(SYNTAX_TREE::Compilation_unit* unit,
                                                             COMPILER::Compile_options options)
{
    BACK12::Generator_input input;
    if (!BACK12::build_generator_input(unit, options, input))
        return nullptr;
    Fx_code_generator generator(input, options);
    generator.generate();
    auto* result = new BACK12::Hardware_shader(get_target_name());
    result->add_fragment_program(generator.fragment_entry(), generator.get_text());
    return result;
}

}  // namespace GEN_FX
}  // namespace QZ
