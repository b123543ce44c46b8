#include "gen_gl/mod_gen_gl.h"

namespace QZ {
namespace GEN_GL {

Mod_gen_gl* mod_gen_gl = nullptr;

void start()
{
    if (!mod_gen_gl)
        mod_gen_gl = new Mod_gen_gl;
    mod_gen_gl->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_gl;
    mod_gen_gl = nullptr;
}

}  // namespace GEN_GL
}  // namespace QZ
