// Generation of the targets whose generator is used directly here (Cg and C++), from one
// warm unit of each example.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "back12/generator_input.h"
#include "bench_support.h"
#include "compiler/mod_compiler.h"
#include "gen_cg/cg_code_generator.h"
#include "gen_swrc/swrc_code_generator.h"
#include "syntax_tree/compilation_unit.h"

namespace {

std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> compile_example(const char* name)
{
    vorn_bench::ensure_library_started();
    std::ifstream in(std::string(VORN_SOURCE_DIR) + "/examples/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text(name, text.str().c_str(), &errors));
    if (!unit || unit->error_count() != 0 || !errors.empty())
        return nullptr;
    return unit;
}

// Warm: the unit and its generator input exist; each iteration constructs a generator and
// writes its text (Cg: the shader's struct, the main files being read once per call of the
// plug-in, not here; C++: the source and the declaration).
template <class Generator>
void generate_example(benchmark::State& state, const char* name)
{
    auto unit = compile_example(name);
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    QZ::BACK12::Generator_input input;
    if (!unit || !QZ::BACK12::build_generator_input(unit.get(), options, input)) {
        state.SkipWithError("the example does not compile");
        return;
    }
    size_t bytes = 0;
    for (auto _ : state) {
        Generator generator(input, options);
        generator.generate();
        bytes = std::char_traits<char>::length(generator.get_text());
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["bytes"] = double(bytes);
}

void BM_generate_cg(benchmark::State& state, const char* name)
{
    generate_example<QZ::GEN_CG::Cg_code_generator>(state, name);
}

void BM_generate_swrc(benchmark::State& state, const char* name)
{
    generate_example<QZ::GEN_SWRC::Swrc_code_generator>(state, name);
}

}  // namespace

BENCHMARK_CAPTURE(BM_generate_cg, phong, "phong.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_cg, checker, "checker.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_cg, layered, "layered.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_cg, technique, "technique.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_cg, rim, "rim.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_swrc, phong, "phong.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_swrc, checker, "checker.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_swrc, layered, "layered.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_swrc, technique, "technique.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_generate_swrc, rim, "rim.ovl")->Unit(benchmark::kMicrosecond);
