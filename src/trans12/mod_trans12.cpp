#include "trans12/mod_trans12.h"

namespace QZ {
namespace TRANS12 {

Mod_trans12* mod_trans12 = nullptr;

SYNTAX_TREE::Compilation_unit* Mod_trans12::translate(SYNTAX_TREE::St_node*, void*, void*)
{
    // The passes arrive with the compilation unit; no parse tree reaches here before then.
    return nullptr;
}

void start()
{
    if (!mod_trans12)
        mod_trans12 = new Mod_trans12;
    mod_trans12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_trans12;
    mod_trans12 = nullptr;
}

}  // namespace TRANS12
}  // namespace QZ
