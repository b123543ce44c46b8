#include "flat12/mod_flat12.h"

namespace QZ {
namespace FLAT12 {

Mod_flat12* mod_flat12 = nullptr;

void start()
{
    if (!mod_flat12)
        mod_flat12 = new Mod_flat12;
    mod_flat12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_flat12;
    mod_flat12 = nullptr;
}

}  // namespace FLAT12
}  // namespace QZ
