// The generator interfaces: a target as a plug-in, and the generator object it runs.
#pragma once

#include <cstdint>

#include "compiler/compile_options.h"
#include "plug/plugin.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace BACK12 {

class Generated_shader;

// One generator object lives for one generate call.
class Code_generator {
public:
    virtual ~Code_generator() = default;
    virtual void generate() = 0;
    virtual const char* get_text() = 0;
    virtual void clear_text() = 0;
};

// A target. The built-in ones and those that plug-in libraries add share this shape.
class Code_generator12_plugin : public PLUG::Plugin {
public:
    const char* get_type() override { return "Code_generator12_plugin"; }
    const char* get_compiler() override { return ""; }
    // A new result owned by the caller, or null.
    virtual Generated_shader* generate(SYNTAX_TREE::Compilation_unit* unit, COMPILER::Compile_options options) = 0;
    virtual const char* get_target_name() = 0;
    virtual int32_t get_code_type() = 0;
    virtual const char* get_extension() { return nullptr; }
};

}  // namespace BACK12
}  // namespace QZ
