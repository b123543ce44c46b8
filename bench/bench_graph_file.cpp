// Graph files: save and load of a library of n nodes of an intrinsic class, each wired to the
// node before it. The figures at 1,000 and 100,000 nodes show whether the cost is linear.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>

#include "bench_support.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"

namespace {

using namespace QZ::GRAPH;

std::unique_ptr<Graph_library> make_chain(int64_t count)
{
    auto library = std::make_unique<Graph_library>();
    library->add_intrinsic_classes();
    Graph_node_class* add = library->find_class("Math_Scalar_Add");
    Graph_node* previous = nullptr;
    for (int64_t i = 0; i < count; ++i) {
        Graph_node* node = add->create_node(("n" + std::to_string(i)).c_str());
        library->add_node(node);
        if (previous)
            node->attach("left", previous, "result");
        previous = node;
    }
    return library;
}

std::string bench_path() { return "/tmp/vorn_bench_graph_file_" + std::to_string(long(::getpid())) + ".xovl"; }

void BM_graph_file_save(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    auto library = make_chain(state.range(0));
    const std::string path = bench_path();
    for (auto _ : state)
        benchmark::DoNotOptimize(library->save(path.c_str()));
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_graph_file_save)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_graph_file_load(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    const std::string path = bench_path();
    make_chain(state.range(0))->save(path.c_str());
    Graph_library warm;
    warm.add_intrinsic_classes();
    for (auto _ : state) {
        std::unique_ptr<Graph_library> library(load_file(path.c_str(), nullptr, nullptr));
        benchmark::DoNotOptimize(library.get());
    }
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_graph_file_load)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
