// The CPU preview of the Phong example, 256 by 256, in its two parts: building the generated C++
// text into a shared object (the C++ compiler's run, which dominates) and shading the pixels.
#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "back12/generated_shader.h"
#include "bench_support.h"
#include "compiler/mod_compiler.h"
#include "preview.h"
#include "syntax_tree/compilation_unit.h"

namespace {

std::string phong_cpp()
{
    vorn_bench::ensure_library_started();
    std::ifstream in(std::string(VORN_SOURCE_DIR) + "/examples/phong.ovl", std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text("phong.ovl", text.str().c_str(), &errors));
    if (!unit || unit->error_count() != 0 || !errors.empty())
        return {};
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    std::unique_ptr<QZ::BACK12::Generated_shader> shader(
        QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "Swrc", options));
    return shader && shader->program_count() > 0 ? *shader->program_text(0) : std::string();
}

vorn_preview::Parameter colour(const char* name, float r, float g, float b)
{
    vorn_preview::Parameter p;
    p.name = name;
    p.kind = vorn::TYPE_KIND_COLOR;
    const float v[4] = {r, g, b, 1.0f};
    p.bytes.resize(16);
    std::memcpy(p.bytes.data(), v, 16);
    return p;
}

// The example's inputs at their defaults.
vorn_preview::Shader_interface phong_interface()
{
    vorn_preview::Shader_interface shader;
    shader.name = "Phong";
    shader.inputs = {colour("ambient", 0.05f, 0.05f, 0.05f), colour("diffuse", 0.7f, 0.6f, 0.5f),
                     colour("specular", 1, 1, 1)};
    vorn_preview::Parameter shininess;
    shininess.name = "shininess";
    shininess.kind = vorn::TYPE_KIND_SCALAR;
    const float s = 32.0f;
    shininess.bytes.resize(4);
    std::memcpy(shininess.bytes.data(), &s, 4);
    shader.inputs.push_back(shininess);
    shader.outputs = {colour("result", 0, 0, 0)};
    shader.colour_output = "result";
    return shader;
}

vorn_preview::Build_options build_options(const char* optimisation)
{
    vorn_preview::Build_options options;
    options.include_directory = VORN_SOURCE_DIR "/data";
    options.optimisation = optimisation;
    return options;
}

// One run of the C++ compiler on the text (as vornc preview runs it, -O1), and the load.
void BM_preview_build_cpp(benchmark::State& state, const char* optimisation)
{
    const std::string text = phong_cpp();
    if (text.empty()) {
        state.SkipWithError("no C++ text");
        return;
    }
    for (auto _ : state) {
        vorn_preview::Cpu_shaders built;
        std::string why;
        if (!built.build({text}, build_options(optimisation), why)) {
            state.SkipWithError(why.c_str());
            return;
        }
    }
}
BENCHMARK_CAPTURE(BM_preview_build_cpp, O1, "-O1")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(BM_preview_build_cpp, O0, "-O0")->Unit(benchmark::kMillisecond)->Iterations(3);

// Shading every pixel of a 256 by 256 picture with the built shader.
void BM_preview_shade_256(benchmark::State& state)
{
    const std::string text = phong_cpp();
    vorn_preview::Cpu_shaders built;
    std::string why;
    if (text.empty() || !built.build({text}, build_options("-O1"), why)) {
        state.SkipWithError(text.empty() ? "no C++ text" : why.c_str());
        return;
    }
    const vorn_preview::Shader_interface shader = phong_interface();
    for (auto _ : state) {
        vorn_preview::Image image;
        if (!built.shade(0, shader, 256, 256, image, why)) {
            state.SkipWithError(why.c_str());
            return;
        }
        benchmark::DoNotOptimize(image.rgba.data());
    }
    state.counters["pixels"] = benchmark::Counter(256.0 * 256.0, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_preview_shade_256)->Unit(benchmark::kMillisecond);

// The sphere's triangles rasterised into the state of each pixel of a 256 by 256 picture, the
// CPU's share of a sphere preview before any shading.
void BM_preview_sphere_points_256(benchmark::State& state)
{
    vorn_preview::sphere_triangles();  // built once per process
    for (auto _ : state) {
        std::vector<vorn_preview::Shading_point> points =
            vorn_preview::shading_points(vorn_preview::Shape::sphere, 256, 256);
        benchmark::DoNotOptimize(points.data());
    }
}
BENCHMARK(BM_preview_sphere_points_256)->Unit(benchmark::kMillisecond);

}  // namespace
