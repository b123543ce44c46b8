#include "gen_gl/mod_gen_gl.h"

#include <cstdarg>

namespace QZ {
namespace GEN_GL {

Mod_gen_gl* mod_gen_gl = nullptr;

void start()
{
    if (!mod_gen_gl)
        mod_gen_gl = new Mod_gen_gl;
    mod_gen_gl->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_gl;
    mod_gen_gl = nullptr;
}

void log_error(int32_t code, const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(SYSTEM::MODULE_GL, LOG::CAT_PLUG, code, LOG::SEV_ERROR, format, values);
    va_end(values);
}

void log_debug(const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(SYSTEM::MODULE_GL, LOG::CAT_PLUG, 0, LOG::SEV_DEBUG, format, values);
    va_end(values);
}

}  // namespace GEN_GL
}  // namespace QZ
