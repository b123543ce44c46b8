#include "gen_swrc/swrc_code_generator_plugin.h"

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "gen_swrc/swrc_code_generator.h"

namespace QZ {
namespace GEN_SWRC {

BACK12::Generated_shader* Swrc_code_generator_plugin::generate(SYNTAX_TREE::Compilation_unit* unit,
                                                               COMPILER::Compile_options options)
{
    BACK12::Generator_input input;
    BACK12::build_generator_input(unit, options, input);
    Swrc_code_generator generator(input, options);
    generator.generate();
    auto* result = new BACK12::Software_shader(get_target_name());
    // An empty text is not added: a unit without a function gives a result with no programs.
    std::string source = generator.get_text();
    if (!source.empty())
        result->add_program(input.function_name, source);
    if (!generator.declaration_text().empty())
        result->add_program(input.function_name, generator.declaration_text());
    return result;
}

}  // namespace GEN_SWRC
}  // namespace QZ
