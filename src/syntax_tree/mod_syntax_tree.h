// Built-in types, state tables and tree classes.
#pragma once

#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {

class Mod_syntax_tree : public SYSTEM::Module {
public:
    Mod_syntax_tree() : Module(SYSTEM::MODULE_SYNT, "SYNT") {}
};

extern Mod_syntax_tree* mod_syntax_tree;

void start();
void stop();

}  // namespace SYNTAX_TREE
}  // namespace QZ
