// The FX effect-file back end.
#pragma once

#include "system/module.h"

namespace QZ {
namespace GEN_FX {

class Mod_gen_fx : public SYSTEM::Module {
public:
    Mod_gen_fx() : Module(SYSTEM::MODULE_FX, "FX") {}
};

extern Mod_gen_fx* mod_gen_fx;

void start();
void stop();

}  // namespace GEN_FX
}  // namespace QZ
