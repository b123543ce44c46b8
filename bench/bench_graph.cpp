// Graphs in memory: the intrinsic math classes added to a library (the first library of the
// process builds the shared units; later ones only make their classes), and a graph of 10,000
// nodes with a wire each, made and removed again node by node, newest first as an editor's undo
// would. The node figures at 1,000 and 10,000 show whether the cost is linear.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "bench_support.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"

namespace {

using namespace QZ::GRAPH;

// Runs once, first: the cost that the first library of a process pays.
void BM_graph_intrinsics_first_library(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    for (auto _ : state) {
        Graph_library library;
        library.add_intrinsic_classes();
        benchmark::DoNotOptimize(library.velar_classes.data());
    }
}
BENCHMARK(BM_graph_intrinsics_first_library)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_graph_intrinsics_later_library(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    Graph_library warm;
    warm.add_intrinsic_classes();
    for (auto _ : state) {
        Graph_library library;
        library.add_intrinsic_classes();
        benchmark::DoNotOptimize(library.velar_classes.data());
    }
}
BENCHMARK(BM_graph_intrinsics_later_library)->Unit(benchmark::kMillisecond);

void BM_graph_nodes_wired_and_removed(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    Graph_library library;
    library.add_intrinsic_classes();
    Graph_node_class* add = library.find_class("Math_Scalar_Add");
    const int count = int(state.range(0));
    for (auto _ : state) {
        Graph_node* previous = nullptr;
        for (int i = 0; i < count; ++i) {
            Graph_node* node = add->create_node("n");
            library.add_node(node);
            if (previous)
                node->attach("left", previous, "result");
            previous = node;
        }
        while (!library.nodes.empty())
            library.remove_node(library.nodes.back());
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_graph_nodes_wired_and_removed)->Arg(1000)->Arg(10000)->Arg(20000)->Unit(benchmark::kMillisecond);

// The same graph removed oldest first: each removal searches the library's and the class's
// lists from their ends and closes the gap, so this one grows faster than the count.
void BM_graph_nodes_removed_oldest_first(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    Graph_library library;
    library.add_intrinsic_classes();
    Graph_node_class* add = library.find_class("Math_Scalar_Add");
    const int count = int(state.range(0));
    for (auto _ : state) {
        Graph_node* previous = nullptr;
        for (int i = 0; i < count; ++i) {
            Graph_node* node = add->create_node("n");
            library.add_node(node);
            if (previous)
                node->attach("left", previous, "result");
            previous = node;
        }
        while (!library.nodes.empty())
            library.remove_node(library.nodes.front());
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_graph_nodes_removed_oldest_first)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
