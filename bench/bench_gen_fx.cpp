#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "back12/generator_input.h"
#include "compiler/mod_compiler.h"
#include "gen_fx/fx_code_generator.h"
#include "syntax_tree/compilation_unit.h"
#include "system/sequence.h"

namespace {

// A surface shader of ordinary size: annotated inputs, a texture, a helper function, a struct,
// loops, a switch, matrix products and the state that a lit surface reads.
const char* const typical_shader = R"(
struct Material { Color diffuse; Color specular; Scalar roughness; };

Scalar fresnel(Scalar cosine, Scalar ior)
{
    Scalar r = (1.0 - ior) / (1.0 + ior);
    r = r * r;
    return r + (1.0 - r) * pow(1.0 - cosine, 5.0);
}

shader Plastic
{
input:
    Color diffuse = Color(0.8, 0.8, 0.8, 1.0) { display_name("Diffuse"); };
    Color specular = Color(1, 1, 1, 1);
    Scalar roughness = 0.25 { hard_range(0.0, 1.0); };
    Scalar weights[4] = {0.1, 0.2, 0.3, 0.4};
    Int layers = 3;
    Texture2d albedo = "albedo.dds" { filtering("trilinear"); };
output:
    Color result;
    Scalar transparency;
    void main()
    {
        Material m;
        m.diffuse = diffuse * tex2D(albedo, texture_coordinate[0].xy);
        m.specular = specular;
        m.roughness = roughness;
        Vector3 n = normalize(normal);
        Vector3 v = -direction;
        Scalar facing = max(dot(n, v), 0.0);
        Color sum = Color(0, 0, 0, 0);
        for (Int i = 0; i < layers; i++) {
            Scalar w = weights[i] * fresnel(facing, 1.5);
            if (w > 0.5 && !(w >= 0.75))
                sum += m.diffuse * w;
            else
                sum -= m.specular * (1.0 - w);
        }
        switch (layers) {
        case 1: sum = sum * 2.0; break;
        case 2: case 3: sum = sum * 0.5; break;
        default: sum = sum + m.diffuse;
        }
        Vector4 p = object_to_world * Vector4(position, 1.0);
        Vector3 t = tangent_space[0] * n;
        result = sum * pow(facing, 1.0 / max(m.roughness, 0.01)) + Color(t, p.w) * 0.01;
        transparency = 0.0;
    }
};
)";

}  // namespace

// Generation of an effect file from a compiled unit, warm: the unit and its generator input
// exist, and each iteration constructs a generator, emits the text and drops it.
static void BM_generate_fx(benchmark::State& state)
{
    QZ::SYSTEM::start_sequence();
    {
        QZ::SYNTAX_TREE::Error_list errors;
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
            QZ::COMPILER::mod_compiler->compile_text("bench.ovl", typical_shader, &errors));
        QZ::COMPILER::Compile_options options;
        options.complete_program = 1;
        options.shader_type = QZ::COMPILER::SHADER_SURFACE;
        options.attributes["format"] = state.range(0) ? "HLSL" : "CgFX";
        QZ::BACK12::Generator_input input;
        if (!unit || !errors.empty() || !QZ::BACK12::build_generator_input(unit.get(), options, input)) {
            state.SkipWithError("the typical shader does not compile");
        } else {
            size_t bytes = 0;
            for (auto _ : state) {
                QZ::GEN_FX::Fx_code_generator generator(input, options);
                generator.generate();
                bytes = std::char_traits<char>::length(generator.get_text());
                benchmark::DoNotOptimize(bytes);
            }
            state.counters["bytes"] = double(bytes);
        }
    }
    QZ::SYSTEM::stop_sequence();
}
BENCHMARK(BM_generate_fx)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
