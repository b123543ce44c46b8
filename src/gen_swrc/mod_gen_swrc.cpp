#include "gen_swrc/mod_gen_swrc.h"

namespace QZ {
namespace GEN_SWRC {

Mod_gen_swrc* mod_gen_swrc = nullptr;

void start()
{
    if (!mod_gen_swrc)
        mod_gen_swrc = new Mod_gen_swrc;
    mod_gen_swrc->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_swrc;
    mod_gen_swrc = nullptr;
}

}  // namespace GEN_SWRC
}  // namespace QZ
