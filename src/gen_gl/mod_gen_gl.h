// The GLSL back end.
#pragma once

#include <cstdint>

#include "log/mod_log.h"
#include "system/module.h"

namespace QZ {
namespace GEN_GL {

class Mod_gen_gl : public SYSTEM::Module {
public:
    Mod_gen_gl() : Module(SYSTEM::MODULE_GL, "GL") {}
};

extern Mod_gen_gl* mod_gen_gl;

void start();
void stop();

// An error of this back end, under its module number and the plug-in category. Silent when the
// log is not running.
void log_error(int32_t code, const char* format, ...) QZ_PRINTF(2, 3);
// A note of progress, at the debug level so that a host's console stays quiet.
void log_debug(const char* format, ...) QZ_PRINTF(1, 2);

}  // namespace GEN_GL
}  // namespace QZ
