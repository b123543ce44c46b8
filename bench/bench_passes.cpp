#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>

#include "front12/ovrel_parser.h"
#include "syntax_tree/builtins.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"

namespace {

using namespace QZ::SYNTAX_TREE;

// The prelude as the parser module holds it: its prototype and the built-in declarations,
// learnt once. Compiles are timed warm, after this.
struct Prelude {
    std::unique_ptr<St_node> list;
    std::shared_ptr<const Prelude_symbols> symbols;

    Prelude()
    {
        auto parsed = QZ::FRONT12::parse_text(
            "Vector4 illumination(Scalar dot_nl,Scalar dot_nh,Scalar exponent);", "stdlib.ovl");
        list = std::move(parsed.tree);
        append_builtin_declarations(list.get());
        symbols = std::make_shared<const Prelude_symbols>(list.get());
    }
};

const Prelude& prelude()
{
    static const Prelude instance;
    return instance;
}

// A surface shader of ordinary size: inputs with defaults and annotations, a helper method, a
// light loop, a file-level function, swizzles, constructors and library calls.
const char* const typical_shader = R"(
struct Material { Color diffuse; Color specular; Scalar roughness; };
enum Falloff { LINEAR, QUADRATIC = 2, CUBIC };

Scalar attenuate(Scalar distance, Falloff falloff)
{
    if (falloff == LINEAR)
        return 1.0 / max(distance, 0.001);
    return 1.0 / max(distance * distance, 0.001);
}

shader Plastic
{
input:
    Color diffuse = Color(0.8, 0.8, 0.8, 1.0) { ui("Color"); };
    Color specular = Color(1, 1, 1, 1);
    Scalar roughness = 0.25 { range(0, 1); };
    Scalar weights[4] = {0.1, 0.2, 0.3, 0.4};
    Texture2d map = "wood.png";
output:
    Color result;

    Scalar phong(Vector3 n, Vector3 l, Vector3 v, Scalar exponent)
    {
        Vector3 h = normalize(l + v);
        Scalar d = max(dot(n, h), 0.0);
        return pow(d, exponent);
    }

    void main()
    {
        Vector3 n = normalize(normal);
        Vector3 v = -direction;
        Color base = diffuse * tex2D(map, texture_coordinate[0].xy);
        Color sum = Color(0, 0, 0, 0);
        Light_iterator it;
        foreach (it) {
            Scalar lit = max(dot(n, it.direction), 0.0);
            Scalar highlight = phong(n, it.direction, v, 1.0 / roughness);
            sum += it.contribution * (base * lit + specular * highlight);
        }
        Scalar acc = 0.0;
        for (Int i = 0; i < 4; i++)
            acc += weights[i];
        Vector4 p = Vector4(position, 1.0);
        Matrix4x4 m = internal_to_world;
        Vector4 w = m * p;
        if (w.z > 0.0 && acc >= 0.5)
            sum = sum * attenuate(length(w.xyz), QUADRATIC);
        result = sum + Color(acc, acc, acc, 1.0) * 0.1;
    }
};
)";

// A generated source of about the given number of lines: many small functions with locals,
// arithmetic, calls and control flow.
std::string generated_shader(int lines)
{
    std::string text = "Scalar scale(Scalar x) { return x * 2.0; }\n";
    for (int i = 0; text.size() / 40 < size_t(lines); ++i) {
        std::string n = std::to_string(i);
        text += "Vector3 step_" + n + "(Vector3 a, Vector3 b, Scalar t)\n"
                "{\n"
                "    Vector3 c = lerp(a, b, t) * scale(t);\n"
                "    Scalar d = dot(c, b) + " + n + ".0;\n"
                "    for (Int k = 0; k < 3; k++) {\n"
                "        if (d > 1.0) c = c / d; else c += Vector3(0.5, d, k);\n"
                "    }\n"
                "    return normalize(c) + a.zyx * clamp(d, 0.0, 1.0);\n"
                "}\n";
    }
    return text;
}

std::unique_ptr<St_node> parse(const std::string& text)
{
    QZ::FRONT12::Parse_result parsed = QZ::FRONT12::parse_text(text, "bench.ovl");
    return parsed.errors.empty() ? std::move(parsed.tree) : nullptr;
}

// The passes alone, over a fresh copy of the parsed tree each time; copying is not timed.
void run_passes(benchmark::State& state, const std::string& text)
{
    std::shared_ptr<const Prelude_symbols> symbols = prelude().symbols;
    std::unique_ptr<St_node> tree = parse(text);
    if (!tree) {
        state.SkipWithError("the source does not parse");
        return;
    }
    {
        Compilation_unit check(symbols);
        check.set_tree(tree->clone());
        Tree_traverser_prepass(check).run();
        check.link_shaders();
        Tree_traverser_semantic_pass(check).run();
        if (check.error_count()) {
            state.SkipWithError("the source does not compile cleanly");
            return;
        }
    }
    for (auto _ : state) {
        St_node* copy = tree->clone();
        auto start = std::chrono::steady_clock::now();
        Compilation_unit unit(symbols);
        unit.set_tree(copy);
        Tree_traverser_prepass prepass(unit);
        prepass.run();
        unit.link_shaders();
        Tree_traverser_semantic_pass pass(unit);
        pass.run();
        benchmark::DoNotOptimize(unit.error_count());
        auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}

void BM_passes_typical_shader(benchmark::State& state)
{
    run_passes(state, typical_shader);
}

void BM_passes_generated_2000_lines(benchmark::State& state)
{
    run_passes(state, generated_shader(2000));
}

// Learning the prelude: done once per process, on the first compile.
void BM_prelude_symbols(benchmark::State& state)
{
    const St_node* list = prelude().list.get();
    for (auto _ : state) {
        Prelude_symbols symbols(list);
        benchmark::DoNotOptimize(symbols.type_count());
    }
}

}  // namespace

BENCHMARK(BM_passes_typical_shader)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_passes_generated_2000_lines)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_prelude_symbols)->Unit(benchmark::kMillisecond);
