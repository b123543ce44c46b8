#include <benchmark/benchmark.h>

#include "system/sequence.h"

// The start and stop sequences that initialize_vorn and the root's release run.
static void BM_start_and_stop(benchmark::State& state)
{
    for (auto _ : state) {
        QZ::SYSTEM::start_sequence();
        QZ::SYSTEM::stop_sequence();
    }
}
BENCHMARK(BM_start_and_stop)->Unit(benchmark::kMicrosecond);
