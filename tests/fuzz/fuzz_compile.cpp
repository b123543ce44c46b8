// Whole compiles over arbitrary bytes: front end, both passes, the FX, GL and C++ generators. Errors are
// fine; faults and hangs are not.
#include <cstdint>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/mod_compiler.h"
#include "syntax_tree/compilation_unit.h"
#include "system/mod_string.h"
#include "system/sequence.h"

namespace {

bool started = false;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (!started) {
        if (!QZ::COMPILER::mod_compiler)
            QZ::SYSTEM::start_sequence();
        // A few files to include and import, good and faulty, so that those paths are reached.
        QZ::SYSTEM::mod_string->set_path(2, "shader", VORN_FUZZ_LIBRARY_DIR);
        started = true;
    }
    std::string text(reinterpret_cast<const char*>(data), size);
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text("fuzz.ovl", text.c_str(), &errors));
    if (!unit || unit->error_count() != 0)
        return 0;
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    std::unique_ptr<QZ::BACK12::Generated_shader> fx(QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "FX", options));
    options.attributes["format"] = "HLSL";
    options.attributes["interfaces"] = "true";
    std::unique_ptr<QZ::BACK12::Generated_shader> hlsl(
        QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "FX", options));
    std::unique_ptr<QZ::BACK12::Generated_shader> gl(QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
    std::unique_ptr<QZ::BACK12::Generated_shader> swrc(
        QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "Swrc", options));
    return 0;
}
