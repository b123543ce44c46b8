// Render export of the example graph (the Phong surface of examples/lit_phong.xovl) with 1, 8
// and 64 lights, each export followed by its GL text: the figures show whether the cost grows
// linearly with the number of lights.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "bench_support.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "flat12/linker.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "syntax_tree/compilation_unit.h"

namespace {

using namespace QZ;

void BM_export_lights_and_generate_gl(benchmark::State& state)
{
    vorn_bench::ensure_library_started();
    std::unique_ptr<GRAPH::Graph_library> library(
        GRAPH::load_file((std::string(VORN_SOURCE_DIR) + "/examples/lit_phong.xovl").c_str(), nullptr, nullptr));
    if (!library || !library->find_node("surface")) {
        state.SkipWithError("examples/lit_phong.xovl does not load");
        return;
    }
    // The three example lights in turn: one function per class, inputs for every light.
    FLAT12::Export_settings settings;
    settings.has_light_list = true;
    settings.library = library.get();
    const char* const names[] = {"key", "lamp", "sun"};
    for (int64_t i = 0; i < state.range(0); ++i) {
        settings.lights.emplace_back();
        settings.lights.back().tag = names[i % 3];
    }
    COMPILER::Compile_options options;
    options.complete_program = 1;
    options.shader_type = COMPILER::SHADER_SURFACE;
    for (auto _ : state) {
        std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(
            FLAT12::link_for_export(library->find_node("surface"), settings, nullptr));
        if (!unit || !unit->errors().empty()) {
            state.SkipWithError("the export does not link cleanly");
            break;
        }
        std::unique_ptr<BACK12::Generated_shader> shader(
            COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
        if (!shader || shader->program_count() != 2) {
            state.SkipWithError("GL gave no vertex and fragment pair");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_export_lights_and_generate_gl)->Arg(1)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond);

}  // namespace
