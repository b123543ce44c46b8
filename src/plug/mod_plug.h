// The plug-in registry: loads shared libraries and lists the plug-ins they offer.
#pragma once

#include "system/module.h"

namespace QZ {
namespace PLUG {

class Mod_plug : public SYSTEM::Module {
public:
    Mod_plug() : Module(SYSTEM::MODULE_PLUG, "PLUG") {}
};

extern Mod_plug* mod_plug;

void start();
void stop();

}  // namespace PLUG
}  // namespace QZ
