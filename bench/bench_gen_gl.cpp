#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "bench_support.h"
#include "compiler/mod_compiler.h"
#include "gen_gl/gl_code_generator.h"
#include "syntax_tree/compilation_unit.h"

namespace {

std::string read_example(const std::string& name)
{
    std::ifstream in(std::string(VORN_SOURCE_DIR) + "/examples/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

QZ::COMPILER::Compile_options surface_program()
{
    QZ::COMPILER::Compile_options options;
    options.complete_program = 1;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    return options;
}

std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> compile_example(const char* name)
{
    vorn_bench::ensure_library_started();
    std::string text = read_example(name);
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text(name, text.c_str(), &errors));
    if (!unit || unit->error_count() != 0 || !errors.empty())
        return nullptr;
    return unit;
}

// Warm: the unit and its generator input exist; each iteration constructs a generator and
// writes both texts.
void BM_generate_gl(benchmark::State& state, const char* name)
{
    auto unit = compile_example(name);
    QZ::COMPILER::Compile_options options = surface_program();
    QZ::BACK12::Generator_input input;
    if (!unit || !QZ::BACK12::build_generator_input(unit.get(), options, input)) {
        state.SkipWithError("the example does not compile");
        return;
    }
    size_t bytes = 0;
    for (auto _ : state) {
        QZ::GEN_GL::Gl_code_generator generator(input, options);
        generator.generate();
        bytes = generator.vertex_text().size() + std::char_traits<char>::length(generator.get_text());
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["bytes"] = double(bytes);
}

// The whole path a host takes from a unit: dispatch, generator input, both texts, the result.
void BM_generate_gl_dispatch(benchmark::State& state, const char* name)
{
    auto unit = compile_example(name);
    if (!unit) {
        state.SkipWithError("the example does not compile");
        return;
    }
    QZ::COMPILER::Compile_options options = surface_program();
    for (auto _ : state) {
        std::unique_ptr<QZ::BACK12::Generated_shader> result(
            QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
        if (!result || result->program_count() != 2) {
            state.SkipWithError("GL gave no vertex and fragment pair");
            break;
        }
        benchmark::DoNotOptimize(result.get());
    }
}

}  // namespace

BENCHMARK_CAPTURE(BM_generate_gl, phong, "phong.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_gl, checker, "checker.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_gl, layered, "layered.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_gl, technique, "technique.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_gl, rim, "rim.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_gl_dispatch, phong, "phong.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_gl_dispatch, layered, "layered.ovl")->Unit(benchmark::kMicrosecond);
