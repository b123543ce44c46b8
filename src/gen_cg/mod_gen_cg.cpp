#include "gen_cg/mod_gen_cg.h"

#include <cstdarg>

namespace QZ {
namespace GEN_CG {

Mod_gen_cg* mod_gen_cg = nullptr;

void start()
{
    if (!mod_gen_cg)
        mod_gen_cg = new Mod_gen_cg;
    mod_gen_cg->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_cg;
    mod_gen_cg = nullptr;
}

void log_error(int32_t code, const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(SYSTEM::MODULE_CG, LOG::CAT_PLUG, code, LOG::SEV_ERROR, format, values);
    va_end(values);
}

void log_debug(const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(SYSTEM::MODULE_CG, LOG::CAT_PLUG, 0, LOG::SEV_DEBUG, format, values);
    va_end(values);
}

}  // namespace GEN_CG
}  // namespace QZ
