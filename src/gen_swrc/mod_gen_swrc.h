// The software (C++) back end.
#pragma once

#include <cstdint>

#include "log/mod_log.h"
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

// A note of progress, at the debug level so that a host's console stays quiet.
void log_debug(const char* format, ...) QZ_PRINTF(1, 2);

}  // namespace GEN_SWRC
}  // namespace QZ
