#include "system/mod_site.h"

#include <cstdio>
#include <string>

#include "system/mod_conf.h"
#include "system/mod_string.h"

namespace QZ {
namespace SYSTEM {

Mod_site* mod_site = nullptr;

Mod_site::Mod_site() : Module(MODULE_SITE, "SITE")
{
    root_ = mod_conf ? mod_conf->root() : std::string();
    mod_string->set_path(2, "include", ".;${@QZ_FILE_PATH}");
    mod_string->set_path(2, "image", ".;${@QZ_FILE_PATH}");
    std::string shader_path = ".;${@QZ_FILE_PATH};./shaders;" + root_ + "/shaders";
    mod_string->set_path(2, "shader", shader_path.c_str());
}

}  // namespace SYSTEM
}  // namespace QZ
