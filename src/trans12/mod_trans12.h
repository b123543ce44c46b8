// From a parse tree to a checked compilation unit.
#pragma once

#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
class Compilation_unit;
}

namespace TRANS12 {

class Mod_trans12 : public SYSTEM::Module {
public:
    Mod_trans12() : Module(SYSTEM::MODULE_CT12, "CT12") {}

    // Takes ownership of parse_result and returns the unit; semantic errors are in the unit.
    SYNTAX_TREE::Compilation_unit* translate(SYNTAX_TREE::St_node* parse_result, void* extra_imports,
                                             void* extra_sets);
};

extern Mod_trans12* mod_trans12;

void start();
void stop();

}  // namespace TRANS12
}  // namespace QZ
