#include <benchmark/benchmark.h>

#include "compiler/mod_compiler.h"
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
