#include "system/mod_site.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "system/mod_conf.h"
#include "system/mod_string.h"

// Where the data files lie relative to the directory of the installed library; set by the build.
#ifndef VORN_DATA_RELATIVE_DIR
#define VORN_DATA_RELATIVE_DIR "../share/vorn"
#endif

namespace QZ {
namespace SYSTEM {

Mod_site* mod_site = nullptr;

namespace {

bool is_directory(const std::string& path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The directory of the binary that holds this code: libvorn.so for a host.
std::string own_directory()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&is_directory), &info) == 0 || !info.dli_fname)
        return ".";
    std::string file = info.dli_fname;
    size_t slash = file.rfind('/');
    return slash == std::string::npos ? "." : file.substr(0, slash);
}

}  // namespace

std::string library_data_directory()
{
    // A build tree keeps the data in shaders/ beside the library; an install keeps it in share/.
    std::string directory = own_directory();
    std::string beside = directory + "/shaders";
    if (is_directory(beside))
        return beside;
    return directory + "/" VORN_DATA_RELATIVE_DIR;
}

Mod_site::Mod_site() : Module(MODULE_SITE, "SITE")
{
    root_ = mod_conf ? mod_conf->root() : std::string();
    mod_string->set_path(2, "include", ".;${@QZ_FILE_PATH}");
    mod_string->set_path(2, "image", ".;${@QZ_FILE_PATH}");
    // Without a configured root, "/shaders" would name a folder of the file system's root; the
    // library's own data directory is what a host installed with it expects instead.
    std::string data = root_.empty() ? library_data_directory() : root_ + "/shaders";
    std::string shader_path = ".;${@QZ_FILE_PATH};./shaders;" + data;
    mod_string->set_path(2, "shader", shader_path.c_str());
}

}  // namespace SYSTEM
}  // namespace QZ
