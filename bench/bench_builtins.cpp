#include <benchmark/benchmark.h>

#include <memory>

#include "syntax_tree/builtins.h"
#include "syntax_tree/mod_syntax_tree.h"

using namespace QZ::SYNTAX_TREE;

// The declaration records alone: the operator rows and the prototype templates.
static void BM_builtin_declaration_records(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<Builtin_declaration> records = builtin_declarations();
        benchmark::DoNotOptimize(records.data());
    }
}
BENCHMARK(BM_builtin_declaration_records)->Unit(benchmark::kMicrosecond);

// What the prelude load pays once per module life: records, trees, and the splice into the list.
static void BM_builtin_declarations_appended(benchmark::State& state)
{
    File_name file = make_file_name(BUILTIN_FILE_NAME);
    for (auto _ : state) {
        std::unique_ptr<St_node> list(new St_node(NODE_DECLARATION_LIST, file));
        append_builtin_declarations(list.get());
        benchmark::DoNotOptimize(list->first_child);
    }
}
BENCHMARK(BM_builtin_declarations_appended)->Unit(benchmark::kMicrosecond);

// The module's own start: factory registration and the two state tables with their types.
static void BM_syntax_tree_module_start(benchmark::State& state)
{
    for (auto _ : state) {
        std::unique_ptr<Mod_syntax_tree> module(new Mod_syntax_tree);
        benchmark::DoNotOptimize(module->state_variable_index("light_dot_nl"));
    }
}
BENCHMARK(BM_syntax_tree_module_start)->Unit(benchmark::kMicrosecond);
