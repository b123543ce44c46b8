// Linking graphs built in memory from the intrinsic math classes: a chain of N nodes linked
// alone, and linked with its GL text generated, at 100 to 100,000 nodes (the figures show
// whether the cost is linear); and an editor's loop on a 100-node graph: change one value or
// one wire, relink, regenerate GL.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "bench_support.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "flat12/linker.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "syntax_tree/compilation_unit.h"

namespace {

using namespace QZ;
using namespace QZ::GRAPH;

// n0 -> n1 -> ... -> n(count-1) -> root.left.r, alternating two classes so that both the
// shared-function path and the call path are taken.
struct Chain {
    Graph_library library;
    Graph_node* root = nullptr;
    std::vector<Graph_node*> nodes;

    explicit Chain(int count)
    {
        library.add_intrinsic_classes();
        Graph_node* previous = nullptr;
        for (int i = 0; i < count; ++i) {
            const char* name = i % 2 ? "Math_Scalar_Sin" : "Math_Scalar_Add";
            Graph_node* node = library.find_class(name)->create_node(("n" + std::to_string(i)).c_str());
            library.add_node(node);
            if (previous)
                node->attach(i % 2 ? "input" : "left", previous, "result");
            nodes.push_back(node);
            previous = node;
        }
        root = library.find_class("Math_Color_Add")->create_node("root");
        library.add_node(root);
        if (previous)
            root->attach("left.r", previous, "result");
    }
};

COMPILER::Compile_options surface_program()
{
    COMPILER::Compile_options options;
    options.complete_program = 1;
    options.shader_type = COMPILER::SHADER_SURFACE;
    return options;
}

// Returns false (and marks the benchmark) when the link or the generation fails.
bool link_and_generate(benchmark::State& state, Chain& chain, bool generate)
{
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(FLAT12::link_graph(chain.root, nullptr, nullptr, false));
    if (!unit || !unit->errors().empty()) {
        state.SkipWithError("the graph does not link cleanly");
        return false;
    }
    if (!generate)
        return true;
    std::unique_ptr<BACK12::Generated_shader> shader(
        COMPILER::mod_compiler->generate_shader(unit.get(), "GL", surface_program()));
    if (!shader || shader->program_count() != 2) {
        state.SkipWithError("GL gave no vertex and fragment pair");
        return false;
    }
    return true;
}

void BM_link_chain(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    Chain chain(int(state.range(0)));
    for (auto _ : state)
        if (!link_and_generate(state, chain, false))
            break;
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_link_chain)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_link_chain_and_generate_gl(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    Chain chain(int(state.range(0)));
    for (auto _ : state)
        if (!link_and_generate(state, chain, true))
            break;
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_link_chain_and_generate_gl)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// One edit of a 100-node graph per iteration (a value, then a wire moved and back), each
// followed by the relink and the GL text an editor would show.
void BM_link_edit_loop_100(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    Chain chain(100);
    Graph_node* edited = chain.nodes[50];
    float value = 0.0f;
    bool moved = false;
    for (auto _ : state) {
        if (state.range(0) == 0) {
            value += 0.25f;
            edited->set_value(*edited->find_input("right"), &value);
        } else {
            edited->detach("left", true);
            edited->attach("left", chain.nodes[moved ? 49 : 10], "result");
            moved = !moved;
        }
        if (!link_and_generate(state, chain, true))
            break;
    }
}
BENCHMARK(BM_link_edit_loop_100)->Arg(0)->Arg(1)->ArgNames({"wire"})->Unit(benchmark::kMicrosecond);

}  // namespace
