#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "front12/ovrel_lexer.h"
#include "front12/ovrel_preprocessor.h"

namespace {

// One shader of plausible shape: declarations, calls, constructors, loops, conditions,
// comments of both kinds, and uses of the macros defined at the top of the file.
void append_shader(std::string& out, int n)
{
    char buffer[4096];
    std::snprintf(buffer, sizeof buffer,
                  "// Shader %d: a lit surface with a rim term.\n"
                  "#define RIM_%d %d.%02d\n"
                  "shader Surface_%d {\n"
                  "    Color diffuse = Color(0.8, 0.%d, 0.1, 1.0);\n"
                  "    Scalar shininess = %d.0;  /* specular exponent */\n"
                  "    Scalar weights[4] = {0.1, 0.2, 0.3, 0.4};\n"
                  "    Int mode = 0x%X;\n"
                  "    void main() {\n"
                  "        Vector3 n = normalize(normal);\n"
                  "        Scalar d = max(dot(n, light_direction), 0.0);\n"
                  "#ifdef USE_SPECULAR\n"
                  "        Vector3 h = normalize(light_direction + view_direction);\n"
                  "        Scalar s = pow(max(dot(n, h), 0.0), shininess) * SQUARE(d);\n"
                  "#else\n"
                  "        Scalar s = 0.0;\n"
                  "#endif\n"
                  "        Scalar acc = 0.0;\n"
                  "        for (Int i = 0; i < 4; ++i) {\n"
                  "            acc += weights[i] * sample_shadow(i, 1.5e-3f);\n"
                  "        }\n"
                  "        /* Rim light: brighter at grazing angles,\n"
                  "           faded by the shadow term. */\n"
                  "        Scalar rim = LERP(0.0, RIM_%d, 1.0 - d) * acc;\n"
                  "        if (d > 0.5 && mode != 017 || rim >= 0.25) {\n"
                  "            result = diffuse * (d + s) + Color(rim, rim, rim, 0.0);\n"
                  "        } else {\n"
                  "            result = diffuse * d;  // no highlight\n"
                  "        }\n"
                  "        message = \"surface \" \"%d\";\n"
                  "    }\n"
                  "}\n\n",
                  n, n, n % 3, n % 100, n, n % 10, 8 + n % 64, n * 7 % 4096, n, n);
    out += buffer;
}

std::string generate_source(size_t bytes)
{
    std::string out =
        "#define USE_SPECULAR\n"
        "#define SQUARE(x) ((x) * (x))\n"
        "#define LERP(a, b, t) ((a) + ((b) - (a)) * (t))\n\n";
    for (int n = 0; out.size() < bytes; ++n)
        append_shader(out, n);
    return out;
}

const std::string& source_of_1mb()
{
    static const std::string text = generate_source(1 << 20);
    return text;
}

}  // namespace

static void BM_lexer_1mb(benchmark::State& state)
{
    const std::string& text = source_of_1mb();
    size_t tokens = 0;
    for (auto _ : state) {
        QZ::FRONT12::Ovrel_lexer lexer(text.data(), text.size(), "bench.ovl");
        tokens = 0;
        while (lexer.next_token().type != QZ::FRONT12::TOKEN_EOF)
            ++tokens;
        benchmark::DoNotOptimize(tokens);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["tokens"] = static_cast<double>(tokens);
}
BENCHMARK(BM_lexer_1mb)->Unit(benchmark::kMillisecond);

static void BM_lexer_and_preprocessor_1mb(benchmark::State& state)
{
    const std::string& text = source_of_1mb();
    size_t tokens = 0;
    for (auto _ : state) {
        QZ::FRONT12::Ovrel_lexer lexer(text.data(), text.size(), "bench.ovl");
        QZ::FRONT12::Ovrel_preprocessor preprocessor(lexer, "bench.ovl");
        tokens = 0;
        while (preprocessor.next_token().type != QZ::FRONT12::TOKEN_EOF)
            ++tokens;
        benchmark::DoNotOptimize(tokens);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["tokens"] = static_cast<double>(tokens);
}
BENCHMARK(BM_lexer_and_preprocessor_1mb)->Unit(benchmark::kMillisecond);
