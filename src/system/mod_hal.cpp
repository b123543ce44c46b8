#include "system/mod_hal.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace QZ {
namespace SYSTEM {

Mod_hal* mod_hal = nullptr;

namespace {

// HAL folds the results of its parts into its own state: a failure always wins, a warning wins
// over success.
int32_t fold_state(int32_t state, int32_t part)
{
    if (part == MODULE_FAILED)
        return MODULE_FAILED;
    if (part == MODULE_WARNING && state != MODULE_FAILED)
        return MODULE_WARNING;
    return state;
}

}  // namespace

Mod_hal::Mod_hal() : Module(MODULE_HAL, "HAL")
{
    // Threads, files, time, sockets, loader and environment: none of them can fail here.
    int32_t folded = MODULE_RUNNING;
    for (int part = 0; part < 6; ++part)
        folded = fold_state(folded, MODULE_RUNNING);
    state = folded;
}

bool Mod_hal::file_exists(const char* path) const
{
    if (!path || !*path)
        return false;
    struct stat info;
    return ::stat(path, &info) == 0 && S_ISREG(info.st_mode);
}

const char* Mod_hal::get_environment(const char* name) const
{
    return name ? std::getenv(name) : nullptr;
}

void* Mod_hal::open_library(const char* path)
{
    if (!path) {
        library_error_ = "no library path";
        return nullptr;
    }
    void* handle = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* reason = ::dlerror();
        library_error_ = reason ? reason : "unknown error";
    }
    return handle;
}

void* Mod_hal::find_symbol(void* library, const char* name)
{
    if (!library || !name)
        return nullptr;
    return ::dlsym(library, name);
}

void Mod_hal::close_library(void* library)
{
    if (library)
        ::dlclose(library);
}

bool Mod_hal::has_console() const { return ::isatty(STDERR_FILENO) == 1; }

void Mod_hal::sleep_seconds(double seconds) const
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}  // namespace SYSTEM
}  // namespace QZ
