#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "bench_support.h"
#include "compiler/mod_compiler.h"
#include "syntax_tree/compilation_unit.h"

namespace {

std::string read_example(const std::string& name)
{
    std::ifstream in(std::string(VORN_SOURCE_DIR) + "/examples/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A shader of about 2000 lines: helper functions and a long main.
std::string long_shader()
{
    std::string text;
    for (int i = 0; i < 300; ++i) {
        std::string n = std::to_string(i);
        text += "Scalar helper_" + n + "(Scalar x, Vector3 v)\n{\n    Scalar s = x * " + n +
                ".5 + dot(v, v);\n    if (s > 1.0) { s = s - 1.0; }\n    return s * 0.5;\n}\n";
    }
    text += "shader Long\n{\ninput:\n    Color base = Color(1, 1, 1, 1);\noutput:\n    Color result;\n"
            "    void main()\n    {\n        Scalar sum = 0.0;\n";
    for (int i = 0; i < 300; ++i)
        text += "        sum = sum + helper_" + std::to_string(i) + "(sum, normal);\n";
    text += "        result = base * sum;\n    }\n};\n";
    return text;
}

// Compiles are warm: the library runs and the prelude is loaded before timing.
void compile(benchmark::State& state, const std::string& text)
{
    vorn_bench::ensure_library_started();
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> check(
        QZ::COMPILER::mod_compiler->compile_text("bench.ovl", text.c_str(), &errors));
    if (!check || check->error_count() != 0 || !errors.empty()) {
        state.SkipWithError("the source does not compile");
        return;
    }
    for (auto _ : state) {
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
            QZ::COMPILER::mod_compiler->compile_text("bench.ovl", text.c_str(), &errors));
        benchmark::DoNotOptimize(unit.get());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}

void BM_compile_example(benchmark::State& state, const char* name) { compile(state, read_example(name)); }

void BM_compile_long_shader(benchmark::State& state) { compile(state, long_shader()); }

// Dropping a compiled unit alone: its tree goes at once with its arena, without a walk.
void BM_drop_long_shader_unit(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    std::string text = long_shader();
    for (auto _ : state) {
        QZ::SYNTAX_TREE::Error_list errors;
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
            QZ::COMPILER::mod_compiler->compile_text("bench.ovl", text.c_str(), &errors));
        if (!unit || !errors.empty()) {
            state.SkipWithError("the source does not compile");
            return;
        }
        auto start = std::chrono::steady_clock::now();
        unit.reset();
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

}  // namespace

BENCHMARK_CAPTURE(BM_compile_example, phong, "phong.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_compile_example, checker, "checker.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_compile_example, layered, "layered.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_compile_example, technique, "technique.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_compile_example, rim, "rim.ovl")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_compile_long_shader)->Unit(benchmark::kMicrosecond);
// A fixed count: each iteration compiles first, which takes far longer than what is timed.
BENCHMARK(BM_drop_long_shader_unit)->UseManualTime()->Iterations(300)->Unit(benchmark::kMicrosecond);
