#include "syntax_tree/mod_syntax_tree.h"

namespace QZ {
namespace SYNTAX_TREE {

Mod_syntax_tree* mod_syntax_tree = nullptr;

void start()
{
    if (!mod_syntax_tree)
        mod_syntax_tree = new Mod_syntax_tree;
    mod_syntax_tree->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_syntax_tree;
    mod_syntax_tree = nullptr;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ
