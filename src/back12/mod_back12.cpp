#include "back12/mod_back12.h"

namespace QZ {
namespace BACK12 {

Mod_back12* mod_back12 = nullptr;

void start()
{
    if (!mod_back12)
        mod_back12 = new Mod_back12;
    mod_back12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_back12;
    mod_back12 = nullptr;
}

}  // namespace BACK12
}  // namespace QZ
