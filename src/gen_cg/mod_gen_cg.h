// The Cg back end.
#pragma once

#include <cstdint>

#include "log/mod_log.h"
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

// An error of this back end, under its module number and the plug-in category. Silent when the
// log is not running.
void log_error(int32_t code, const char* format, ...) QZ_PRINTF(2, 3);
// A note of progress, at the debug level so that a host's console stays quiet.
void log_debug(const char* format, ...) QZ_PRINTF(1, 2);

}  // namespace GEN_CG
}  // namespace QZ
