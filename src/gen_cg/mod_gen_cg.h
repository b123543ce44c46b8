// The Cg back end.
#pragma once

#include "system/module.h"

namespace QZ {
namespace GEN_CG {

class Mod_gen_cg : public SYSTEM::Module {
public:
    Mod_gen_cg() : Module(SYSTEM::MODULE_CG, "CG") {}
};

extern Mod_gen_cg* mod_gen_cg;

void start();
void stop();

}  // namespace GEN_CG
}  // namespace QZ
