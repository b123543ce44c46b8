#include "gen_fx/mod_gen_fx.h"

#include <cstdarg>

namespace QZ {
namespace GEN_FX {

Mod_gen_fx* mod_gen_fx = nullptr;

void start()
{
    if (!mod_gen_fx)
        mod_gen_fx = new Mod_gen_fx;
    mod_gen_fx->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_fx;
    mod_gen_fx = nullptr;
}

void log_error(int32_t code, const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(SYSTEM::MODULE_FX, LOG::CAT_PLUG, code, LOG::SEV_ERROR, format, values);
    va_end(values);
}

}  // namespace GEN_FX
}  // namespace QZ
