#include "plug/mod_plug.h"

namespace QZ {
namespace PLUG {

Mod_plug* mod_plug = nullptr;

void start()
{
    if (!mod_plug)
        mod_plug = new Mod_plug;
    mod_plug->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_plug;
    mod_plug = nullptr;
}

}  // namespace PLUG
}  // namespace QZ
