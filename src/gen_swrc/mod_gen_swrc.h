// The software (C++) back end.
#pragma once

#include "system/module.h"

namespace QZ {
namespace GEN_SWRC {

class Mod_gen_swrc : public SYSTEM::Module {
public:
    Mod_gen_swrc() : Module(SYSTEM::MODULE_GSWR, "GSWR") {}
};

extern Mod_gen_swrc* mod_gen_swrc;

void start();
void stop();

}  // namespace GEN_SWRC
}  // namespace QZ
