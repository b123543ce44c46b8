// The parser entry: reads source files and turns text into a parse tree.
#pragma once

#include "syntax_tree/error_record.h"
#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
}

namespace FRONT12 {

class Mod_front12 : public SYSTEM::Module {
public:
    Mod_front12() : Module(SYSTEM::MODULE_CF12, "CF12") {}
    ~Mod_front12() override;

    // Finds path through the "shader" search path set and returns its whole text with a
    // terminating zero byte, owned by the caller (free with delete[]); null if it cannot be read.
    char* read_source_file(const char* path);

    // Runs the parser over text. Appends syntax errors to errors when given. Returns the
    // DECLARATION_LIST owned by the caller, or null.
    SYNTAX_TREE::St_node* parse(const char* text, const char* file_name, SYNTAX_TREE::Error_list* errors);

    bool has_parser() const { return true; }
};

extern Mod_front12* mod_front12;

void start();
void stop();

}  // namespace FRONT12
}  // namespace QZ
