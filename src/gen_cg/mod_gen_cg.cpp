#include "gen_cg/mod_gen_cg.h"

namespace QZ {
namespace GEN_CG {

Mod_gen_cg* mod_gen_cg = nullptr;

void start()
{
    if (!mod_gen_cg)
        mod_gen_cg = new Mod_gen_cg;
    mod_gen_cg->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_cg;
    mod_gen_cg = nullptr;
}

}  // namespace GEN_CG
}  // namespace QZ
