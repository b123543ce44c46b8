#include "gen_swrc/mod_gen_swrc.h"

#include <cstdarg>

namespace QZ {
namespace GEN_SWRC {

Mod_gen_swrc* mod_gen_swrc = nullptr;

void start()
{
    if (!mod_gen_swrc)
        mod_gen_swrc = new Mod_gen_swrc;
    mod_gen_swrc->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_gen_swrc;
    mod_gen_swrc = nullptr;
}

void log_debug(const char* format, ...)
{
    if (!LOG::mod_log)
        return;
    va_list values;
    va_start(values, format);
    LOG::mod_log->vlog(SYSTEM::MODULE_GSWR, LOG::CAT_PLUG, 0, LOG::SEV_DEBUG, format, values);
    va_end(values);
}

}  // namespace GEN_SWRC
}  // namespace QZ
