#include "gen_fx/mod_gen_fx.h"

namespace QZ {
namespace GEN_FX {

Mod_gen_fx* mod_gen_fx = nullptr;

void start()
{
    if (!mod_gen_fx)
        mod_gen_fx = new Mod_gen_fx;
    mod_gen_fx->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_fx;
    mod_gen_fx = nullptr;
}

}  // namespace GEN_FX
}  // namespace QZ
