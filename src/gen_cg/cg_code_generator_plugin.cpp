#include "gen_cg/cg_code_generator_plugin.h"

#include <fstream>
#include <sstream>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "gen_cg/cg_code_generator.h"
#include "gen_cg/mod_gen_cg.h"
#include "system/mod_string.h"

namespace QZ {
namespace GEN_CG {

namespace {

// The whole file found through the "shader" path; false when it is not there or not readable.
bool read_main_file(const char* name, std::string& text)
{
    std::string path = SYSTEM::mod_string ? SYSTEM::mod_string->resolve_file("shader", name) : std::string();
    if (path.empty())
        return false;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return false;
    std::ostringstream whole;
    whole << file.rdbuf();
    text = whole.str();
    return !file.bad();
}

}  // namespace

BACK12::Generated_shader* Cg_code_generator_plugin::generate(SYNTAX_TREE::Compilation_unit* unit,
                                                             COMPILER::Compile_options options)
{
    BACK12::Generator_input input;
    if (!BACK12::build_generator_input(unit, options, input))
        return nullptr;
    std::string vertex_main;
    std::string fragment_main;
    if (options.complete_program) {
        if (!read_main_file("main_v.cg", vertex_main)) {
            log_error(LOG_MAIN_FILE_MISSING, "The main file for vertex program was not found");
            return nullptr;
        }
        if (!read_main_file("main_vorn_nimbal_f.cg", fragment_main)) {
            log_error(LOG_MAIN_FILE_MISSING, "The main file for fragment program was not found");
            return nullptr;
        }
    }
    Cg_code_generator generator(input, options);
    generator.generate();
    auto* result = new BACK12::Hardware_shader(get_target_name());
    if (options.complete_program) {
        result->add_vertex_program("main", vertex_main);
        result->add_fragment_program("main", fragment_main);
    }
    result->add_fragment_program(input.function_name, generator.get_text());
    return result;
}

}  // namespace GEN_CG
}  // namespace QZ
