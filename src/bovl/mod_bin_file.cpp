#include "bovl/mod_bin_file.h"

namespace QZ {
namespace BOVL {

Mod_bin_file* mod_bin_file = nullptr;

void start()
{
    if (!mod_bin_file)
        mod_bin_file = new Mod_bin_file;
    mod_bin_file->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_bin_file;
    mod_bin_file = nullptr;
}

}  // namespace BOVL
}  // namespace QZ
