// The GLSL back end.
#pragma once

#include "system/module.h"

namespace QZ {
namespace GEN_GL {

class Mod_gen_gl : public SYSTEM::Module {
public:
    Mod_gen_gl() : Module(SYSTEM::MODULE_GL, "GL") {}
};

extern Mod_gen_gl* mod_gen_gl;

void start();
void stop();

}  // namespace GEN_GL
}  // namespace QZ
