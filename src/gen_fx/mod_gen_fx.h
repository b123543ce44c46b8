// The FX effect-file back end.
#pragma once

#include <cstdint>

#include "log/mod_log.h"
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

// An error of this back end, under its module number and the plug-in category. Silent when the
// log is not running.
void log_error(int32_t code, const char* format, ...) QZ_PRINTF(2, 3);

}  // namespace GEN_FX
}  // namespace QZ
