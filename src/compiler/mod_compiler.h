// The compile pipeline driver: ties the parser, the translator, the linker and the generators.
#pragma once

#include <memory>

#include "compiler/compile_options.h"
#include "syntax_tree/error_record.h"
#include "system/module.h"
#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}
namespace BACK12 {
class Generated_shader;
}
namespace DB {
class Transaction;
using Tag = uint32_t;
}

namespace COMPILER {

// Objects that the driver may keep by name for the life of the module.
class Compiler_object {
public:
    virtual ~Compiler_object() = default;
};

class Mod_compiler : public SYSTEM::Module {
public:
    Mod_compiler() : Module(SYSTEM::MODULE_COMP, "COMP") {}

    // Reads, parses and translates a file found through the "shader" search path.
    // A missing file appends error 26 to errors (when given) and returns null.
    SYNTAX_TREE::Compilation_unit* compile_file(const char* path, SYNTAX_TREE::Error_list* errors);

    // Parses and translates a text; file_name names it in messages and relative imports.
    SYNTAX_TREE::Compilation_unit* compile_text(const char* file_name, const char* text,
                                                SYNTAX_TREE::Error_list* errors);

    // Hands a copy of the options to the generator of target_name. A unit read from a binary
    // file is resolved first.
    BACK12::Generated_shader* generate_shader(SYNTAX_TREE::Compilation_unit* unit, const char* target_name,
                                              const Compile_options& options);

    // Completes a unit read from a binary file (Compilation_unit::resolve). No collector is at
    // hand there, so each error of the unit is logged (code 1).
    void resolve_unit(SYNTAX_TREE::Compilation_unit& unit);

    // The database route: the text of a shader declaration element for target_name, from its
    // compiled unit element or else from its source element. Null when neither gives a unit or
    // the generator gives nothing.
    BACK12::Generated_shader* convert_shader(DB::Tag declaration_tag, DB::Transaction* transaction,
                                             const char* target_name, const Compile_options& options);
    // The unit of a declaration's source element; owned by the caller; null on any failure,
    // which is logged.
    SYNTAX_TREE::Compilation_unit* make_unit_from_declaration(DB::Tag declaration_tag, DB::Transaction* transaction);

    SYSTEM::Text_hash_table<std::unique_ptr<Compiler_object>>& objects() { return objects_; }

private:
    SYSTEM::Text_hash_table<std::unique_ptr<Compiler_object>> objects_{100};
};

extern Mod_compiler* mod_compiler;

// COMP starts and stops the stage modules under it.
void start();
void stop();

}  // namespace COMPILER
}  // namespace QZ
