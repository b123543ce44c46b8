#include <benchmark/benchmark.h>

#include <string>

#include "front12/ovrel_parser.h"

namespace {

// One block of typical shader source: a macro, a struct, a shader with annotated inputs,
// a function with loops, casts, constructors and calls. Names are numbered so that blocks
// differ as they would in a real file.
std::string source_block(int index)
{
    std::string n = std::to_string(index);
    return "#define SCALE_" + n + " 2.0 * PI_" + n + "\n"
           "struct Sample_" + n + " { Vector3 position; Scalar weight; Color tint; };\n"
           "shader Phong_" + n + " : Base\n"
           "{\n"
           "input:\n"
           "    Color diffuse = Color(0.8, 0.8, 0.8, 1.0) { ui(\"Color\"); range(0, 1); };\n"
           "    Scalar exponent = 32.0;\n"
           "    Int count = 4;\n"
           "output:\n"
           "    Color result;\n"
           "    void main()\n"
           "    {\n"
           "        Color sum = Color(0, 0, 0, 0);\n"
           "        for (Int i = 0; i < count; i++) {\n"
           "            Scalar w = (Scalar) i / SCALE_" + n + ";\n"
           "            if (w > 0.5 && !(w >= 0.75)) sum += diffuse * w; else sum -= diffuse * (1 - w);\n"
           "        }\n"
           "        Vector3 n = normalize(Vector3(state.normal.x, state.normal.y, state.normal.z));\n"
           "        switch (count) { case 1: sum = sum * 2; break; default: sum = sum + diffuse; }\n"
           "        result = sum * pow(max(dot(n, light_dir), 0.0), exponent) + ambient[2];\n"
           "    }\n"
           "};\n";
}

std::string generated_source(size_t bytes)
{
    std::string text;
    text.reserve(bytes + 2048);
    for (int i = 0; text.size() < bytes; ++i)
        text += source_block(i);
    return text;
}

// Lexing, preprocessing and parsing of a generated source of the given number of megabytes.
void BM_parse_source(benchmark::State& state)
{
    std::string text = generated_source(size_t(state.range(0)) << 20);
    {
        // Released before timing, so that the timed parses don't run beside a second tree.
        QZ::FRONT12::Parse_result check = QZ::FRONT12::parse_text(text, "bench.ovl");
        if (!check.tree || !check.errors.empty()) {
            state.SkipWithError("the generated source does not parse");
            return;
        }
    }
    for (auto _ : state) {
        QZ::FRONT12::Parse_result result = QZ::FRONT12::parse_text(text, "bench.ovl");
        benchmark::DoNotOptimize(result.tree.get());
        // Freeing the tree is the caller's business, not the parser's.
        state.PauseTiming();
        result.tree.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}

}  // namespace

BENCHMARK(BM_parse_source)->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);
