// The binary compiled file against compiling the source: for each example, compiling the file,
// loading its binary file (the tree and the declarations), loading and completing it (ready to
// generate), and saving it. All warm, with the files on disk.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <memory>
#include <string>

#include "bench_support.h"
#include "bovl/mod_bin_file.h"
#include "compiler/mod_compiler.h"
#include "syntax_tree/compilation_unit.h"
#include "trans12/mod_trans12.h"

namespace {

using QZ::SYNTAX_TREE::Compilation_unit;

std::string example_path(const char* name) { return std::string(VORN_SOURCE_DIR) + "/examples/" + name + ".ovl"; }

std::string binary_path(const char* name)
{
    // Files go to memory when the system offers it, so that the figures are the code's and not
    // the disk's.
    static const std::string directory = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return directory + "/vorn_bench_" + std::to_string(::getpid()) + "_" + name + ".bovl";
}

std::unique_ptr<Compilation_unit> compiled(const char* name)
{
    vorn_bench::ensure_library_started();
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_file(example_path(name).c_str(), &errors));
    if (!unit || unit->error_count() != 0 || !errors.empty())
        return nullptr;
    return unit;
}

void BM_bin_compile_source(benchmark::State& state, const char* name)
{
    if (!compiled(name)) {
        state.SkipWithError("the example does not compile");
        return;
    }
    std::string path = example_path(name);
    for (auto _ : state) {
        std::unique_ptr<Compilation_unit> unit(QZ::COMPILER::mod_compiler->compile_file(path.c_str(), nullptr));
        benchmark::DoNotOptimize(unit.get());
    }
}

void load(benchmark::State& state, const char* name, bool resolve)
{
    std::unique_ptr<Compilation_unit> unit = compiled(name);
    if (!unit) {
        state.SkipWithError("the example does not compile");
        return;
    }
    std::string path = binary_path(name);
    QZ::BOVL::mod_bin_file->save_binary(*unit, path.c_str());
    for (auto _ : state) {
        std::unique_ptr<Compilation_unit> loaded(QZ::TRANS12::mod_trans12->make_unit());
        QZ::BOVL::mod_bin_file->load_binary(*loaded, path.c_str());
        if (resolve)
            QZ::COMPILER::mod_compiler->resolve_unit(*loaded);
        benchmark::DoNotOptimize(loaded.get());
    }
    ::unlink(path.c_str());
}

void BM_bin_load(benchmark::State& state, const char* name) { load(state, name, false); }

void BM_bin_load_and_resolve(benchmark::State& state, const char* name) { load(state, name, true); }

void BM_bin_save(benchmark::State& state, const char* name)
{
    std::unique_ptr<Compilation_unit> unit = compiled(name);
    if (!unit) {
        state.SkipWithError("the example does not compile");
        return;
    }
    std::string path = binary_path(name);
    for (auto _ : state)
        QZ::BOVL::mod_bin_file->save_binary(*unit, path.c_str());
    ::unlink(path.c_str());
}

}  // namespace

#define VORN_BIN_FILE_BENCHMARKS(name)                                                              \
    BENCHMARK_CAPTURE(BM_bin_compile_source, name, #name)->Unit(benchmark::kMicrosecond);             \
    BENCHMARK_CAPTURE(BM_bin_load, name, #name)->Unit(benchmark::kMicrosecond);                       \
    BENCHMARK_CAPTURE(BM_bin_load_and_resolve, name, #name)->Unit(benchmark::kMicrosecond);           \
    BENCHMARK_CAPTURE(BM_bin_save, name, #name)->Unit(benchmark::kMicrosecond)

VORN_BIN_FILE_BENCHMARKS(phong);
VORN_BIN_FILE_BENCHMARKS(checker);
VORN_BIN_FILE_BENCHMARKS(layered);
VORN_BIN_FILE_BENCHMARKS(technique);
VORN_BIN_FILE_BENCHMARKS(rim);
