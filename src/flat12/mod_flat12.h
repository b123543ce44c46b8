// The graph linker: flattens a graph of shaders into one compilation unit.
#pragma once

#include "system/module.h"

namespace QZ {
namespace FLAT12 {

class Mod_flat12 : public SYSTEM::Module {
public:
    Mod_flat12() : Module(SYSTEM::MODULE_CL12, "CL12") {}
};

extern Mod_flat12* mod_flat12;

void start();
void stop();

}  // namespace FLAT12
}  // namespace QZ
