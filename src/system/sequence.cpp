#include "system/sequence.h"

#include "compiler/mod_compiler.h"
#include "log/mod_log.h"
#include "plug/mod_plug.h"
#include "system/mod_conf.h"
#include "system/mod_hal.h"
#include "system/mod_math.h"
#include "system/mod_mem.h"
#include "system/mod_misc.h"
#include "system/mod_site.h"
#include "system/mod_string.h"

namespace QZ {
namespace SYSTEM {

namespace {

template <typename T>
void run(T*& pointer, T* object)
{
    pointer = object;
    pointer->state = pointer->state == MODULE_CONSTRUCTED ? MODULE_RUNNING : pointer->state;
}

template <typename T>
void end(T*& pointer)
{
    delete pointer;
    pointer = nullptr;
}

}  // namespace

void start_sequence()
{
    // MEM's object is created once per process and outlives every stop.
    mod_mem = &memory();
    mod_mem->state = MODULE_RUNNING;
    run(mod_string, new Mod_string);
    run(mod_hal, new Mod_hal);
    LOG::start();
    run(mod_math, new Mod_math);
    run(mod_prop, new Mod_prop);
    run(mod_conf, new Mod_conf(nullptr));
    PLUG::start();
    run(mod_cmdline, new Mod_cmdline({}));
    run(mod_site, new Mod_site);
    run(mod_antlr, new Mod_antlr);
    run(mod_image, new Mod_image);
    COMPILER::start();
}

void stop_sequence()
{
    COMPILER::stop();
    end(mod_image);
    end(mod_antlr);
    end(mod_site);
    end(mod_cmdline);
    PLUG::stop();
    end(mod_conf);
    end(mod_prop);
    end(mod_math);
    LOG::stop();
    end(mod_hal);
    if (mod_string)
        mod_string->clear_path_sets();
    end(mod_string);
    // The allocator lives to the end of the process; only the pointer to it goes.
    if (mod_mem)
        mod_mem->state = MODULE_CONSTRUCTED;
    mod_mem = nullptr;
}

}  // namespace SYSTEM
}  // namespace QZ
