// The binary compiled file over arbitrary bytes: the reader, then everything a host may do with
// what it read, whether or not the file was refused (a unit keeps what was read): completing the
// unit and generating FX and GL from it. Messages are fine; faults and hangs are not.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "bovl/mod_bin_file.h"
#include "compiler/mod_compiler.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "system/mod_string.h"
#include "system/sequence.h"
#include "trans12/mod_trans12.h"

namespace {

bool started = false;
std::string path;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace QZ;
    if (!started) {
        if (!COMPILER::mod_compiler)
            SYSTEM::start_sequence();
        SYSTEM::mod_string->set_path(2, "shader", "/nonexistent");
        // Refusals are expected by the million; only their formatting is of interest.
        LOG::mod_log->set_severity_limit(LOG::severity_bit(LOG::SEV_FATAL));
        path = "/tmp/vorn_fuzz_bin_file_" + std::to_string(::getpid()) + ".bovl";
        started = true;
    }
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);

    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(TRANS12::mod_trans12->make_unit());
    BOVL::mod_bin_file->load_binary(*unit, path.c_str());
    std::remove(path.c_str());
    COMPILER::mod_compiler->resolve_unit(*unit);
    if (unit->shader_count() == 0 && unit->function_count() == 0)
        return 0;
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    std::unique_ptr<BACK12::Generated_shader> fx(COMPILER::mod_compiler->generate_shader(unit.get(), "FX", options));
    std::unique_ptr<BACK12::Generated_shader> gl(COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
    return 0;
}
