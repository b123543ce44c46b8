// Warm compile plus generation, as a host does for one example and one target: the source is
// compiled into a unit and the unit's text generated through the target's dispatch, each
// iteration. Every example and every target; the library runs and the prelude is loaded first.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "back12/generated_shader.h"
#include "bench_support.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "syntax_tree/compilation_unit.h"
#include "system/mod_string.h"

namespace {

std::string read_example(const char* name)
{
    std::ifstream in(std::string(VORN_SOURCE_DIR) + "/examples/" + name + ".ovl", std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The options vornc gives: a whole surface program, and Cg with the renderer's main files.
QZ::COMPILER::Compile_options options_for(const char* target)
{
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    options.complete_program = std::string(target) == "Cg" ? 1 : 0;
    return options;
}

void BM_compile_and_generate(benchmark::State& state, const char* example, const char* target)
{
    vorn_bench::ensure_library_started();
    // Cg reads the renderer's main files through the shader path, as vornc does from beside
    // the library.
    if (std::string(target) == "Cg")
        QZ::SYSTEM::mod_string->set_path(2, "shader", VORN_SOURCE_DIR "/data");
    const std::string text = read_example(example);
    const std::string file = std::string(example) + ".ovl";
    const QZ::COMPILER::Compile_options options = options_for(target);
    size_t programs = 0;
    for (auto _ : state) {
        QZ::SYNTAX_TREE::Error_list errors;
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
            QZ::COMPILER::mod_compiler->compile_text(file.c_str(), text.c_str(), &errors));
        if (!unit || unit->error_count() != 0 || !errors.empty()) {
            state.SkipWithError("the example does not compile");
            break;
        }
        std::unique_ptr<QZ::BACK12::Generated_shader> result(
            QZ::COMPILER::mod_compiler->generate_shader(unit.get(), target, options));
        if (!result || result->program_count() == 0) {
            state.SkipWithError("the target generated nothing");
            break;
        }
        programs = result->program_count();
        benchmark::DoNotOptimize(result.get());
    }
    state.counters["programs"] = double(programs);
}

}  // namespace

#define VORN_COMPILE_AND_GENERATE(example)                                                                      \
    BENCHMARK_CAPTURE(BM_compile_and_generate, example##_FX, #example, "FX")->Unit(benchmark::kMicrosecond);     \
    BENCHMARK_CAPTURE(BM_compile_and_generate, example##_GL, #example, "GL")->Unit(benchmark::kMicrosecond);     \
    BENCHMARK_CAPTURE(BM_compile_and_generate, example##_Cg, #example, "Cg")->Unit(benchmark::kMicrosecond);     \
    BENCHMARK_CAPTURE(BM_compile_and_generate, example##_Swrc, #example, "Swrc")->Unit(benchmark::kMicrosecond)

VORN_COMPILE_AND_GENERATE(checker);
VORN_COMPILE_AND_GENERATE(infinite_light);
VORN_COMPILE_AND_GENERATE(layered);
VORN_COMPILE_AND_GENERATE(phong);
VORN_COMPILE_AND_GENERATE(point_light);
VORN_COMPILE_AND_GENERATE(rim);
VORN_COMPILE_AND_GENERATE(spot_light);
VORN_COMPILE_AND_GENERATE(technique);
