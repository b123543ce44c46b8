#include <benchmark/benchmark.h>

#include <memory>

#include "compiler/mod_compiler.h"
#include "syntax_tree/compilation_unit.h"
#include "system/sequence.h"

// The start and stop sequences that initialize_vorn and the root's release run.
static void BM_start_and_stop(benchmark::State& state)
{
    // Other benchmarks may have the library running; it is stopped for this one and restored.
    bool was_running = QZ::COMPILER::mod_compiler != nullptr;
    if (was_running)
        QZ::SYSTEM::stop_sequence();
    for (auto _ : state) {
        QZ::SYSTEM::start_sequence();
        QZ::SYSTEM::stop_sequence();
    }
    if (was_running)
        QZ::SYSTEM::start_sequence();
}
BENCHMARK(BM_start_and_stop)->Unit(benchmark::kMicrosecond);

// A cold process's library work: start, the first compile of a trivial shader (which loads the
// prelude and learns its symbols), stop.
static void BM_start_first_compile_stop(benchmark::State& state)
{
    static const char* const text = "shader T { output: Color result; void main() { result = Color(1, 0, 0, 1); } };\n";
    bool was_running = QZ::COMPILER::mod_compiler != nullptr;
    if (was_running)
        QZ::SYSTEM::stop_sequence();
    for (auto _ : state) {
        QZ::SYSTEM::start_sequence();
        QZ::SYNTAX_TREE::Error_list errors;
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
            QZ::COMPILER::mod_compiler->compile_text("t.ovl", text, &errors));
        if (!unit || !errors.empty())
            state.SkipWithError("the shader does not compile");
        unit.reset();
        QZ::SYSTEM::stop_sequence();
    }
    if (was_running)
        QZ::SYSTEM::start_sequence();
}
BENCHMARK(BM_start_first_compile_stop)->Unit(benchmark::kMicrosecond);
