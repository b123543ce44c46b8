#include "gen_gl/gl_code_generator_plugin.h"

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "gen_gl/gl_code_generator.h"

namespace QZ {
namespace GEN_GL {

BACK12::Generated_shader* Gl_code_generator_plugin::generate(SYNTAX_TREE::Compilation_unit* unit,
                                                             COMPILER::Compile_options options)
{
    BACK12::Generator_input input;
    if (!BACK12::build_generator_input(unit, options, input))
        return nullptr;
    Gl_code_generator generator(input, options);
    generator.generate();
    auto* result = new BACK12::Hardware_shader(get_target_name());
    result->add_vertex_program("main", generator.vertex_text());
    result->add_fragment_program("main", generator.get_text());
    return result;
}

}  // namespace GEN_GL
}  // namespace QZ
