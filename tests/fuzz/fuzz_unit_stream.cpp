// A compilation unit read straight from a stream of arbitrary bytes, below the binary file's
// frame and checksum (which a fuzzer would almost never get past), then completed and generated
// from as a host would.
#include <cstdint>
#include <memory>

#include "back12/generated_shader.h"
#include "compiler/mod_compiler.h"
#include "log/mod_log.h"
#include "serial/memory_stream.h"
#include "syntax_tree/compilation_unit.h"
#include "system/mod_string.h"
#include "system/sequence.h"
#include "trans12/mod_trans12.h"

namespace {

bool started = false;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace QZ;
    if (!started) {
        if (!COMPILER::mod_compiler)
            SYSTEM::start_sequence();
        SYSTEM::mod_string->set_path(2, "shader", "/nonexistent");
        LOG::mod_log->set_severity_limit(LOG::severity_bit(LOG::SEV_FATAL));
        started = true;
    }
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(TRANS12::mod_trans12->make_unit());
    SERIAL::Memory_deserializer in(data, size);
    unit->deserialize(in);
    COMPILER::mod_compiler->resolve_unit(*unit);
    if (unit->shader_count() == 0 && unit->function_count() == 0)
        return 0;
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    std::unique_ptr<BACK12::Generated_shader> fx(COMPILER::mod_compiler->generate_shader(unit.get(), "FX", options));
    std::unique_ptr<BACK12::Generated_shader> gl(COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
    return 0;
}
