// Code generator dispatch: finds a generator by target name.
#pragma once

#include "system/module.h"

namespace QZ {
namespace BACK12 {

class Mod_back12 : public SYSTEM::Module {
public:
    Mod_back12() : Module(SYSTEM::MODULE_CB12, "CB12") {}
};

extern Mod_back12* mod_back12;

void start();
void stop();

}  // namespace BACK12
}  // namespace QZ
