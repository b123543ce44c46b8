// The binary compiled file.
#pragma once

#include "system/module.h"

namespace QZ {
namespace BOVL {

class Mod_bin_file : public SYSTEM::Module {
public:
    Mod_bin_file() : Module(SYSTEM::MODULE_BOVL, "BOVL") {}
};

extern Mod_bin_file* mod_bin_file;

void start();
void stop();

}  // namespace BOVL
}  // namespace QZ
